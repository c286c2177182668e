#include "resources/texture.h"

#include "app/report.h"
#include "archive/file_buffer.h"
#include "platform/path_map.h"
#include "resources/dib_image.h"
#include "resources/targa_image.h"

#include <GL/gl.h>
#include <GL/glu.h>

#include <cstdio>
#include <cstring>
#include <new>

namespace
{

// Every text this file shows, as the user sees it.
const char* const kCannotOpenLine = "cannot open file <%s>"; // a problem in the log
const char* const kDibCaption = "Error";
const char* const kDibOpenFailed = "Failed to open DIB file %s.\n";
const char* const kDibUnknownFormat = "Unknown DIB file format.";
const char* const kDibConversionError = "Image file conversion error.";
const char* const kDibOutOfMemory = "Out of memory.";

// Bounded copy that always terminates.
template <size_t N> void CopyName(char (&to)[N], const char* from)
{
    snprintf(to, N, "%s", from);
}

void LogCannotOpen(const char* fileName)
{
    Report(ToLog, Frame::Problem, kCannotOpenLine, fileName);
}

void ShowDibError(const char* text)
{
    ReportBox(Frame::None, text, kDibCaption, MB_OK | MB_ICONSTOP);
}

// The whole disk file, through the engine's path mapping; null when it
// can't be opened or read.
uint8_t* ReadWholeFile(const char* fileName, size_t* size)
{
    char mapped[4096];
    FILE* file = fopen(MapPath(fileName, mapped, sizeof mapped) ? mapped : fileName, "rb");
    if (!file)
        return nullptr;
    long length = -1;
    if (fseek(file, 0, SEEK_END) == 0)
        length = ftell(file);
    uint8_t* data = nullptr;
    if (length >= 0 && fseek(file, 0, SEEK_SET) == 0)
        data = new (std::nothrow) uint8_t[size_t(length) + 1];
    if (data && fread(data, 1, size_t(length), file) != size_t(length))
    {
        delete[] data;
        data = nullptr;
    }
    fclose(file);
    *size = size_t(length);
    return data;
}

} // namespace

DibImage* LoadDibImage(const char* fileName)
{
    size_t size = 0;
    uint8_t* data = ReadWholeFile(fileName, &size);
    if (!data)
    {
        char text[300];
        snprintf(text, sizeof text, kDibOpenFailed, fileName);
        ShowDibError(text);
        return nullptr;
    }
    DibImage* image = new DibImage;
    DibResult result = DecodeDib(data, size, image);
    delete[] data;
    if (result == DibResult::Ok)
        return image;
    delete image;
    if (result == DibResult::UnknownFormat)
        ShowDibError(kDibUnknownFormat);
    else if (result == DibResult::OutOfMemory)
        ShowDibError(kDibOutOfMemory);
    else
        ShowDibError(kDibConversionError);
    return nullptr;
}

Texture::Texture()
    : id(0), magFilter(GL_LINEAR), minFilter(GL_LINEAR_MIPMAP_NEAREST), wrapS(GL_REPEAT),
      wrapT(GL_REPEAT), height(0), width(0), target(GL_TEXTURE_2D), hasAlpha(false), name{}, path{}
{
}

Texture::~Texture()
{
    if (id != 0)
        glDeleteTextures(1, &id);
}

void Texture::Bind()
{
    glBindTexture(GL_TEXTURE_2D, id);
}

void Texture::Unbind() {}

void Texture::CreateObject()
{
    glGenTextures(1, &id);
    glBindTexture(GL_TEXTURE_2D, id);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GLint(magFilter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GLint(minFilter));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GLint(wrapS));
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GLint(wrapT));
}

void Texture::BuildMipmaps(uint32_t internalFormat, uint32_t imageWidth, uint32_t imageHeight,
                           uint32_t pixelFormat, const uint8_t* pixels)
{
    // Our images have tight rows; a row of 3-byte pixels needn't end on a
    // 4-byte boundary. The caller's alignment comes back afterwards.
    // GLU reads the version string first and takes a null one for text:
    // with no context current (a display mode switch whose new context
    // couldn't be made) there is nothing to build into anyway.
    if (!glGetString(GL_VERSION))
        return;
    GLint alignment = 4;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    gluBuild2DMipmaps(GL_TEXTURE_2D, GLint(internalFormat), GLint(imageWidth), GLint(imageHeight),
                      pixelFormat, GL_UNSIGNED_BYTE, pixels);
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
}

bool Texture::LoadBmp(const char* fileName)
{
    DibImage* image = LoadDibImage(fileName);
    if (!image)
        return false;
    CreateObject();
    BuildMipmaps(GL_RGB8, image->width, image->height, GL_RGB, image->pixels);
    width = image->width;
    height = image->height;
    delete image;
    CopyName(name, fileName);
    return true;
}

// Colour and alpha images of different sizes can't be merged pixel by
// pixel; such a pair is refused (with the conversion message) before any
// GL object is made.
bool Texture::LoadBmpWithAlpha(const char* colourFile, const char* alphaFile)
{
    DibImage* alpha = LoadDibImage(alphaFile);
    if (!alpha)
        return false;
    size_t pixelCount = size_t(alpha->width) * alpha->height;
    uint8_t* rgba = new (std::nothrow) uint8_t[pixelCount * 4];
    if (!rgba)
    {
        delete alpha;
        ShowDibError(kDibOutOfMemory);
        return false;
    }
    for (size_t i = 0; i < pixelCount; ++i)
        rgba[4 * i + 3] = alpha->pixels[3 * i];
    uint32_t alphaWidth = alpha->width, alphaHeight = alpha->height;
    delete alpha;

    DibImage* colour = LoadDibImage(colourFile);
    if (colour && (colour->width != alphaWidth || colour->height != alphaHeight))
    {
        ShowDibError(kDibConversionError);
        delete colour;
        colour = nullptr;
    }
    if (!colour)
    {
        delete[] rgba;
        return false;
    }
    for (size_t i = 0; i < pixelCount; ++i)
        memcpy(rgba + 4 * i, colour->pixels + 3 * i, 3);

    CreateObject();
    BuildMipmaps(GL_RGBA8, colour->width, colour->height, GL_RGBA, rgba);
    width = colour->width;
    height = colour->height;
    hasAlpha = true;
    CopyName(name, colourFile);
    delete colour;
    delete[] rgba;
    return true;
}

bool Texture::LoadTarga(const char* fileName, const char* archiveName, const char* password)
{
    FileBuffer* file = new FileBuffer;
    TargaImage image;
    bool read = file->Open(fileName, archiveName, password) && ReadTarga(*file, &image);
    if (image.headerAccepted)
    {
        width = image.width;
        height = image.height;
        hasAlpha = image.hasAlpha;
    }
    if (!read)
    {
        delete file;
        LogCannotOpen(fileName);
        return false;
    }

    CreateObject();
    if (name[0] == '\0')
        CopyName(name, fileName);
    CopyName(path, fileName);
    if (hasAlpha)
        BuildMipmaps(GL_RGBA8, width, height, GL_RGBA, image.pixels);
    else
        BuildMipmaps(GL_RGB, width, height, GL_RGB, image.pixels);
    file->Close();
    delete file;
    return true;
}

// A texture that came from a bitmap has no `path`: it is left as it is.
// After a failed reload the texture shows no image, as its name is gone;
// `id` then holds a fresh, empty name of its own rather than the deleted
// one, so that GL can't hand that number to another texture which this
// one's destructor or Bind would then reach.
bool Texture::Reload(const char* archiveName, const char* password)
{
    if (id == 0 || path[0] == '\0')
        return false;
    glDeleteTextures(1, &id);
    // LoadTarga copies the file name into `path`: hand it a copy.
    char file[sizeof path];
    CopyName(file, path);
    if (LoadTarga(file, archiveName, password))
        return true;
    glGenTextures(1, &id);
    return false;
}
