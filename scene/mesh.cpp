#include "scene/mesh.h"

#include <cfloat>
#include <cmath>
#include <cstring>
#include <new>

#include "app/gl_entry_points.h"
#include "archive/file_buffer.h"
#include "resources/engine_base.h"
#include "resources/shader.h"
#include "resources/vertex_array_pool.h"

namespace
{

// The range state the pool's range memory runs with.
constexpr GLenum kRangeWithoutFlush = 0x8533;

// Beyond this a 12-byte-a-vertex array no longer has a 32-bit size.
constexpr uint32_t kMaxVertices = 0xFFFFFFFFu / 12;
constexpr uint32_t kMaxFaces = 0xFFFFFFFFu / 12;

template <typename T> T* NewArray(size_t count)
{
    return new (std::nothrow) T[count ? count : 1];
}

bool InRangeMemory()
{
    return g_engine->vertexPool && g_engine->vertexPool->memoryKind != 0;
}

bool SamePosition(const float* a, const float* b)
{
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}

} // namespace

Mesh::Mesh(bool inSystemMemory) : systemMemory(inSystemMemory) {}

Mesh::~Mesh()
{
    FreeVertices();
    delete[] indices;
}

void Mesh::FreeVertices()
{
    delete[] positions;
    delete[] normals;
    delete[] texCoords;
    positions = normals = texCoords = nullptr;
    renderPositions = renderNormals = renderTexCoords = nullptr;
    vertexCount = 0;
}

bool Mesh::AllocateVertices(uint32_t count)
{
    FreeVertices();
    if (count > kMaxVertices)
        return false;
    positions = NewArray<float>(3 * size_t(count));
    normals = NewArray<float>(3 * size_t(count));
    texCoords = NewArray<float>(2 * size_t(count));
    if (!positions || !normals || !texCoords)
    {
        FreeVertices();
        return false;
    }
    if (systemMemory)
    {
        renderPositions = positions;
        renderNormals = normals;
        renderTexCoords = texCoords;
        vertexCount = count;
        return true;
    }
    // Three blocks or none: a pool that can't give the third gets the first
    // two back, since nothing else takes from it in between.
    VertexArrayPool* pool = g_engine ? g_engine->vertexPool : nullptr;
    if (!pool)
    {
        FreeVertices();
        return false;
    }
    uint8_t* cursor = pool->cursor;
    uint32_t freeBytes = pool->freeBytes;
    renderPositions = static_cast<float*>(pool->Allocate(12 * count));
    renderNormals = renderPositions ? static_cast<float*>(pool->Allocate(12 * count)) : nullptr;
    renderTexCoords = renderNormals ? static_cast<float*>(pool->Allocate(8 * count)) : nullptr;
    if (!renderTexCoords)
    {
        pool->cursor = cursor;
        pool->freeBytes = freeBytes;
        FreeVertices();
        return false;
    }
    vertexCount = count;
    return true;
}

bool Mesh::AllocateFaces(uint32_t count)
{
    delete[] indices;
    indices = nullptr;
    faceCount = 0;
    if (count > kMaxFaces)
        return false;
    indices = NewArray<uint32_t>(3 * size_t(count));
    if (!indices)
        return false;
    faceCount = count;
    return true;
}

void Mesh::ShiftTexCoords(float du, float dv)
{
    for (uint32_t i = vertexCount; i-- > 0;)
    {
        texCoords[2 * i] += du;
        texCoords[2 * i + 1] += dv;
    }
}

void Mesh::ScaleTexCoords(float su, float sv)
{
    for (uint32_t i = vertexCount; i-- > 0;)
    {
        texCoords[2 * i] *= su;
        texCoords[2 * i + 1] *= sv;
    }
}

void Mesh::UploadVertices()
{
    if (systemMemory || vertexCount == 0)
        return;
    std::memcpy(renderPositions, positions, 12 * size_t(vertexCount));
    std::memcpy(renderNormals, normals, 12 * size_t(vertexCount));
    std::memcpy(renderTexCoords, texCoords, 8 * size_t(vertexCount));
}

bool Mesh::IndicesInRange() const
{
    for (size_t i = 0; i < 3 * size_t(faceCount); ++i)
        if (indices[i] >= vertexCount)
            return false;
    return true;
}

bool Mesh::CopyTo(Mesh* other)
{
    if (!other || other->vertexCount < vertexCount || other->faceCount < faceCount)
        return false;
    std::memcpy(other->texCoords, texCoords, 8 * size_t(vertexCount));
    std::memcpy(other->positions, positions, 12 * size_t(vertexCount));
    std::memcpy(other->normals, normals, 12 * size_t(vertexCount));
    std::memcpy(other->indices, indices, 12 * size_t(faceCount));
    return true;
}

// Normals.

void Mesh::ComputeNormals()
{
    std::memset(normals, 0, 12 * size_t(vertexCount));
    for (uint32_t f = 0; f < faceCount; ++f)
    {
        const uint32_t* corner = indices + 3 * f;
        if (corner[0] >= vertexCount || corner[1] >= vertexCount || corner[2] >= vertexCount)
            continue;
        const float* p0 = positions + 3 * corner[0];
        const float* p1 = positions + 3 * corner[1];
        const float* p2 = positions + 3 * corner[2];
        // Not normalised: a large face weighs more.
        Vec4 faceNormal = (Vec4(p1[0], p1[1], p1[2]) - Vec4(p0[0], p0[1], p0[2]))
                              .Cross(Vec4(p2[0], p2[1], p2[2]) - Vec4(p0[0], p0[1], p0[2]));
        const float* corners[3] = {p0, p1, p2};
        for (uint32_t v = 0; v < vertexCount; ++v)
            for (const float* c : corners)
                if (SamePosition(positions + 3 * v, c))
                {
                    normals[3 * v] += faceNormal.x;
                    normals[3 * v + 1] += faceNormal.y;
                    normals[3 * v + 2] += faceNormal.z;
                }
    }
    for (uint32_t v = 0; v < vertexCount; ++v)
    {
        Vec4 n(normals[3 * v], normals[3 * v + 1], normals[3 * v + 2]);
        n.Normalize();
        normals[3 * v] = n.x;
        normals[3 * v + 1] = n.y;
        normals[3 * v + 2] = n.z;
    }
}

// Bounds.

namespace
{

struct Extent
{
    float low[3] = {FLT_MAX, FLT_MAX, FLT_MAX};
    float high[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};
};

Extent Measure(const float* positions, uint32_t count)
{
    Extent e;
    for (uint32_t v = 0; v < count; ++v)
        for (int k = 0; k < 3; ++k)
        {
            float value = positions[3 * v + k];
            if (value < e.low[k])
                e.low[k] = value;
            if (value > e.high[k])
                e.high[k] = value;
        }
    return e;
}

float LargestRadius(const float* positions, uint32_t count)
{
    float largest = 0.0f;
    for (uint32_t v = 0; v < count; ++v)
    {
        const float* p = positions + 3 * v;
        float squared = p[0] * p[0] + p[1] * p[1] + p[2] * p[2];
        if (squared > largest)
            largest = squared;
    }
    return std::sqrt(largest);
}

} // namespace

void Mesh::ComputeBounds()
{
    if (vertexCount == 0)
    {
        sizeX = sizeY = sizeZ = 0.0f;
        boundingSphere.radius = 0.0f;
        return;
    }
    Extent e = Measure(positions, vertexCount);
    sizeX = e.high[0] - e.low[0];
    sizeY = e.high[1] - e.low[1];
    sizeZ = e.high[2] - e.low[2];
    boundingSphere.radius = LargestRadius(positions, vertexCount);
}

void Mesh::CenterVertices()
{
    if (vertexCount == 0)
        return;
    Extent e = Measure(positions, vertexCount);
    float centre[3];
    for (int k = 0; k < 3; ++k)
        centre[k] = (e.low[k] + e.high[k]) * 0.5f;
    for (uint32_t v = 0; v < vertexCount; ++v)
        for (int k = 0; k < 3; ++k)
            positions[3 * v + k] -= centre[k];
    SetPosition(Vec4(centre[0], centre[1], centre[2]));
    sizeX = e.high[0] - e.low[0];
    sizeY = e.high[1] - e.low[1];
    sizeZ = e.high[2] - e.low[2];
    boundingSphere.radius = LargestRadius(positions, vertexCount);
    boundingSphere.center = Vec4(0.0f, 0.0f, 0.0f, 0.0f);
}

// Renumbering.

void Mesh::ReorderVertices()
{
    if (!IndicesInRange())
        return;
    uint32_t* renumber = NewArray<uint32_t>(vertexCount);
    uint32_t* newIndices = NewArray<uint32_t>(3 * size_t(faceCount));
    float* newPositions = NewArray<float>(3 * size_t(vertexCount));
    float* newNormals = NewArray<float>(3 * size_t(vertexCount));
    float* newTexCoords = NewArray<float>(2 * size_t(vertexCount));
    if (!renumber || !newIndices || !newPositions || !newNormals || !newTexCoords)
    {
        delete[] renumber;
        delete[] newIndices;
        delete[] newPositions;
        delete[] newNormals;
        delete[] newTexCoords;
        return;
    }
    const uint32_t unnumbered = 0xFFFFFFFFu;
    for (uint32_t v = 0; v < vertexCount; ++v)
        renumber[v] = unnumbered;
    uint32_t next = 0;
    for (size_t i = 0; i < 3 * size_t(faceCount); ++i)
    {
        uint32_t old = indices[i];
        if (renumber[old] == unnumbered)
            renumber[old] = next++;
        newIndices[i] = renumber[old];
    }
    // Vertices no face names go behind the others, so that nothing is lost.
    for (uint32_t v = 0; v < vertexCount; ++v)
        if (renumber[v] == unnumbered)
            renumber[v] = next++;
    for (uint32_t v = 0; v < vertexCount; ++v)
    {
        uint32_t n = renumber[v];
        std::memcpy(newPositions + 3 * n, positions + 3 * v, 12);
        std::memcpy(newNormals + 3 * n, normals + 3 * v, 12);
        std::memcpy(newTexCoords + 2 * n, texCoords + 2 * v, 8);
    }
    delete[] renumber;
    delete[] indices;
    delete[] positions;
    delete[] normals;
    delete[] texCoords;
    indices = newIndices;
    positions = newPositions;
    normals = newNormals;
    texCoords = newTexCoords;
    if (systemMemory)
    {
        renderPositions = positions;
        renderNormals = normals;
        renderTexCoords = texCoords;
    }
    UploadVertices();
}

// Drawing.

namespace
{

// With the pool in range memory a mesh in system memory draws with the
// range switched off around it; pool meshes draw from the range unlocked.
void LockArrays(bool systemMemory, uint32_t count)
{
    bool range = InRangeMemory();
    if (range && !systemMemory)
        return;
    if (range)
        glDisableClientState(kRangeWithoutFlush);
    if (ep_glLockArraysEXT)
        glLockArraysEXT(0, static_cast<GLsizei>(count));
}

void UnlockArrays(bool systemMemory)
{
    bool range = InRangeMemory();
    if (range && !systemMemory)
        return;
    if (ep_glUnlockArraysEXT)
        glUnlockArraysEXT();
    if (range)
        glEnableClientState(kRangeWithoutFlush);
}

} // namespace

void Mesh::Draw()
{
    glPushMatrix();
    glEnableClientState(GL_NORMAL_ARRAY);
    glEnableClientState(GL_VERTEX_ARRAY);
    glNormalPointer(GL_FLOAT, 12, renderNormals);
    glVertexPointer(3, GL_FLOAT, 12, renderPositions);
    LockArrays(systemMemory, vertexCount);
    g_engine->renderState.Enable(GL_LIGHTING, true);
    g_engine->SetShader(shader);

    // Program matrix 0 holds the object's transform alone, for the vertex
    // programs. A driver without them has no such matrix: GL would refuse
    // the mode and the load would land on the modelview matrix.
    if (g_engine->capabilities.hasVertexProgram)
    {
        glMatrixMode(GL_MATRIX0_ARB);
        LoadTransposeMatrix(transform.m);
        glMatrixMode(GL_MODELVIEW);
    }

    int32_t stageCount = shader ? shader->stageCount : 0;
    for (int32_t i = 0; i < stageCount && i < 32; ++i)
    {
        GLenum unit = GL_TEXTURE0_ARB + static_cast<GLenum>(i);
        if (ep_glClientActiveTextureARB)
            glClientActiveTextureARB(unit);
        g_engine->renderState.SelectUnit(unit);
        if (!shader->stages[i].tcgenEnabled)
        {
            glEnableClientState(GL_TEXTURE_COORD_ARRAY);
            glTexCoordPointer(2, GL_FLOAT, 8, renderTexCoords);
        }
        else
            glDisableClientState(GL_TEXTURE_COORD_ARRAY);
    }

    MultTransposeMatrix(transform.m);
    glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(faceCount * 3), GL_UNSIGNED_INT, indices);
    UnlockArrays(systemMemory);
    g_engine->stats.polygonCount += static_cast<int32_t>(faceCount);

    if (g_engine->drawNormals)
        DrawNormalLines();
    glPopMatrix();
}

void Mesh::DrawNormalLines()
{
    g_engine->SetVertexProgram(nullptr);
    g_engine->SetShader(nullptr);
    g_engine->renderState.SelectUnit(GL_TEXTURE0_ARB);
    g_engine->renderState.Enable(GL_LIGHTING, false);
    g_engine->renderState.UnitTexture(GL_TEXTURE_2D, false);
    glColor3f(1.0f, 1.0f, 1.0f);
    // One unit long in the mesh's own space.
    for (uint32_t v = 0; v < vertexCount; ++v)
    {
        const float* p = positions + 3 * v;
        const float* n = normals + 3 * v;
        glBegin(GL_LINES);
        glVertex3fv(p);
        glVertex3f(p[0] + n[0], p[1] + n[1], p[2] + n[2]);
        glEnd();
    }
    g_engine->renderState.Enable(GL_LIGHTING, true);
    g_engine->renderState.UnitTexture(GL_TEXTURE_2D, true);
}

void Mesh::DrawCulled(const Frustum& frustum)
{
    Sphere sphere;
    Vec4 at = GetPosition();
    sphere.center = Vec4(boundingSphere.center.x + at.x, boundingSphere.center.y + at.y,
                         boundingSphere.center.z + at.z);
    sphere.radius = boundingSphere.radius;
    if (frustum.TestSphere(sphere))
        Draw();
}

void Mesh::DrawShadow(const Plane& plane, SceneObject* light)
{
    const float p[4] = {plane.normal.x, plane.normal.y, plane.normal.z, plane.distance};
    Vec4 at = light->GetPosition();
    const float l[4] = {at.x, at.y, at.z, at.w};
    float dot = p[0] * l[0] + p[1] * l[1] + p[2] * l[2] + p[3] * l[3];
    // Element (i, j) is dot on the diagonal less L[i] P[j]; GL takes the
    // columns one after the other.
    float shadow[16];
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            shadow[4 * j + i] = (i == j ? dot : 0.0f) - l[i] * p[j];

    g_engine->renderState.Enable(GL_DEPTH_TEST, true);
    g_engine->renderState.SetDepthMask(false);
    g_engine->renderState.Enable(GL_LIGHTING, false);
    for (int32_t unit = 0; unit < g_engine->capabilities.maxTextureUnits && unit < 32; ++unit)
    {
        g_engine->renderState.SelectUnit(GL_TEXTURE0_ARB + static_cast<GLenum>(unit));
        g_engine->renderState.UnitTexture(GL_TEXTURE_2D, false);
    }
    g_engine->renderState.Enable(GL_STENCIL_TEST, true);
    g_engine->renderState.SelectUnit(GL_TEXTURE0_ARB);

    glPolygonOffset(-2.0f, -1.0f);
    glEnable(GL_POLYGON_OFFSET_FILL);
    g_engine->renderState.Enable(GL_BLEND, true);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);

    glEnableClientState(GL_VERTEX_ARRAY);
    glVertexPointer(3, GL_FLOAT, 0, renderPositions);
    if (ep_glLockArraysEXT)
        glLockArraysEXT(0, static_cast<GLsizei>(vertexCount));
    // A pixel takes the shadow while its stencil isn't 1 and is then marked,
    // so overlapping triangles darken it once.
    glStencilFunc(GL_NOTEQUAL, 1, 0xFFFFFFFFu);
    glStencilOp(GL_REPLACE, GL_REPLACE, GL_REPLACE);
    glColor4f(0.0f, 0.0f, 0.0f, 0.5f);

    glPushMatrix();
    glMultMatrixf(shadow);
    MultTransposeMatrix(transform.m);
    glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(faceCount * 3), GL_UNSIGNED_INT, indices);
    glPopMatrix();
    g_engine->stats.polygonCount += static_cast<int32_t>(faceCount);

    if (ep_glUnlockArraysEXT)
        glUnlockArraysEXT();
    glDisable(GL_POLYGON_OFFSET_FILL);
    g_engine->renderState.Enable(GL_STENCIL_TEST, false);
    g_engine->renderState.SetDepthMask(true);
}

// The model file's mesh record: name, shader name, position, face count,
// vertex count, then positions, texture coordinates, normals and faces.

bool Mesh::Load(FileBuffer* file)
{
    problem = Truncated;
    char shaderName[32];
    float place[3];
    uint32_t faces = 0;
    uint32_t vertices = 0;
    if (!file->Read(name, 32) || !file->Read(shaderName, 32) || !file->Read(place, 12) ||
        !file->Read(&faces, 4) || !file->Read(&vertices, 4))
        return false;
    name[31] = '\0';
    shaderName[31] = '\0';
    uint64_t need = 32 * uint64_t(vertices) + 12 * uint64_t(faces);
    if (need > file->size - file->position)
        return false;

    // A record that is refused leaves the mesh empty and gives the pool
    // back what it took, so the meshes before it stay whole.
    VertexArrayPool* pool = g_engine ? g_engine->vertexPool : nullptr;
    uint8_t* poolCursor = pool ? pool->cursor : nullptr;
    uint32_t poolFree = pool ? pool->freeBytes : 0;
    auto refuse = [&](LoadProblem why)
    {
        problem = why;
        FreeVertices();
        AllocateFaces(0);
        if (pool && !systemMemory)
        {
            pool->cursor = poolCursor;
            pool->freeBytes = poolFree;
        }
        return false;
    };
    if (!AllocateVertices(vertices) || !AllocateFaces(faces))
        return refuse(PoolFull);
    file->Read(positions, 12 * vertices);
    file->Read(texCoords, 8 * vertices);
    file->Read(normals, 12 * vertices);
    file->Read(indices, 12 * faces);
    if (!IndicesInRange())
        return refuse(BadIndex);

    problem = NoProblem;
    shader = g_engine->AddShader(shaderName);
    lostShader[0] = '\0';
    transform.m[3] = place[0];
    transform.m[7] = place[1];
    transform.m[11] = place[2];
    ComputeBounds();
    ReorderVertices();
    return true;
}
