// Reading an uncompressed true-colour Targa out of a FileBuffer, without GL.
//
// The engine's Targa files are plain: an 18-byte header, then the pixels
// right behind it. Only the image type (byte 2), the size (bytes 12 to 15)
// and the pixel depth (byte 16) are looked at. The identification field and
// colour map that bytes 0 and 1 could announce are not skipped, and the
// origin bits of byte 17 are not honoured: rows reach the caller in file
// order. The channel swap to red-green-blue happens in the buffer itself,
// so the image is never copied.
#pragma once

#include <cstdint>

class FileBuffer;

constexpr uint32_t kTargaHeaderSize = 18;
constexpr uint8_t kTargaTrueColour = 2; // image type: uncompressed true colour

struct TargaImage
{
    uint32_t width = 0;
    uint32_t height = 0;
    bool hasAlpha = false;       // 32 bits a pixel
    bool headerAccepted = false; // type and depth passed; width and height are valid
    uint8_t* pixels = nullptr;   // into the FileBuffer, red-green-blue(-alpha)
};

// Reads the header and the pixels from the buffer's read position and swaps
// blue and red of every pixel in place. False for a short buffer, another
// image type, a depth other than 24 or 32 and a zero side; `headerAccepted`
// then says whether width, height and hasAlpha were read.
bool ReadTarga(FileBuffer& file, TargaImage* image);

// Blue-green-red(-alpha) to red-green-blue(-alpha), in place.
void SwapRedAndBlue(uint8_t* pixels, uint64_t pixelCount, uint32_t bytesPerPixel);
