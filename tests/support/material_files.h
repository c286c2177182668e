// Files for the material suites: the engine's token table from the source
// tree, definition files and Targa images drawn from a function, all under a
// given start directory ("<dir>/ini", "<dir>/tga").
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "image_files.h"

namespace testsupport
{

inline std::string SourcePath(const std::string& relative)
{
    const char* root = getenv("TESSIMO_SOURCE_DIR");
    return std::string(root ? root : ".") + "/" + relative;
}

// WriteText into a folder that is made first, where missing.
inline void WriteFile(const std::string& path, const std::string& text)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WriteText(path, text);
}

// Red, green, blue, alpha of the pixel at x, y, y counted from the top.
using PixelFunction = std::function<void(uint32_t x, uint32_t y, uint8_t rgba[4])>;

// An uncompressed Targa of 24 or 32 bits, stored bottom row first (the
// loader hands rows to GL in file order, so the top row ends up at t = 1).
inline void WriteTarga(const std::string& path, uint32_t width, uint32_t height, uint32_t bits,
                       const PixelFunction& pixel)
{
    Bytes pixels;
    for (uint32_t row = 0; row < height; ++row)
        for (uint32_t x = 0; x < width; ++x)
        {
            uint8_t p[4] = {0, 0, 0, 255};
            pixel(x, height - 1 - row, p);
            pixels.insert(pixels.end(), {p[2], p[1], p[0], p[3]});
            pixels.resize(pixels.size() - (bits == 32 ? 0 : 1));
        }
    Bytes file = MakeTarga(width, height, uint8_t(bits), pixels);
    WriteFile(path, std::string(file.begin(), file.end()));
}

// A start directory for the engine: the real token table, and the
// definitions given.
inline void WriteMaterialFiles(const std::string& dir, const std::string& shaders)
{
    WriteFile(dir + "/ini/tokens.ini", ReadText(SourcePath("data/ini/tokens.ini")));
    WriteFile(dir + "/ini/Shaders.ini", shaders);
}

} // namespace testsupport
