// Bitmaps of a known picture (always written plain: run-length codes are
// made by hand), Targa files, and engine start folders with given materials.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "files.h"

namespace testsupport
{

using Bytes = std::vector<uint8_t>;
using Colour = std::array<uint8_t, 3>; // red, green, blue

// Bottom row first like the decoder's result; `index` empty for true colour.
struct Picture
{
    uint32_t width = 0, height = 0;
    std::vector<uint32_t> index;
    std::vector<Colour> palette;
    Bytes rgb;
};

// A pattern that differs along both axes, in `colours` colours (0: free
// 24-bit colour, with white, black, red and blue corners, exact at every depth).
inline Picture MakePicture(uint32_t width, uint32_t height, uint32_t colours)
{
    Picture p{width, height, {}, {}, {}};
    for (uint32_t i = 0; i < colours; ++i)
        p.palette.push_back({uint8_t(i * 37 + 11), uint8_t(i * 91 + 5), uint8_t(250 - i * 53)});
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
        {
            Colour c{uint8_t(x * 5 + y), uint8_t(y * 9 + 3 * x), uint8_t(x * y + 17)};
            if (colours)
            {
                uint32_t i = x < width / 2 ? (x / 6 * 5 + y) % colours : (x * 7 + y * 3) % colours;
                p.index.push_back(i);
                c = p.palette[i];
            }
            else if ((x == 0 || x == width - 1) && (y == 0 || y == height - 1))
                c = {uint8_t(x ? 0 : 255), uint8_t(x || y ? 0 : 255), uint8_t(!x == !y ? 255 : 0)};
            p.rgb.insert(p.rgb.end(), c.begin(), c.end());
        }
    return p;
}

struct BmpOptions
{
    uint32_t bitCount = 24;
    uint32_t compression = 0;      // 0 plain, 1 RLE8, 2 RLE4, 3 bit fields
    uint32_t masks[3] = {0, 0, 0}; // red, green, blue; none: the depth's defaults
    uint32_t headerSize = 40;      // 12, 40, or longer (masks inside from 52 on)
    bool fileHeader = true;
    bool topDown = false;
};

inline void Put(Bytes& b, uint32_t v, int bytes) // little-endian
{
    for (int i = 0; i < bytes; ++i)
        b.push_back(uint8_t(v >> 8 * i));
}

// An 8-bit channel value moved into a mask, rounded to the mask's bits.
inline uint32_t Quantise(uint8_t value, uint32_t mask)
{
    uint32_t shift = 0;
    while (mask && !((mask >> shift) & 1))
        ++shift;
    return mask ? uint32_t((value * (uint64_t(mask) >> shift) + 127) / 255) << shift : 0;
}

inline Bytes WriteBmp(const Picture& p, const BmpOptions& o)
{
    uint32_t m[3] = {o.masks[0], o.masks[1], o.masks[2]};
    if (!(m[0] | m[1] | m[2]) && (o.bitCount == 16 || o.bitCount == 32))
        o.bitCount == 16 ? (m[0] = 0x7C00, m[1] = 0x03E0, m[2] = 0x1F)
                         : (m[0] = 0xFF0000, m[1] = 0xFF00, m[2] = 0xFF);
    Bytes pixels, info;
    for (uint32_t r = 0; r < p.height; ++r)
    {
        uint32_t y = o.topDown ? p.height - 1 - r : r, bits = 0, pending = 0;
        size_t rowStart = pixels.size();
        for (uint32_t x = 0; x < p.width; ++x)
        {
            size_t at = size_t(y) * p.width + x;
            const uint8_t* c = &p.rgb[3 * at];
            if (o.bitCount <= 8)
            {
                pending = pending << o.bitCount | p.index[at];
                if ((bits += o.bitCount) == 8)
                    pixels.push_back(uint8_t(pending)), bits = 0, pending = 0;
            }
            else if (o.bitCount == 24)
                pixels.insert(pixels.end(), {c[2], c[1], c[0]});
            else
                Put(pixels, Quantise(c[0], m[0]) | Quantise(c[1], m[1]) | Quantise(c[2], m[2]),
                    o.bitCount / 8);
        }
        if (bits)
            pixels.push_back(uint8_t(pending << (8 - bits)));
        while ((pixels.size() - rowStart) % 4)
            pixels.push_back(0);
    }
    Put(info, o.headerSize, 4);
    if (o.headerSize == 12)
        Put(info, p.width | p.height << 16, 4), Put(info, 1 | o.bitCount << 16, 4);
    else
    {
        for (uint32_t v :
             {p.width, o.topDown ? uint32_t(-int32_t(p.height)) : p.height, 1 | o.bitCount << 16,
              o.compression, uint32_t(pixels.size()), 2835u, 2835u, uint32_t(p.palette.size()), 0u})
            Put(info, v, 4);
        for (uint32_t i = 0; o.compression == 3 && i < 3; ++i)
            Put(info, m[i], 4); // inside the longer headers, behind the 40-byte one
        info.resize(std::max<size_t>(info.size(), o.headerSize), 0);
    }
    for (const Colour& c : p.palette) // 3 bytes a colour in the 12-byte header, 4 otherwise
        info.insert(info.end(), {c[2], c[1], c[0], 0}),
            info.resize(info.size() - (o.headerSize == 12));
    Bytes file = {'B', 'M'};
    for (size_t v : {14 + info.size() + pixels.size(), size_t(0), 14 + info.size()})
        Put(file, uint32_t(v), 4);
    file.resize(o.fileHeader ? 14 : 0);
    file.insert(file.end(), info.begin(), info.end());
    file.insert(file.end(), pixels.begin(), pixels.end());
    return file;
}

// A Targa of the given type and depth with `pixels` (blue-green-red(-alpha),
// in file order) right behind the 18-byte header.
inline Bytes MakeTarga(uint32_t width, uint32_t height, uint8_t depth, const Bytes& pixels,
                       uint8_t type = 2, uint8_t idLength = 0, uint8_t descriptor = 0)
{
    Bytes file = {idLength, 0, type, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    Put(file, width | height << 16, 4), Put(file, depth | descriptor << 8, 2);
    file.insert(file.end(), pixels.begin(), pixels.end());
    return file;
}

inline std::string SourcePath(const std::string& relative)
{
    const char* root = getenv("TESSIMO_SOURCE_DIR");
    return std::string(root ? root : ".") + "/" + relative;
}

// Text or bytes into a file, in a folder that is made first where missing.
template <class Chars> inline void WriteFile(const std::string& path, const Chars& chars)
{
    std::error_code ec;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
    WriteText(path, std::string(chars.begin(), chars.end()));
}

// An uncompressed Targa of 24 or 32 bits, bottom row first; `pixel` gives
// red, green, blue, alpha at x, y, y counted from the top.
inline void WriteTarga(const std::string& path, uint32_t width, uint32_t height, uint32_t bits,
                       const std::function<void(uint32_t x, uint32_t y, uint8_t rgba[4])>& pixel)
{
    Bytes pixels;
    for (uint32_t i = 0; i < width * height; ++i)
    {
        uint8_t p[4] = {0, 0, 0, 255};
        pixel(i % width, height - 1 - i / width, p);
        pixels.insert(pixels.end(), {p[2], p[1], p[0], p[3]});
        pixels.resize(pixels.size() - (bits == 32 ? 0 : 1));
    }
    WriteFile(path, MakeTarga(width, height, uint8_t(bits), pixels));
}

inline void WriteMaterialFiles(const std::string& dir, const std::string& shaders)
{
    WriteFile(dir + "/ini/tokens.ini", ReadText(SourcePath("data/ini/tokens.ini")));
    WriteFile(dir + "/ini/Shaders.ini", shaders);
}

} // namespace testsupport
