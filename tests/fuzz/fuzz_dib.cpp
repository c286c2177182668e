// Fuzzes the bitmap decoder: the input is a bitmap file or a bare DIB.
// Anything may fail; a failure must leave the image empty, a success must
// give a whole image of the size it claims, and nothing may crash, overrun
// or leak.

#include "resources/dib_image.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    DibImage image;
    DibResult result = DecodeDib(bytes, size, &image);
    if (result != DibResult::Ok)
    {
        if (image.pixels || image.width || image.height)
            abort();
        return 0;
    }
    if (!image.pixels || !image.width || !image.height)
        abort();
    // The whole block must be there: ASan checks the last byte of each row.
    volatile uint32_t sum = 0;
    size_t row = size_t(image.width) * 3;
    for (uint32_t y = 0; y < image.height; ++y)
        sum = sum + image.pixels[row * y] + image.pixels[row * y + row - 1];
    return 0;
}
