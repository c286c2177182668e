// A 2D texture drawn on the CPU.
//
// ProceduralTexture is a Texture and a PixelCanvas: the caller draws into
// the canvas's mip levels (pixels, Bresenham lines, fills) before they go
// to the card. The drawing needs no GL context; Create, Upload and
// DrawPreview do.
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
#include "tam/pixel_canvas.h"

class ProceduralTexture : public Texture, public PixelCanvas
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
    // A textured quad centred at (400, 300), texture coordinates 0 to scale.
    virtual void DrawPreview(float scale);

    // Create without the GL name: the canvas, the texture's size and its
    // filter.
    void Allocate(uint32_t width, uint32_t height, uint8_t bitsPerPixel, uint32_t mipLevels,
                  bool autoMipmap);

    // The canvas and the texture hold the same size; the canvas's is the
    // one the drawing reads.
    using PixelCanvas::height;
    using PixelCanvas::width;
};
