#include "scene/mesh_set.h"

#include "archive/file_buffer.h"
#include "resources/console_base.h"
#include "resources/engine_base.h"
#include "resources/registries.h"

namespace
{

// What the console hears about a load.
const char* const kLoadedLine = "> %d mesh loaded from file '%s'";
const char* const kTruncatedLine = "  mesh %u of %u is cut short";
const char* const kBadIndexLine = "  mesh %u of %u names a vertex it doesn't have";
const char* const kPoolFullLine = "  mesh %u of %u doesn't fit in the vertex memory";
const char* const kFewerLine = "  the file holds %u meshes at most, not %u";

void Say(const char* format, uint32_t a, uint32_t b)
{
    if (g_engine && g_engine->console)
        g_engine->console->Printf(format, a, b);
}

} // namespace

namespace
{

// A shader leaving its registry (the console can delete one at any time)
// must not stay behind in the meshes that draw with it.
void ForgetShader(ResourceKind kind, void* object, void* user)
{
    if (kind != ResourceKind::Shader)
        return;
    MeshContainer* container = static_cast<MeshContainer*>(user);
    for (uint32_t i = 0; i < container->meshCount; ++i)
        if (container->meshes[i].shader == object)
            container->meshes[i].shader = nullptr;
}

} // namespace

MeshContainer::MeshContainer()
{
    AddResourceReleaseListener(ForgetShader, this);
}

MeshContainer::~MeshContainer()
{
    RemoveResourceReleaseListener(ForgetShader, this);
    delete[] meshes;
    meshes = nullptr;
    meshCount = 0;
}

void MeshContainer::DrawCulled(const Frustum& frustum)
{
    for (uint32_t i = 0; i < meshCount; ++i)
        meshes[i].DrawCulled(frustum);
}

void MeshContainer::DrawAll()
{
    for (uint32_t i = 0; i < meshCount; ++i)
        meshes[i].Draw();
}

MeshSet::MeshSet() = default;

MeshSet::~MeshSet() = default;

void MeshSet::Load(const char* path, const char* archiveName, const char* password)
{
    FileBuffer file;
    file.Open(path, archiveName ? archiveName : "", password);
    Read(file, path);
    file.Close();
}

void MeshSet::Read(FileBuffer& file, const char* path)
{
    delete[] meshes;
    meshes = nullptr;
    meshCount = 0;

    char text[19];
    uint32_t skipped = 0;
    uint32_t count = 0;
    bool header = file.Read(text, 19) && file.Read(&skipped, 4) && file.Read(&count, 4);

    // No more meshes than the data could hold, so a count of billions
    // costs nothing.
    uint32_t room = (file.size - file.position) / kMeshRecordHeaderSize;
    uint32_t made = count < room ? count : room;
    const char* detail = nullptr;
    uint32_t failed = 0;
    if (header && made > 0)
    {
        meshes = new Mesh[made];
        while (meshCount < made && meshes[meshCount].Load(&file))
            ++meshCount;
        if (meshCount < made)
        {
            failed = meshCount + 1;
            switch (meshes[meshCount].problem)
            {
            case Mesh::BadIndex:
                detail = kBadIndexLine;
                break;
            case Mesh::PoolFull:
                detail = kPoolFullLine;
                break;
            default:
                detail = kTruncatedLine;
                break;
            }
        }
    }

    if (g_engine && g_engine->console)
        g_engine->console->Printf(kLoadedLine, static_cast<int32_t>(meshCount), path ? path : "");
    if (detail)
        Say(detail, failed, count);
    else if (count > made)
        Say(kFewerLine, room, count);
}
