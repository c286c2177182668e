// Texture: one OpenGL texture object with its mip chain, made from an image.
//
// The base of the texture family: the engine's registry makes plain
// Textures from Targa files (through FileBuffer, so from the disk or the
// data archive), and the procedural and volume textures of the hatching
// derive from it and use its fields. Every load builds the whole mip chain
// on the CPU with gluBuild2DMipmaps.
//
//     Texture* t = new Texture;
//     t->minFilter = GL_LINEAR;               // filters and wraps before the load
//     if (!t->LoadTarga("tga\\wood.tga", "data.rar", password))
//         delete t;                           // the log has the reason
//
// A Texture keeps no pixels: the image is gone when a load returns.
#pragma once

#include <cstdint>

// The 24-bit image the bitmap reader gives back: 3 bytes a pixel in the
// order red, green, blue, tight rows without padding, bottom row first.
// Deleting the record frees its pixels too.
struct DibImage
{
    DibImage() = default;
    ~DibImage() { delete[] pixels; }
    DibImage(const DibImage&) = delete;
    DibImage& operator=(const DibImage&) = delete;

    uint32_t width = 0;
    uint32_t height = 0;
    uint8_t* pixels = nullptr;
};

// Reads a Windows bitmap from a plain disk file, with or without its "BM"
// file header, at any colour depth of the format, into the 24-bit form.
// Failures are shown in a message box captioned "Error"; the result is then
// null. The caller deletes the result.
DibImage* LoadDibImage(const char* fileName);

class Texture
{
public:
    Texture();
    // Deletes the GL name, if one was made.
    virtual ~Texture();
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;

    // Binds `id` to GL_TEXTURE_2D.
    virtual void Bind();
    // Nothing to undo for a plain texture.
    virtual void Unbind();
    // A bitmap as GL_RGB8; `name` becomes `fileName`.
    virtual bool LoadBmp(const char* fileName);
    // Colour from one bitmap, alpha from the red channel of another, as
    // GL_RGBA8; `name` becomes `colourFile` and `hasAlpha` true.
    virtual bool LoadBmpWithAlpha(const char* colourFile, const char* alphaFile);
    // An uncompressed 24- or 32-bit Targa through FileBuffer; an empty
    // `archiveName` means the disk. On failure the engine log gets
    // "## cannot open file <fileName> ##".
    virtual bool LoadTarga(const char* fileName, const char* archiveName, const char* password);
    // Deletes the GL name and loads `path` again with the same filters and
    // wraps. False, and nothing done, when nothing was ever loaded.
    virtual bool Reload(const char* archiveName, const char* password);

    uint32_t id;        // GL texture name; 0 until a load makes one
    uint32_t magFilter; // GL enums, set by the caller before a load
    uint32_t minFilter;
    uint32_t wrapS;
    uint32_t wrapT;
    uint32_t height; // rows of level 0 as the file stores them
    uint32_t width;  // pixels in a row
    uint32_t target; // GL_TEXTURE_2D; the volume texture makes it GL_TEXTURE_3D
    bool hasAlpha;   // four components
    char name[255];  // the key in the registry; a load leaves a set name alone
    char path[256];  // the Targa file that Reload reads

protected:
    // Generates the GL name, binds it and sets the filters and wraps.
    void CreateObject();
    // The one gluBuild2DMipmaps of every load path, from tight rows.
    void BuildMipmaps(uint32_t internalFormat, uint32_t imageWidth, uint32_t imageHeight,
                      uint32_t pixelFormat, const uint8_t* pixels);
};
