// The model as tessimo-import builds it, between the source and the file:
// indexed triangle meshes, and the corner attributes that the steps of the
// conversion compute before the vertices are shared out again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct OutMesh
{
    std::string name;
    std::string shader;
    std::vector<float> positions; // 3 a vertex
    std::vector<float> texCoords; // 2 a vertex
    std::vector<float> normals;   // 3 a vertex
    std::vector<uint32_t> faces;  // 3 a triangle
    // The piece of the source each triangle comes from (an Assimp mesh
    // under its node), as an index into `pieceNames`.
    std::vector<uint32_t> facePieces;
    std::vector<std::string> pieceNames;
    size_t VertexCount() const { return positions.size() / 3; }
    size_t FaceCount() const { return faces.size() / 3; }
    const float* Position(size_t face, int corner) const
    {
        return &positions[3 * size_t(faces[3 * face + size_t(corner)])];
    }
};

// What each corner of each triangle gets: 3 floats a corner for normals,
// 2 for texture coordinates, in face order.
using CornerNormals = std::vector<float>;
using CornerTexCoords = std::vector<float>;

// Replaces the mesh's vertices by one vertex for each distinct triple of
// position, normal and texture coordinate among the corners, numbered in
// the order the faces first use them.
void ShareVertices(OutMesh& mesh, const CornerNormals& normals, const CornerTexCoords& texCoords);

// Numbers positions that are equal bit for bit (with 0 and -0 taken as
// one): the mesh's vertices welded by position, one entry a vertex.
std::vector<uint32_t> WeldByPosition(const std::vector<float>& positions, size_t* count);
