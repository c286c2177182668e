// Builds small meshes for the scene suites, and reads a mesh's triangles
// back as plain numbers for comparison.
#pragma once

#include <array>
#include <cstring>
#include <vector>

#include "scene/mesh.h"

namespace testsupport
{

// Fills `mesh` with the given positions (3 a vertex) and faces; texture
// coordinates are (vertex number, 0) and normals (0, 0, 1) unless given.
// False when the mesh can't have the vertices (a full pool).
inline bool FillMesh(Mesh& mesh, const std::vector<float>& positions,
                     const std::vector<uint32_t>& faces, const std::vector<float>& normals = {},
                     const std::vector<float>& texCoords = {})
{
    uint32_t count = static_cast<uint32_t>(positions.size() / 3);
    if (!mesh.AllocateVertices(count) || !mesh.AllocateFaces(uint32_t(faces.size() / 3)))
        return false;
    std::memcpy(mesh.positions, positions.data(), 4 * positions.size());
    std::memcpy(mesh.indices, faces.data(), 4 * faces.size());
    for (uint32_t v = 0; v < count; ++v)
    {
        for (int k = 0; k < 3; ++k)
            mesh.normals[3 * v + k] = normals.empty() ? (k == 2 ? 1.0f : 0.0f) : normals[3 * v + k];
        for (int k = 0; k < 2; ++k)
            mesh.texCoords[2 * v + k] =
                texCoords.empty() ? (k == 0 ? float(v) : 0.0f) : texCoords[2 * v + k];
    }
    mesh.ComputeBounds();
    mesh.UploadVertices();
    return true;
}

// One corner: position, normal, texture coordinate.
using Corner = std::array<float, 8>;
using Triangle = std::array<Corner, 3>;

// The mesh's triangles as numbers, in face order, from the given arrays.
inline std::vector<Triangle> Triangles(const Mesh& mesh, const float* positions,
                                       const float* normals, const float* texCoords)
{
    std::vector<Triangle> out;
    for (uint32_t f = 0; f < mesh.faceCount; ++f)
    {
        Triangle t;
        for (int c = 0; c < 3; ++c)
        {
            uint32_t v = mesh.indices[3 * f + c];
            for (int k = 0; k < 3; ++k)
            {
                t[c][k] = positions[3 * v + k];
                t[c][3 + k] = normals[3 * v + k];
            }
            t[c][6] = texCoords[2 * v];
            t[c][7] = texCoords[2 * v + 1];
        }
        out.push_back(t);
    }
    return out;
}

inline std::vector<Triangle> Triangles(const Mesh& mesh)
{
    return Triangles(mesh, mesh.positions, mesh.normals, mesh.texCoords);
}

} // namespace testsupport
