// Small meshes for the scene suites, and a mesh's triangles as plain numbers.
#pragma once

#include <array>
#include <cstring>
#include <vector>

#include "scene/mesh.h"

namespace testsupport
{

// Fills `mesh` with positions (3 a vertex) and faces; texture coordinates
// (vertex number, 0), normals (0, 0, 1) unless given. False when the mesh
// can't have the vertices (a full pool).
inline bool FillMesh(Mesh& mesh, const std::vector<float>& positions,
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

// A triangle's corners: position, normal, texture coordinate each.
using Triangle = std::array<std::array<float, 8>, 3>;

// The mesh's triangles in face order.
inline std::vector<Triangle> Triangles(const Mesh& mesh)
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
