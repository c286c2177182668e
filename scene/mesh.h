// Mesh: the engine's triangle mesh, the one drawable that comes from data.
//
// The vertices are kept twice: an editable copy in ordinary memory, which
// every computation reads and writes, and a render copy that GL draws from,
// taken from the Engine's vertex pool. Edits reach the render copy with
// UploadVertices. A mesh made with `systemMemory` true has no render copy
// of its own: GL draws from the editable arrays.
//
//     Mesh mesh;                        // render copy in the pool
//     mesh.AllocateVertices(3);         // false when the pool is full
//     mesh.AllocateFaces(1);
//     ... fill positions, texCoords, normals, indices ...
//     mesh.ComputeBounds();
//     mesh.UploadVertices();
//     mesh.shader = g_engine->AddShader("Hatching");
//     mesh.Draw();
//
// Vertex arrays are separate, not interleaved: positions and normals three
// floats a vertex, texture coordinates two, faces three 32-bit indices.
#pragma once

#include <cstdint>

#include "scene/frustum.h"
#include "scene/scene_object.h"

class FileBuffer;
class Shader;

// a x + b y + c z + d = 0, with (a, b, c) in `normal` and d in `distance`.
struct Plane
{
    Vec4 normal;
    float distance = 0.0f;
};

class Mesh : public SceneObject
{
public:
    explicit Mesh(bool systemMemory = false);
    // Frees the editable arrays; the render copy goes with the pool.
    ~Mesh() override;
    Mesh(const Mesh&) = delete;
    Mesh& operator=(const Mesh&) = delete;

    // One glDrawElements with the shader, the transform in program matrix
    // 0 for the vertex programs, and the normals as white lines when the
    // Engine's drawNormals is set. Adds faceCount to polygonCount.
    void Draw() override;

    virtual void ShiftTexCoords(float du, float dv);
    // Sets vertexCount and makes the editable arrays, then the render
    // arrays. False, with no vertices, when the pool can't hold them or the
    // count is beyond what 32-bit sizes can address.
    virtual bool AllocateVertices(uint32_t count);
    virtual bool AllocateFaces(uint32_t count);
    // Smooth normals summed by position, so that vertices at one place get
    // one normal whatever their texture coordinates.
    virtual void ComputeNormals();
    // Extent along each axis and the radius around the mesh's own origin.
    virtual void ComputeBounds();
    // A planar shadow cast by `light` onto `plane`, half-dark, each pixel
    // darkened once (the stencil marks it).
    virtual void DrawShadow(const Plane& plane, SceneObject* light);
    // Moves the origin to the middle of the bounds and the mesh's position
    // there, so that it stays where it was.
    virtual void CenterVertices();
    // Draw, unless the bounding sphere at the mesh's position lies outside.
    virtual void DrawCulled(const Frustum& frustum);
    virtual void ScaleTexCoords(float su, float sv);
    // Renumbers the vertices in the order the faces first use them. Vertices
    // no face uses keep their data and follow in their old order.
    virtual void ReorderVertices();
    // The editable arrays over the render copy (nothing in system memory).
    virtual void UploadVertices();
    // One mesh record of a model file. False, with the mesh left empty and
    // the pool as it was, when the record is cut short, names a vertex it
    // doesn't have, or doesn't fit in the pool; `problem` then says which.
    virtual bool Load(FileBuffer* file);
    // This mesh's arrays into the other's existing ones. False, with
    // nothing copied, when the other's arrays are smaller.
    virtual bool CopyTo(Mesh* other);

    uint32_t vertexCount = 0;
    uint32_t faceCount = 0;
    uint32_t* indices = nullptr;
    Shader* shader = nullptr;
    // The name of the shader the registry deleted under this mesh (empty
    // while it has one): the next shader of that name added is taken up.
    char lostShader[256] = {};
    float* positions = nullptr;
    float* texCoords = nullptr;
    float* normals = nullptr;
    float* renderPositions = nullptr;
    float* renderTexCoords = nullptr;
    float* renderNormals = nullptr;
    float sizeX = 0.0f;
    float sizeZ = 0.0f;
    float sizeY = 0.0f;
    Sphere boundingSphere;
    bool systemMemory;

    // Why the last Load failed.
    enum LoadProblem
    {
        NoProblem,
        Truncated,
        BadIndex,
        PoolFull,
    };
    LoadProblem problem = NoProblem;

private:
    void FreeVertices();
    void DrawNormalLines();
    bool IndicesInRange() const;
};
