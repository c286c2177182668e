#include "outline.h"

#include "normals.h"

#include <array>
#include <cfloat>
#include <cmath>
#include <map>
#include <numeric>
#include <set>

namespace
{

// How near, as a share of the model's longest side, two positions of the
// hull must lie to be welded.
constexpr double kWeldShare = 1e-4;
// A piece is flat when the sum of its area-weighted normals is this close
// to its area: every triangle faces within a few degrees of one way.
constexpr double kFlatSheet = 0.999;

// The hull's places and triangles before the normals: every mesh's
// triangles, the first mesh's turned half a turn about y.
OutMesh Hull(const std::vector<OutMesh>& meshes)
{
    OutMesh hull;
    for (size_t i = 0; i < meshes.size(); ++i)
    {
        const OutMesh& m = meshes[i];
        uint32_t first = uint32_t(hull.VertexCount());
        for (size_t v = 0; v < m.VertexCount(); ++v)
        {
            const float* p = &m.positions[3 * v];
            if (i == 0)
                hull.positions.insert(hull.positions.end(), {-p[0], p[1], -p[2]});
            else
                hull.positions.insert(hull.positions.end(), {p[0], p[1], p[2]});
        }
        for (uint32_t index : m.faces)
            hull.faces.push_back(first + index);
    }
    return hull;
}

// Numbers the places of the hull, taking as one the positions that lie
// within a small share of the model's size of each other: a wing's upper
// and lower skins modelled apart, which meet along the edges, then share
// the averaged normal there and push the outline out past the edge. The
// first position of a place stands for it.
std::vector<uint32_t> WeldNear(const std::vector<float>& positions, size_t* count)
{
    float low[3] = {FLT_MAX, FLT_MAX, FLT_MAX}, high[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};
    for (size_t i = 0; i < positions.size(); ++i)
    {
        low[i % 3] = std::fmin(low[i % 3], positions[i]);
        high[i % 3] = std::fmax(high[i % 3], positions[i]);
    }
    double size = 0.0;
    for (int k = 0; k < 3; ++k)
        size = std::fmax(size, double(high[k]) - low[k]);
    double near = kWeldShare * size;
    if (!(near > 0.0) || !std::isfinite(near))
        return WeldByPosition(positions, count);
    std::map<std::array<int64_t, 3>, std::vector<uint32_t>> cells;
    std::vector<uint32_t> weld(positions.size() / 3);
    std::vector<uint32_t> first; // the vertex that stands for each place
    for (size_t v = 0; v < weld.size(); ++v)
    {
        const float* p = &positions[3 * v];
        std::array<int64_t, 3> cell;
        for (int k = 0; k < 3; ++k)
            cell[size_t(k)] = int64_t(std::floor(p[k] / near));
        int64_t found = -1;
        for (int dx = -1; dx <= 1 && found < 0; ++dx)
            for (int dy = -1; dy <= 1 && found < 0; ++dy)
                for (int dz = -1; dz <= 1 && found < 0; ++dz)
                {
                    auto it = cells.find({cell[0] + dx, cell[1] + dy, cell[2] + dz});
                    if (it == cells.end())
                        continue;
                    for (uint32_t place : it->second)
                    {
                        const float* q = &positions[3 * size_t(first[place])];
                        double d2 = 0.0;
                        for (int k = 0; k < 3; ++k)
                            d2 += (double(p[k]) - q[k]) * (double(p[k]) - q[k]);
                        if (d2 <= near * near)
                        {
                            found = place;
                            break;
                        }
                    }
                }
        if (found < 0)
        {
            found = int64_t(first.size());
            first.push_back(uint32_t(v));
            cells[cell].push_back(uint32_t(found));
        }
        weld[v] = uint32_t(found);
    }
    *count = first.size();
    return weld;
}

// Keeps only the places the triangles use, in the order they first use
// them.
void Compact(OutMesh& hull)
{
    std::vector<int64_t> renumber(hull.VertexCount(), -1);
    std::vector<float> positions;
    for (uint32_t& index : hull.faces)
    {
        if (renumber[index] < 0)
        {
            renumber[index] = int64_t(positions.size() / 3);
            positions.insert(positions.end(), &hull.positions[3 * size_t(index)],
                             &hull.positions[3 * size_t(index)] + 3);
        }
        index = uint32_t(renumber[index]);
    }
    hull.positions.swap(positions);
}

// Renumbers the hull's corners by place, dropping the places no triangle
// uses, and the triangles that lose their area or repeat another.
void Weld(OutMesh& hull)
{
    size_t places = 0;
    std::vector<uint32_t> weld = WeldNear(hull.positions, &places);
    std::vector<float> positions(3 * places);
    for (size_t v = weld.size(); v-- > 0;) // the first of a place stays
        for (int k = 0; k < 3; ++k)
            positions[3 * size_t(weld[v]) + size_t(k)] = hull.positions[3 * v + size_t(k)];
    std::set<std::array<uint32_t, 3>> seen;
    std::vector<uint32_t> faces;
    for (size_t f = 0; f < hull.FaceCount(); ++f)
    {
        std::array<uint32_t, 3> key;
        for (int k = 0; k < 3; ++k)
            key[size_t(k)] = weld[hull.faces[3 * f + size_t(k)]];
        while (key[0] > key[1] || key[0] > key[2])
            key = {key[1], key[2], key[0]};
        float n[3];
        const float* p[3] = {&positions[3 * size_t(key[0])], &positions[3 * size_t(key[1])],
                             &positions[3 * size_t(key[2])]};
        if (FaceNormal(p[0], p[1], p[2], n) == 0.0f || !seen.insert(key).second)
            continue;
        faces.insert(faces.end(), key.begin(), key.end());
    }
    hull.positions.swap(positions);
    hull.faces.swap(faces);
    Compact(hull);
}

// Leaves out the pieces of the hull that are flat and open: a propeller
// or rotor disc, a panel of one side. Their normals all point one way, so
// pushing them out only shifts them; and from behind, where the model's
// culling hides the sheet, the outline would fill it with ink.
void DropFlatSheets(OutMesh& hull, HullReport& report)
{
    std::vector<uint32_t> root(hull.VertexCount());
    std::iota(root.begin(), root.end(), 0u);
    auto find = [&](uint32_t v)
    {
        while (root[v] != v)
            v = root[v] = root[root[v]];
        return v;
    };
    for (size_t f = 0; f < hull.FaceCount(); ++f)
        for (int k = 1; k < 3; ++k)
        {
            uint32_t a = find(hull.faces[3 * f]), b = find(hull.faces[3 * f + size_t(k)]);
            root[std::max(a, b)] = std::min(a, b);
        }
    struct Piece
    {
        double normal[3] = {0.0, 0.0, 0.0};
        double area = 0.0;
        bool open = false;
    };
    std::map<uint32_t, Piece> pieces;
    std::map<std::pair<uint32_t, uint32_t>, int> edges;
    for (size_t f = 0; f < hull.FaceCount(); ++f)
    {
        float n[3];
        double area = FaceNormal(hull.Position(f, 0), hull.Position(f, 1), hull.Position(f, 2), n);
        Piece& piece = pieces[find(hull.faces[3 * f])];
        for (int k = 0; k < 3; ++k)
        {
            piece.normal[k] += area * n[k];
            uint32_t a = hull.faces[3 * f + size_t(k)], b = hull.faces[3 * f + size_t(k + 1) % 3];
            ++edges[std::make_pair(std::min(a, b), std::max(a, b))];
        }
        piece.area += area;
    }
    for (const auto& edge : edges)
        if (edge.second == 1)
            pieces[find(edge.first.first)].open = true;
    auto flat = [](const Piece& p)
    {
        double length = std::sqrt(p.normal[0] * p.normal[0] + p.normal[1] * p.normal[1] +
                                  p.normal[2] * p.normal[2]);
        return p.open && length > kFlatSheet * p.area;
    };
    for (const auto& piece : pieces)
        report.flatSheets += flat(piece.second);
    if (!report.flatSheets)
        return;
    std::vector<uint32_t> faces;
    for (size_t f = 0; f < hull.FaceCount(); ++f)
        if (!flat(pieces[find(hull.faces[3 * f])]))
            faces.insert(faces.end(), &hull.faces[3 * f], &hull.faces[3 * f] + 3);
    hull.faces.swap(faces);
    Compact(hull);
}

size_t NonManifoldEdges(const OutMesh& hull)
{
    std::map<std::pair<uint32_t, uint32_t>, int> edges;
    for (size_t f = 0; f < hull.FaceCount(); ++f)
        for (int k = 0; k < 3; ++k)
        {
            uint32_t a = hull.faces[3 * f + size_t(k)], b = hull.faces[3 * f + size_t(k + 1) % 3];
            ++edges[std::make_pair(std::min(a, b), std::max(a, b))];
        }
    size_t count = 0;
    for (const auto& edge : edges)
        count += edge.second > 2;
    return count;
}

// Averaged normals, each triangle weighted by its angle at the place. A
// place whose normals cancel (the two sides of a sheet) takes the normal
// of one of its triangles.
void AverageNormals(OutMesh& hull, HullReport& report)
{
    std::vector<uint8_t> cancelled;
    CornerNormals corners = CreaseNormals(hull, 180.0f, &cancelled);
    std::vector<uint8_t> unturned(hull.VertexCount(), 0);
    hull.normals.assign(3 * hull.VertexCount(), 0.0f);
    for (size_t c = 0; c < hull.faces.size(); ++c)
    {
        uint32_t v = hull.faces[c];
        unturned[v] |= cancelled[c];
        for (int k = 0; k < 3; ++k)
            hull.normals[3 * size_t(v) + size_t(k)] = corners[3 * c + size_t(k)];
    }
    for (uint8_t u : unturned)
        report.unturned += u;
}

} // namespace

OutMesh BuildOutline(const std::vector<OutMesh>& meshes, float width, HullReport& report)
{
    OutMesh hull = Hull(meshes);
    Weld(hull);
    DropFlatSheets(hull, report);
    report.nonManifold = NonManifoldEdges(hull);
    AverageNormals(hull, report);
    hull.name = "outline";
    hull.shader = "Outline";
    hull.texCoords.assign(2 * hull.VertexCount(), 0.0f);
    for (size_t v = 0; v < hull.VertexCount(); ++v)
        hull.texCoords[2 * v] = width;
    return hull;
}
