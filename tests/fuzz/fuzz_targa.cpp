// Fuzzes the Targa reader through a file: a success hands out its pixels in the buffer.
#include "archive/file_buffer.h"
#include "resources/targa_image.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static const std::string path = "/tmp/fuzz_targa." + std::to_string(getpid()) + ".tga";
    FILE* out = fopen(path.c_str(), "wb");
    if (!out)
        abort();
    fwrite(bytes, 1, size, out);
    fclose(out);

    FileBuffer file;
    if (!file.Open(path.c_str(), "", nullptr))
        abort();
    TargaImage image;
    if (ReadTarga(file, &image))
    {
        uint64_t length = uint64_t(image.width) * image.height * (image.hasAlpha ? 4 : 3);
        if (!image.headerAccepted || image.pixels != file.data + 18 || 18 + length > file.size)
            abort();
        volatile uint8_t last = image.pixels[length - 1];
        (void)last;
    }
    else if (image.pixels)
    {
        abort();
    }
    file.Close();
    unlink(path.c_str());
    return 0;
}
