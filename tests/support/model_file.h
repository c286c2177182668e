// Model files byte by byte (hostile counts too), meshes filled, triangles read.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "scene/mesh.h"

namespace testsupport
{

class ModelBytes
{
public:
    // The 27-byte header with `meshCount`.
    explicit ModelBytes(uint32_t meshCount) { Text("test model file", 19).Put(1u).Put(meshCount); }
    // A mesh record: texture coordinates (vertex number, 0), normals (0, 0, 1).
    ModelBytes& Mesh(const char* name, const char* shader, const std::vector<float>& positions,
                     const std::vector<uint32_t>& faces, float x = 0, float y = 0, float z = 0)
    {
        uint32_t v = uint32_t(positions.size() / 3);
        Head(name, shader, uint32_t(faces.size() / 3), v, x, y, z);
        for (float p : positions)
            Put(p);
        for (uint32_t i = 0; i < v; ++i)
            Put(float(i)).Put(0.0f);
        for (uint32_t i = 0; i < v; ++i)
            Put(0.0f).Put(0.0f).Put(1.0f);
        for (uint32_t f : faces)
            Put(f);
        return *this;
    }
    // The 84 bytes before a record's arrays, with any counts.
    ModelBytes& Head(const char* name, const char* shader, uint32_t faces, uint32_t vertices,
                     float x = 0, float y = 0, float z = 0)
    {
        return Text(name, 32).Text(shader, 32).Put(x).Put(y).Put(z).Put(faces).Put(vertices);
    }
    std::string String() const { return bytes; }

private:
    ModelBytes& Text(const char* text, size_t width)
    {
        size_t n = std::min(width, std::strlen(text));
        bytes += std::string(text, n) + std::string(width - n, '\0');
        return *this;
    }
    template <typename T> ModelBytes& Put(T value) // little-endian, as the files are
    {
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
        return *this;
    }
    std::string bytes;
};

// Fills `mesh` (false: a full pool), uv and normals as in ModelBytes::Mesh.
inline bool FillMesh(::Mesh& mesh, const std::vector<float>& positions,
                     const std::vector<uint32_t>& faces, const std::vector<float>& normals = {})
{
    uint32_t count = static_cast<uint32_t>(positions.size() / 3);
    if (!mesh.AllocateVertices(count) || !mesh.AllocateFaces(uint32_t(faces.size() / 3)))
        return false;
    std::memcpy(mesh.positions, positions.data(), 4 * positions.size());
    std::memcpy(mesh.indices, faces.data(), 4 * faces.size());
    for (uint32_t v = 0; v < count; ++v)
    {
        for (int k = 0; k < 3; ++k)
            mesh.normals[3 * v + k] = normals.empty() ? float(k == 2) : normals[3 * v + k];
        mesh.texCoords[2 * v] = float(v);
        mesh.texCoords[2 * v + 1] = 0.0f;
    }
    mesh.ComputeBounds();
    mesh.UploadVertices();
    return true;
}

// The mesh's triangles in face order, each corner's position, normal, uv.
using Triangle = std::array<std::array<float, 8>, 3>;
inline std::vector<Triangle> Triangles(const ::Mesh& mesh)
{
    std::vector<Triangle> out(mesh.faceCount);
    for (uint32_t f = 0; f < mesh.faceCount; ++f)
        for (int c = 0; c < 3; ++c)
        {
            uint32_t v = mesh.indices[3 * f + c];
            std::memcpy(&out[f][c][0], &mesh.positions[3 * v], 12);
            std::memcpy(&out[f][c][3], &mesh.normals[3 * v], 12);
            std::memcpy(&out[f][c][6], &mesh.texCoords[2 * v], 8);
        }
    return out;
}

} // namespace testsupport
