// The tonal art map: a stack of pen-stroke images of rising darkness, laid
// into one 3D texture so that the third texture coordinate picks the tone
// and filtering blends neighbouring tones.
//
//     TonalArtMap* map = new TonalArtMap;
//     map->Build(256, 128, 5, 0);   // 256 x 256, 128 tones, best of 5, hatching
//     map->Bind();                  // GL_TEXTURE_3D
//
// The generation itself needs no GL context: GenerateArtMapVolume
// (tam/art_map_generation.h) gives the exact bytes that Build hands to
// GL, level by level.
#pragma once

#include <cstdint>

#include "hatching/volume_texture.h"
#include "tam/art_map_generation.h"

class TonalArtMap : public VolumeTexture
{
public:
    // The third coordinate clamps to the edge: no blending of the darkest
    // tone with the lightest.
    TonalArtMap();
    // Generates the stack and makes the GL texture. `size` is a power of
    // two, `layerCount` at least 2, `candidates` at least 1, `layerKind` 0
    // (hatching) or 1 (blank). Needs a current context with 3D textures:
    // without their entry point nothing is generated and `id` stays 0.
    virtual void Build(uint32_t size, uint32_t layerCount, uint32_t candidates, int32_t layerKind);
};
