// A 2D texture drawn on the CPU.
//
// ProceduralTexture keeps its mip levels as separate images in memory that
// the caller draws into (pixels, Bresenham lines, fills) before it goes to
// the card. Width and height are powers of two: coordinates wrap by
// masking, so drawings tile. The drawing needs no GL context; Create,
// Upload and DrawPreview do.
//
//     ProceduralTexture t;
//     t.Create(256, 256, 24, 9, false);   // the full chain of 9 levels
//     t.Fill(255, 255, 255, 255);
//     t.DrawLine(0, 0, 255, 40, 0, 0, 0, 255, 0);
//     t.Upload();
//     t.FreePixels();                     // the destructor does not
#pragma once

#include <cstdint>

#include "resources/texture.h"

class ProceduralTexture : public Texture
{
public:
    ~ProceduralTexture() override = default;

    // Allocates the level blocks and generates the GL name. With
    // autoMipmap only level 0 is held and GL or GLU makes the rest at
    // upload. The minifying filter is trilinear only for a full chain.
    virtual void Create(uint32_t width, uint32_t height, uint8_t bitsPerPixel, uint32_t mipLevels,
                        bool autoMipmap);
    virtual void UploadLevel(uint32_t level);
    virtual void Upload();
    // Both end points included; every pixel with PutPixel's wrapping.
    virtual void DrawLine(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint8_t c0,
                          uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level);
    virtual void FillLevel(uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level);
    // Frees every block; levelCount and id stay. Nothing may be drawn or
    // uploaded afterwards.
    virtual void FreePixels();
    virtual void GrayscaleLevel(uint32_t level);
    // A textured quad centred at (400, 300), texture coordinates 0 to scale.
    virtual void DrawPreview(float scale);
    virtual void Fill(uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3);
    // All levels of a source of the same geometry, byte for byte.
    virtual void CopyFrom(const ProceduralTexture& source);

    // Coordinates are masked to the level; with autoMipmap the write goes to
    // level 0. c3 counts only at 32 bits. No blending, no bounds check: the
    // mask keeps the write in the block.
    void PutPixel(uint32_t x, uint32_t y, uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3,
                  uint32_t level)
    {
        uint32_t lw = width >> level;
        x &= lw - 1;
        y &= (height >> level) - 1;
        uint32_t written = autoMipmap ? 0 : level;
        uint8_t* p = levels[written] + (y * (width >> written) + x) * (bitsPerPixel / 8u);
        p[0] = c0;
        p[1] = c1;
        p[2] = c2;
        if (bitsPerPixel == 32)
            p[3] = c3;
    }

    // Bytes of one level's block.
    uint32_t LevelBytes(uint32_t level) const
    {
        return bitsPerPixel / 8u * (width >> level) * (height >> level);
    }

    // Create without the GL name: what the generation needs when it runs
    // with no GL context (the tools).
    void Allocate(uint32_t width, uint32_t height, uint8_t bitsPerPixel, uint32_t mipLevels,
                  bool autoMipmap);

    uint8_t** levels = nullptr;
    uint32_t levelCount = 0;
    uint8_t bitsPerPixel = 0;
    uint8_t autoMipmap = 0;
};

// The number of levels of a full chain down to 1 for a side of `size`.
uint32_t FullChainLength(uint32_t size);
