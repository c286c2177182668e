#include "hatching/procedural_texture.h"

#include "app/gl_entry_points.h"
#include "hatching/preview_state.h"
#include "resources/engine_base.h"

void ProceduralTexture::Allocate(uint32_t w, uint32_t h, uint8_t bpp, uint32_t mipLevels,
                                 bool autoMip)
{
    // The filter looks at the count asked for, before autoMipmap cuts it.
    Texture::width = w;
    Texture::height = h;
    minFilter = mipLevels == FullChainLength(w) ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR;
    PixelCanvas::Allocate(w, h, bpp, mipLevels, autoMip);
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
    else if (g_engine && g_engine->capabilities.hasGenerateMipmap)
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
