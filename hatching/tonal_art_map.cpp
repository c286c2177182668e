#include "hatching/tonal_art_map.h"

#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <vector>

#include "app/gl_entry_points.h"

namespace
{

// A block of bytes on 2 MiB boundaries, advised as huge pages where the
// kernel offers them on request.
struct LevelBlock
{
    explicit LevelBlock(size_t bytes)
    {
        const size_t huge = size_t(2) << 20;
        size_t rounded = (bytes + huge - 1) / huge * huge;
        data = static_cast<uint8_t*>(aligned_alloc(huge, rounded));
        if (data)
            madvise(data, rounded, MADV_HUGEPAGE);
    }
    ~LevelBlock() { free(data); }
    LevelBlock(const LevelBlock&) = delete;
    LevelBlock& operator=(const LevelBlock&) = delete;
    uint8_t* data = nullptr;
};

} // namespace

TonalArtMap::TonalArtMap()
{
    wrapR = GL_CLAMP_TO_EDGE;
}

void TonalArtMap::Build(uint32_t size, uint32_t layerCount, uint32_t candidates, int32_t layerKind)
{
    if (!ep_glTexImage3D)
        return;
    // Each layer of the stack holds a GL name of its own that is never
    // filled and goes with the layer once the volume is on the card. The
    // generation works on pixel blocks alone, so the names are made here.
    std::vector<GLuint> layerNames(layerCount);
    glGenTextures(static_cast<GLsizei>(layerCount), layerNames.data());

    ArtMapStack stack;
    GenerateArtMapStack(size, layerCount, candidates, layerKind, &stack);
    width = height = size;
    depth = layerCount;
    mipLevels = stack.levelCount;

    GLuint name = 0;
    glGenTextures(1, &name);
    id = name;
    glBindTexture(GL_TEXTURE_3D, id);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MIN_FILTER, minFilter);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MAG_FILTER, magFilter);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_S, wrapS);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_T, wrapT);
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_R, wrapR);
    // Tells the driver before the first level arrives that a whole chain
    // follows. Without it a driver may lay out level 0 alone (3D textures
    // are seldom mipmapped), move it when level 1 comes, and copy every
    // level into a new chain at the first draw: three times the upload.
    // The chain ends at levels - 1 in any case, so sampling is the same.
    glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MAX_LEVEL, static_cast<GLint>(stack.levelCount) - 1);
    // The rows of the small levels (1 and 2 pixels of 3 bytes) are tight.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    // Each level goes to the driver as one block of its slices, written
    // from the stack slice by slice. One block serves every level (level 0
    // is the largest, 25 MB for the demo's map), asked for in huge pages:
    // written once and copied by the driver, it would otherwise cost a
    // page fault every 4 KiB, which is most of the upload's own time.
    LevelBlock block(stack.LevelBytes(0));
    ArtMapSlices slices(stack);
    for (uint32_t m = 0; block.data && m < stack.levelCount; ++m)
    {
        GLsizei side = static_cast<GLsizei>(size >> m);
        size_t bytes = stack.ImageBytes(m);
        for (uint32_t j = 0; j < stack.slices[m]; ++j)
            memcpy(block.data + j * bytes, slices.Slice(m, j), bytes);
        glTexImage3D(GL_TEXTURE_3D, m, GL_RGB8, side, side, stack.slices[m], 0, GL_RGB,
                     GL_UNSIGNED_BYTE, block.data);
    }
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glDeleteTextures(static_cast<GLsizei>(layerCount), layerNames.data());
}
