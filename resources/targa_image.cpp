#include "resources/targa_image.h"

#include "archive/file_buffer.h"

namespace
{

// Offsets in the 18-byte header.
constexpr uint32_t kImageType = 2;
constexpr uint32_t kWidth = 12;
constexpr uint32_t kHeight = 14;
constexpr uint32_t kPixelDepth = 16;

uint32_t Little16(const uint8_t* bytes)
{
    return bytes[0] + 256u * bytes[1];
}

} // namespace

void SwapRedAndBlue(uint8_t* pixels, uint64_t pixelCount, uint32_t bytesPerPixel)
{
    for (uint64_t i = 0; i < pixelCount; ++i, pixels += bytesPerPixel)
    {
        uint8_t blue = pixels[0];
        pixels[0] = pixels[2];
        pixels[2] = blue;
    }
}

bool ReadTarga(FileBuffer& file, TargaImage* image)
{
    uint8_t* header = nullptr;
    if (!file.ReadPointer(&header, kTargaHeaderSize))
        return false;
    uint32_t depth = header[kPixelDepth];
    if (header[kImageType] != kTargaTrueColour || (depth != 24 && depth != 32))
        return false;

    image->width = Little16(header + kWidth);
    image->height = Little16(header + kHeight);
    image->hasAlpha = depth == 32;
    image->headerAccepted = true;
    if (image->width == 0 || image->height == 0)
        return false;

    // At most 65535 * 65535 * 4 bytes: more than a 32-bit count can ask for,
    // and more than any buffer holds.
    uint64_t pixelCount = uint64_t(image->width) * image->height;
    uint64_t byteCount = pixelCount * (depth / 8);
    if (byteCount > UINT32_MAX)
        return false;
    uint8_t* pixels = nullptr;
    if (!file.ReadPointer(&pixels, uint32_t(byteCount)))
        return false;

    SwapRedAndBlue(pixels, pixelCount, depth / 8);
    image->pixels = pixels;
    return true;
}
