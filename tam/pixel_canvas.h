// A chain of mip-level images drawn on the CPU: the pixels and drawing
// operations of a procedural texture, with no GL in sight.
//
// Each level is a separate image that the caller draws into (pixels,
// Bresenham lines, fills). Width and height are powers of two: coordinates
// wrap by masking, so drawings tile. ProceduralTexture adds the GL name and
// the upload; the tone layers of the art map are canvases alone.
//
//     PixelCanvas c;
//     c.Allocate(256, 256, 24, 9, false);   // the full chain of 9 levels
//     c.Fill(255, 255, 255, 255);
//     c.DrawLine(0, 0, 255, 40, 0, 0, 0, 255, 0);
//     c.FreePixels();                       // the destructor does not
#pragma once

#include <cstdint>

class PixelCanvas
{
public:
    virtual ~PixelCanvas() = default;

    // Allocates the level blocks; their contents stay undefined until the
    // first Fill or CopyFrom. With autoMipmap only level 0 is held.
    void Allocate(uint32_t width, uint32_t height, uint8_t bitsPerPixel, uint32_t mipLevels,
                  bool autoMipmap);
    // Both end points included; every pixel with PutPixel's wrapping.
    virtual void DrawLine(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint8_t c0,
                          uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level);
    virtual void FillLevel(uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level);
    // Frees every block; levelCount stays. Nothing may be drawn afterwards.
    virtual void FreePixels();
    virtual void GrayscaleLevel(uint32_t level);
    virtual void Fill(uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3);
    // All levels of a source of the same geometry, byte for byte.
    virtual void CopyFrom(const PixelCanvas& source);

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

    uint32_t width = 0; // of level 0
    uint32_t height = 0;
    uint8_t** levels = nullptr;
    uint32_t levelCount = 0;
    uint8_t bitsPerPixel = 0;
    uint8_t autoMipmap = 0;
};

// The number of levels of a full chain down to 1 for a side of `size`.
uint32_t FullChainLength(uint32_t size);
