#include "hatching/procedural_texture.h"

#include "hatching/line_walk.h"

#include <cstring>

#include "resources/engine_base.h"
#include "app/gl_entry_points.h"
#include "hatching/preview_state.h"

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

void ProceduralTexture::Allocate(uint32_t w, uint32_t h, uint8_t bpp, uint32_t mipLevels,
                                 bool autoMip)
{
    // The filter looks at the count asked for, before autoMipmap cuts it.
    width = w;
    height = h;
    minFilter = mipLevels == FullChainLength(w) ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR;
    levelCount = autoMip ? 1 : mipLevels;
    bitsPerPixel = bpp;
    autoMipmap = autoMip;
    levels = new uint8_t*[levelCount];
    for (uint32_t i = 0; i < levelCount; ++i)
        levels[i] = new uint8_t[LevelBytes(i)];
}

void ProceduralTexture::Create(uint32_t w, uint32_t h, uint8_t bpp, uint32_t mipLevels,
                               bool autoMip)
{
    Allocate(w, h, bpp, mipLevels, autoMip);
    GLuint name = 0;
    glGenTextures(1, &name);
    id = name;
}

void ProceduralTexture::UploadLevel(uint32_t level)
{
    glBindTexture(GL_TEXTURE_2D, id);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, wrapS);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, wrapT);
    GLenum format = bitsPerPixel == 32 ? GL_RGBA : GL_RGB;
    GLint sized = bitsPerPixel == 32 ? GL_RGBA8 : GL_RGB8;
    // Rows are tight; a 1- or 2-pixel level of 3 bytes is not 4-aligned.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    if (!autoMipmap)
        glTexImage2D(GL_TEXTURE_2D, level, bitsPerPixel / 8, width >> level, height >> level, 0,
                     format, GL_UNSIGNED_BYTE, levels[level]);
    else if (g_engine && g_engine->hasGenerateMipmap)
    {
        glTexParameteri(GL_TEXTURE_2D, GL_GENERATE_MIPMAP_SGIS, 1);
        glTexImage2D(GL_TEXTURE_2D, 0, sized, width, height, 0, format, GL_UNSIGNED_BYTE,
                     levels[0]);
    }
    else
        gluBuild2DMipmaps(GL_TEXTURE_2D, sized, width, height, format, GL_UNSIGNED_BYTE, levels[0]);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
}

void ProceduralTexture::Upload()
{
    if (autoMipmap)
    {
        UploadLevel(0);
        return;
    }
    for (uint32_t i = 0; i < levelCount; ++i)
        UploadLevel(i);
}

void ProceduralTexture::DrawLine(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint8_t c0,
                                 uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level)
{
    WalkLine(x1, y1, x2, y2,
             [&](uint32_t x, uint32_t y, int32_t, uint32_t, bool)
             { PutPixel(x, y, c0, c1, c2, c3, level); });
}

void ProceduralTexture::FillLevel(uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level)
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

void ProceduralTexture::Fill(uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3)
{
    for (uint32_t i = 0; i < levelCount; ++i)
        FillLevel(c0, c1, c2, c3, i);
}

void ProceduralTexture::GrayscaleLevel(uint32_t level)
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

void ProceduralTexture::CopyFrom(const ProceduralTexture& source)
{
    for (uint32_t i = 0; i < levelCount; ++i)
        memcpy(levels[i], source.levels[i], LevelBytes(i));
}

void ProceduralTexture::FreePixels()
{
    if (!levels)
        return;
    for (uint32_t i = 0; i < levelCount; ++i)
        delete[] levels[i];
    delete[] levels;
    levels = nullptr;
}

void ProceduralTexture::DrawPreview(float scale)
{
    PreparePreview(this, GL_TEXTURE_2D, 0);
    float w = static_cast<float>(width), h = static_cast<float>(height);
    glPushMatrix();
    glBegin(GL_QUADS);
    glTexCoord2f(0, 0);
    glVertex3f(400 - w, 300 + h, 0);
    glTexCoord2f(scale, 0);
    glVertex3f(400 + w, 300 + h, 0);
    glTexCoord2f(scale, scale);
    glVertex3f(400 + w, 300 - h, 0);
    glTexCoord2f(0, scale);
    glVertex3f(400 - w, 300 - h, 0);
    glEnd();
    glPopMatrix();
}
