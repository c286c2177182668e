#include "scene/mesh_set.h"

#include <cstdio>
#include <cstring>

#include "app/report.h"
#include "archive/file_buffer.h"
#include "resources/registries.h"
#include "resources/shader.h"

namespace
{

// What the console hears about a load.
const char* const kLoadedLine = "> %d mesh loaded from file '%s'";
const char* const kTruncatedLine = "  mesh %u of %u is cut short";
const char* const kBadIndexLine = "  mesh %u of %u names a vertex it doesn't have";
const char* const kPoolFullLine = "  mesh %u of %u doesn't fit in the vertex memory";
const char* const kFewerLine = "  the file holds %u meshes at most, not %u";

} // namespace

namespace
{

// A shader leaving its registry (the console can delete one at any time)
// must not stay behind in the meshes that draw with it; they keep its name,
// and take up the next shader of that name that is added.
void FollowShaders(ResourceEvent event, ResourceKind kind, void* object, void* user)
{
    if (kind != ResourceKind::Shader)
        return;
    Shader* shader = static_cast<Shader*>(object);
    MeshContainer* container = static_cast<MeshContainer*>(user);
    for (uint32_t i = 0; i < container->meshCount; ++i)
    {
        Mesh& mesh = container->meshes[i];
        if (event == ResourceEvent::Released && mesh.shader == shader)
        {
            snprintf(mesh.lostShader, sizeof mesh.lostShader, "%s", shader->name);
            mesh.shader = nullptr;
        }
        else if (event == ResourceEvent::Added && !mesh.shader && mesh.lostShader[0] &&
                 strcmp(mesh.lostShader, shader->name) == 0)
        {
            mesh.shader = shader;
            mesh.lostShader[0] = '\0';
        }
    }
}

} // namespace

MeshContainer::MeshContainer()
{
    AddResourceListener(FollowShaders, this);
}

MeshContainer::~MeshContainer()
{
    RemoveResourceListener(FollowShaders, this);
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

    Report(ToConsole, Frame::None, kLoadedLine, static_cast<int32_t>(meshCount), path ? path : "");
    if (detail)
        Report(ToConsole, Frame::None, detail, failed, count);
    else if (count > made)
        Report(ToConsole, Frame::None, kFewerLine, room, count);
}
