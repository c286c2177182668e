// MeshContainer and MeshSet: the meshes of one model file, drawn in the
// order of the file.
//
//     MeshSet* model = new MeshSet;
//     model->Load("tsm\\avion.tsm", "data.rar", password);   // "> 1 mesh loaded ..."
//     model->DrawAll();
//
// The model file, little-endian, no padding:
//
//     header      19 bytes of text, 4 more bytes (the reader skips all 23;
//                 our writer puts its signature there), mesh count (u32)
//     mesh        name (32 chars), shader name (32 chars), position (3
//                 floats), face count F (u32), vertex count V (u32),
//                 V positions (3 floats), V texture coordinates (2 floats),
//                 V normals (3 floats), F triangles (3 u32 vertex numbers)
//
// A record is 84 + 32 V + 12 F bytes. Each mesh's shader is asked for by
// name through the Engine, so the file brings its materials into being;
// its vertices go to the Engine's vertex pool, which must be set up first.
#pragma once

#include <cstdint>

#include "scene/mesh.h"

class FileBuffer;

class MeshContainer
{
public:
    MeshContainer();
    // Destroys the mesh array, if there is one.
    virtual ~MeshContainer();
    MeshContainer(const MeshContainer&) = delete;
    MeshContainer& operator=(const MeshContainer&) = delete;

    // DrawCulled of each mesh in array order.
    virtual void DrawCulled(const Frustum& frustum);
    // Draw of each mesh in array order.
    virtual void DrawAll();

    Mesh* meshes = nullptr;
    uint32_t meshCount = 0;
};

class MeshSet : public MeshContainer
{
public:
    MeshSet();
    ~MeshSet() override;

    // Reads a model file through FileBuffer (the disk for an empty archive
    // name) and reports "> %d mesh loaded from file '%s'" on the console. A
    // file that can't be read leaves the set empty. A bad record ends the
    // load: the meshes before it stay, and a detail line says what was
    // wrong.
    virtual void Load(const char* path, const char* archiveName, const char* password);
    // The same on a file already in memory, from its read position; `path`
    // is the name the console line gives. Load opens, reads and closes.
    void Read(FileBuffer& file, const char* path);
};

// Byte sizes of the file's parts.
constexpr uint32_t kModelHeaderSize = 27;
constexpr uint32_t kMeshRecordHeaderSize = 84;
