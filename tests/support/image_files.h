// Image files written by the suites: Windows bitmaps from a known picture,
// so that decoded pixels can be compared with it (run-length codes are
// written by hand: the pixels go out plain, whatever the header says), and
// raw Targa files.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "files.h"

namespace testsupport
{

using Bytes = std::vector<uint8_t>;
using Colour = std::array<uint8_t, 3>; // red, green, blue

inline void WriteBytes(const std::string& path, const Bytes& bytes)
{
    WriteText(path, std::string(bytes.begin(), bytes.end()));
}

// Bottom row first like the decoder's result; indexed pictures keep their
// indices and colour table.
struct Picture
{
    uint32_t width = 0, height = 0;
    std::vector<uint32_t> index; // empty for true colour
    std::vector<Colour> palette;
    Bytes rgb;
};

// A pattern that differs along both axes, in `colours` colours (0: free
// 24-bit colour); true-colour ones have pure white, black, red and blue
// corners, exact at every depth.
inline Picture MakePicture(uint32_t width, uint32_t height, uint32_t colours)
{
    Picture p{width, height, {}, {}, {}};
    for (uint32_t i = 0; i < colours; ++i)
        p.palette.push_back({uint8_t(i * 37 + 11), uint8_t(i * 91 + 5), uint8_t(250 - i * 53)});
    const Colour corners[4] = {{255, 255, 255}, {0, 0, 0}, {255, 0, 0}, {0, 0, 255}};
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
                c = corners[(x ? 1 : 0) + (y ? 2 : 0)];
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

inline void Put(Bytes& b, uint32_t v, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        b.push_back(uint8_t(v >> 8 * i));
}

// An 8-bit channel value moved into a mask, rounded to the mask's bits.
inline uint32_t Quantise(uint8_t value, uint32_t mask)
{
    if (!mask)
        return 0;
    uint32_t shift = 0;
    while (!((mask >> shift) & 1))
        ++shift;
    uint64_t max = uint64_t(mask) >> shift;
    return uint32_t((value * max + 127) / 255) << shift;
}

inline Bytes EncodePixels(const Picture& p, const BmpOptions& o, const uint32_t* masks)
{
    Bytes out;
    for (uint32_t r = 0; r < p.height; ++r)
    {
        uint32_t y = o.topDown ? p.height - 1 - r : r;
        size_t rowStart = out.size();
        uint32_t bits = 0, pending = 0;
        for (uint32_t x = 0; x < p.width; ++x)
        {
            size_t at = size_t(y) * p.width + x;
            const uint8_t* c = &p.rgb[3 * at];
            uint32_t packed =
                Quantise(c[0], masks[0]) | Quantise(c[1], masks[1]) | Quantise(c[2], masks[2]);
            if (o.bitCount <= 8)
            {
                pending = pending << o.bitCount | p.index[at];
                if ((bits += o.bitCount) == 8)
                    out.push_back(uint8_t(pending)), bits = 0, pending = 0;
            }
            else if (o.bitCount == 24)
                out.insert(out.end(), {c[2], c[1], c[0]});
            else
                Put(out, packed, o.bitCount / 8);
        }
        if (bits)
            out.push_back(uint8_t(pending << (8 - bits)));
        while ((out.size() - rowStart) % 4)
            out.push_back(0);
    }
    return out;
}

inline Bytes WriteBmp(const Picture& p, const BmpOptions& o)
{
    uint32_t masks[3] = {o.masks[0], o.masks[1], o.masks[2]};
    if (!masks[0] && !masks[1] && !masks[2] && o.bitCount == 16)
        masks[0] = 0x7C00, masks[1] = 0x03E0, masks[2] = 0x001F;
    if (!masks[0] && !masks[1] && !masks[2] && o.bitCount == 32)
        masks[0] = 0xFF0000, masks[1] = 0xFF00, masks[2] = 0xFF;
    Bytes pixels = EncodePixels(p, o, masks);
    Bytes info;
    Put(info, o.headerSize, 4);
    if (o.headerSize == 12)
    {
        for (uint32_t v : {p.width, p.height, 1u, o.bitCount})
            Put(info, v, 2);
    }
    else
    {
        Put(info, p.width, 4);
        Put(info, o.topDown ? uint32_t(-int32_t(p.height)) : p.height, 4);
        Put(info, 1, 2);
        Put(info, o.bitCount, 2);
        for (uint32_t v :
             {o.compression, uint32_t(pixels.size()), 2835u, 2835u, uint32_t(p.palette.size()), 0u})
            Put(info, v, 4);
        for (uint32_t i = 0; o.compression == 3 && i < 3; ++i)
            Put(info, masks[i], 4); // inside the longer headers, behind the 40-byte one
        info.resize(std::max<size_t>(info.size(), o.headerSize), 0);
    }
    for (const Colour& c : p.palette)
    {
        info.insert(info.end(), {c[2], c[1], c[0]});
        if (o.headerSize != 12)
            info.push_back(0);
    }
    Bytes file;
    if (o.fileHeader)
    {
        file = {'B', 'M'};
        for (size_t v : {14 + info.size() + pixels.size(), size_t(0), 14 + info.size()})
            Put(file, uint32_t(v), 4);
    }
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
    Put(file, width, 2);
    Put(file, height, 2);
    file.insert(file.end(), {depth, descriptor});
    file.insert(file.end(), pixels.begin(), pixels.end());
    return file;
}

} // namespace testsupport
