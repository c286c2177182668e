#include "tam/pixel_canvas.h"

#include "tam/line_walk.h"

#include <cstring>

uint32_t FullChainLength(uint32_t size)
{
    uint32_t n = 1;
    while (size > 1)
    {
        size >>= 1;
        ++n;
    }
    return n;
}

void PixelCanvas::Allocate(uint32_t w, uint32_t h, uint8_t bpp, uint32_t mipLevels, bool autoMip)
{
    width = w;
    height = h;
    levelCount = autoMip ? 1 : mipLevels;
    bitsPerPixel = bpp;
    autoMipmap = autoMip;
    levels = new uint8_t*[levelCount];
    for (uint32_t i = 0; i < levelCount; ++i)
        levels[i] = new uint8_t[LevelBytes(i)];
}

void PixelCanvas::DrawLine(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint8_t c0,
                           uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level)
{
    WalkLine(x1, y1, x2, y2,
             [&](uint32_t x, uint32_t y, int32_t, uint32_t, bool)
             { PutPixel(x, y, c0, c1, c2, c3, level); });
}

void PixelCanvas::FillLevel(uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level)
{
    uint32_t pixels = (width >> level) * (height >> level);
    uint32_t bytes = bitsPerPixel / 8u;
    uint8_t* p = levels[level];
    for (uint32_t i = 0; i < pixels; ++i, p += bytes)
    {
        p[0] = c0;
        p[1] = c1;
        p[2] = c2;
        if (bytes == 4)
            p[3] = c3;
    }
}

void PixelCanvas::Fill(uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3)
{
    for (uint32_t i = 0; i < levelCount; ++i)
        FillLevel(c0, c1, c2, c3, i);
}

void PixelCanvas::GrayscaleLevel(uint32_t level)
{
    uint32_t pixels = (width >> level) * (height >> level);
    uint32_t bytes = bitsPerPixel / 8u;
    uint8_t* p = levels[level];
    for (uint32_t i = 0; i < pixels; ++i, p += bytes)
    {
        // The single-precision weights sum to just below 1: white becomes 254.
        double g = p[2] * static_cast<double>(0.11f) + p[1] * static_cast<double>(0.59f) +
                   p[0] * static_cast<double>(0.3f);
        uint8_t v = static_cast<uint8_t>(g);
        p[0] = p[1] = p[2] = v;
    }
}

void PixelCanvas::CopyFrom(const PixelCanvas& source)
{
    for (uint32_t i = 0; i < levelCount; ++i)
        memcpy(levels[i], source.levels[i], LevelBytes(i));
}

void PixelCanvas::FreePixels()
{
    if (!levels)
        return;
    for (uint32_t i = 0; i < levelCount; ++i)
        delete[] levels[i];
    delete[] levels;
    levels = nullptr;
}
