// Fuzzes the bitmap decoder: a failure leaves the image empty, a success is whole.
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
