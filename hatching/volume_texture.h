// A 3D texture: bound to GL_TEXTURE_3D, with a third wrap mode and a
// depth, and no pixels of its own. The tonal art map fills it.
#pragma once

#include <cstdint>

#include "resources/texture.h"

class VolumeTexture : public Texture
{
public:
    VolumeTexture();
    ~VolumeTexture() override = default;
    // Binds id to GL_TEXTURE_3D.
    void Bind() override;
    // A quad centred at (400, 300) whose third coordinate runs from 0 to 1
    // across it, so the whole depth shows from left to right.
    virtual void DrawPreview(float scale);

    uint32_t depth = 0;
    uint32_t wrapR;
    uint32_t mipLevels = 0;
};
