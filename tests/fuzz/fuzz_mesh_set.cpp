// Fuzzes the model reader: every mesh that loads is whole and inside the vertex pool.
#include "archive/file_buffer.h"
#include "resources/vertex_array_pool.h"
#include "scene/mesh_set.h"
#include "tests/support/stub_engine.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace
{

// An engine with nothing but the vertex pool.
class FuzzEngine : public testsupport::NoGlEngine
{
public:
    Shader* AddShader(const char*) override { return nullptr; }
};

bool Inside(const VertexArrayPool& pool, const void* block, uint64_t bytes)
{
    auto at = static_cast<const uint8_t*>(block);
    return at >= pool.base && at + bytes <= pool.end;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static FuzzEngine* engine = []
    {
        auto* e = new FuzzEngine;
        e->vertexPool = new VertexArrayPool;
        e->vertexPool->Init(0x100000, 0, 32, 0.0f, 0.0f);
        g_engine = e;
        return e;
    }();
    VertexArrayPool& pool = *engine->vertexPool;
    pool.Reset();
    if (size > 0xFFFFFFFFu)
        return 0;

    FileBuffer file;
    file.data = static_cast<uint8_t*>(malloc(size ? size : 1));
    memcpy(file.data, bytes, size);
    file.size = static_cast<uint32_t>(size);
    file.position = 0;
    file.loaded = true;
    {
        MeshSet set;
        set.Read(file, "fuzz.tsm");
        for (uint32_t m = 0; m < set.meshCount; ++m)
        {
            const Mesh& mesh = set.meshes[m];
            for (uint64_t i = 0; i < 3 * uint64_t(mesh.faceCount); ++i)
                if (mesh.indices[i] >= mesh.vertexCount)
                    abort();
            uint64_t v = mesh.vertexCount;
            if (!Inside(pool, mesh.renderPositions, 12 * v) ||
                !Inside(pool, mesh.renderNormals, 12 * v) ||
                !Inside(pool, mesh.renderTexCoords, 8 * v))
                abort();
            volatile float last = v ? mesh.renderTexCoords[2 * v - 1] : 0.0f;
            (void)last;
        }
    }
    file.Close();
    return 0;
}
