#include "normals.h"

#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <set>

namespace
{

std::array<uint32_t, 3> Bits(const float* p)
{
    std::array<uint32_t, 3> key;
    for (int k = 0; k < 3; ++k)
    {
        float v = p[k] == 0.0f ? 0.0f : p[k]; // -0 and 0 are one place
        std::memcpy(&key[size_t(k)], &v, 4);
    }
    return key;
}

float Dot(const float* a, const float* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// The angle of the triangle at corner `k`, in radians.
float CornerAngle(const float* const p[3], int k)
{
    const float* o = p[k];
    const float* a = p[(k + 1) % 3];
    const float* b = p[(k + 2) % 3];
    float u[3] = {a[0] - o[0], a[1] - o[1], a[2] - o[2]};
    float w[3] = {b[0] - o[0], b[1] - o[1], b[2] - o[2]};
    float lengths = std::sqrt(Dot(u, u) * Dot(w, w));
    if (!(lengths > 0.0f))
        return 0.0f;
    return std::acos(std::fmax(-1.0f, std::fmin(1.0f, Dot(u, w) / lengths)));
}

} // namespace

std::vector<uint32_t> WeldByPosition(const std::vector<float>& positions, size_t* count)
{
    std::map<std::array<uint32_t, 3>, uint32_t> ids;
    std::vector<uint32_t> weld(positions.size() / 3);
    for (size_t v = 0; v < weld.size(); ++v)
        weld[v] = ids.emplace(Bits(&positions[3 * v]), uint32_t(ids.size())).first->second;
    if (count)
        *count = ids.size();
    return weld;
}

void ShareVertices(OutMesh& mesh, const CornerNormals& normals, const CornerTexCoords& texCoords)
{
    std::map<std::array<uint32_t, 8>, uint32_t> ids;
    std::vector<float> positions, outNormals, outTexCoords;
    for (size_t c = 0; c < mesh.faces.size(); ++c)
    {
        float vertex[8];
        std::memcpy(vertex, &mesh.positions[3 * size_t(mesh.faces[c])], 12);
        std::memcpy(vertex + 3, &normals[3 * c], 12);
        std::memcpy(vertex + 6, &texCoords[2 * c], 8);
        std::array<uint32_t, 8> key;
        std::memcpy(key.data(), vertex, 32);
        auto found = ids.emplace(key, uint32_t(ids.size()));
        if (found.second)
        {
            positions.insert(positions.end(), vertex, vertex + 3);
            outNormals.insert(outNormals.end(), vertex + 3, vertex + 6);
            outTexCoords.insert(outTexCoords.end(), vertex + 6, vertex + 8);
        }
        mesh.faces[c] = found.first->second;
    }
    mesh.positions.swap(positions);
    mesh.normals.swap(outNormals);
    mesh.texCoords.swap(outTexCoords);
}

float FaceNormal(const float* a, const float* b, const float* c, float* normal)
{
    double e1[3], e2[3];
    for (int k = 0; k < 3; ++k)
    {
        e1[k] = double(b[k]) - a[k];
        e2[k] = double(c[k]) - a[k];
    }
    double n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                   e1[0] * e2[1] - e1[1] * e2[0]};
    double length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    // Corners on one line, within rounding of the longer edges.
    double scale = std::fmax(e1[0] * e1[0] + e1[1] * e1[1] + e1[2] * e1[2],
                             e2[0] * e2[0] + e2[1] * e2[1] + e2[2] * e2[2]);
    if (!(length > 1e-10 * scale) || !std::isfinite(length))
    {
        normal[0] = normal[1] = normal[2] = 0.0f;
        return 0.0f;
    }
    for (int k = 0; k < 3; ++k)
        normal[k] = float(n[k] / length);
    return float(length);
}

Cleaned CleanFaces(OutMesh& mesh)
{
    Cleaned result;
    std::vector<uint32_t> weld = WeldByPosition(mesh.positions, nullptr);
    std::set<std::array<uint32_t, 3>> seen;
    std::vector<uint32_t> faces, pieces;
    for (size_t f = 0; f < mesh.FaceCount(); ++f)
    {
        float normal[3];
        if (FaceNormal(mesh.Position(f, 0), mesh.Position(f, 1), mesh.Position(f, 2), normal) ==
            0.0f)
        {
            ++result.degenerate;
            continue;
        }
        // The same turn from any corner: start at the lowest number.
        std::array<uint32_t, 3> key;
        for (int k = 0; k < 3; ++k)
            key[size_t(k)] = weld[mesh.faces[3 * f + size_t(k)]];
        while (key[0] > key[1] || key[0] > key[2])
            key = {key[1], key[2], key[0]};
        if (!seen.insert(key).second)
        {
            ++result.duplicate;
            continue;
        }
        faces.insert(faces.end(), &mesh.faces[3 * f], &mesh.faces[3 * f] + 3);
        pieces.push_back(mesh.facePieces[f]);
    }
    mesh.faces.swap(faces);
    mesh.facePieces.swap(pieces);
    return result;
}

CornerNormals CreaseNormals(const OutMesh& mesh, float creaseDegrees,
                            std::vector<uint8_t>* cancelled)
{
    size_t places = 0;
    std::vector<uint32_t> weld = WeldByPosition(mesh.positions, &places);
    size_t faceCount = mesh.FaceCount();
    std::vector<float> faceNormals(3 * faceCount), angles(3 * faceCount);
    std::vector<std::vector<uint32_t>> around(places); // corners at each place
    for (size_t f = 0; f < faceCount; ++f)
    {
        const float* p[3] = {mesh.Position(f, 0), mesh.Position(f, 1), mesh.Position(f, 2)};
        FaceNormal(p[0], p[1], p[2], &faceNormals[3 * f]);
        for (int k = 0; k < 3; ++k)
        {
            angles[3 * f + size_t(k)] = CornerAngle(p, k);
            around[weld[mesh.faces[3 * f + size_t(k)]]].push_back(uint32_t(3 * f + size_t(k)));
        }
    }
    // A small margin, so that faces meeting at exactly the crease angle
    // (a cube's at 90) stay on one side of it whatever the rounding.
    float limit = std::cos(creaseDegrees * float(M_PI / 180.0)) - 1e-5f;
    CornerNormals out(9 * faceCount);
    for (size_t c = 0; c < 3 * faceCount; ++c)
    {
        const float* own = &faceNormals[3 * (c / 3)];
        double sum[3] = {0.0, 0.0, 0.0}, weight = 0.0;
        for (uint32_t other : around[weld[mesh.faces[c]]])
        {
            const float* n = &faceNormals[3 * (other / 3)];
            if (other / 3 != c / 3 && Dot(own, n) < limit)
                continue;
            for (int k = 0; k < 3; ++k)
                sum[k] += double(n[k]) * angles[other];
            weight += angles[other];
        }
        double length = std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
        bool cancels = !(length > 1e-3 * weight);
        for (int k = 0; k < 3; ++k)
            out[3 * c + size_t(k)] = cancels ? own[k] : float(sum[k] / length);
        if (cancelled)
            cancelled->push_back(cancels);
    }
    return out;
}
