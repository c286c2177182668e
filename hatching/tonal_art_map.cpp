#include "hatching/tonal_art_map.h"

#include <vector>

#include "app/gl_entry_points.h"

TonalArtMap::TonalArtMap()
{
    wrapR = GL_CLAMP_TO_EDGE;
}

void TonalArtMap::Build(uint32_t size, uint32_t layerCount, uint32_t candidates, int32_t layerKind)
{
    if (!ep_glTexImage3D || !ep_glTexSubImage3D)
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
    // Each level is made at its full size and then filled slice by slice
    // from the stack, through one slice-sized image that stays in the
    // cache and changes only where ink goes from one slice to the next: a
    // block of a whole level (25 MB at level 0) would be written once, page
    // by page, only to be copied by the driver.
    ArtMapSlices slices(stack);
    for (uint32_t m = 0; m < stack.levelCount; ++m)
    {
        GLsizei side = static_cast<GLsizei>(size >> m);
        glTexImage3D(GL_TEXTURE_3D, m, GL_RGB8, side, side, stack.slices[m], 0, GL_RGB,
                     GL_UNSIGNED_BYTE, nullptr);
        for (uint32_t j = 0; j < stack.slices[m]; ++j)
            glTexSubImage3D(GL_TEXTURE_3D, m, 0, 0, static_cast<GLint>(j), side, side, 1, GL_RGB,
                            GL_UNSIGNED_BYTE, slices.Slice(m, j));
    }
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glDeleteTextures(static_cast<GLsizei>(layerCount), layerNames.data());
}
