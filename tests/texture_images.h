// Image files made by the texture tests themselves: Windows bitmaps in each
// of their variants and Targa files, written from a known picture so that
// the decoded pixels can be compared with it.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace texture_test
{

using Bytes = std::vector<uint8_t>;
using Colour = std::array<uint8_t, 3>; // red, green, blue

// A picture, bottom row first like the decoder's result. Indexed pictures
// keep their indices so that bitmaps with colour tables can be written.
struct Picture
{
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint32_t> index; // empty for true colour
    std::vector<Colour> palette;
    Bytes rgb; // 3 bytes a pixel
};

// A pattern that differs along both axes (so a flip or a shift shows), in
// `colours` colours, or in free 24-bit colour with `colours` 0. Indexed
// pictures have runs on their left half and a change at every pixel on the
// right; true-colour ones have pure white, black, red and blue corners,
// exact at every depth.
inline Picture MakePicture(uint32_t width, uint32_t height, uint32_t colours)
{
    Picture p;
    p.width = width;
    p.height = height;
    for (uint32_t i = 0; i < colours; ++i)
        p.palette.push_back(
            Colour{uint8_t(i * 37 + 11), uint8_t(i * 91 + 5), uint8_t(250 - i * 53)});
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
    uint32_t compression = 0; // 0 plain, 1 RLE8, 2 RLE4, 3 bit fields
    uint32_t headerSize = 40; // 12, 40, or a longer one (masks inside from 52 on)
    bool fileHeader = true;
    bool topDown = false;
    uint32_t masks[3] = {0, 0, 0}; // red, green, blue; 0 0 0: the defaults of the depth
};

inline void Put16(Bytes& b, uint32_t v)
{
    b.push_back(uint8_t(v));
    b.push_back(uint8_t(v >> 8));
}
inline void Put32(Bytes& b, uint32_t v)
{
    Put16(b, v & 0xFFFF);
    Put16(b, v >> 16);
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

// Runs of two or more as repeat codes; stretches without such runs as
// literals, or as runs of one where they are shorter than three pixels.
inline void EncodeRleRow(const Picture& p, uint32_t y, bool rle4, Bytes& out)
{
    const uint32_t* row = &p.index[size_t(y) * p.width];
    auto runAt = [&](uint32_t x)
    {
        uint32_t n = 1;
        while (x + n < p.width && n < 255 && row[x + n] == row[x])
            ++n;
        return n;
    };
    for (uint32_t x = 0; x < p.width;)
    {
        uint32_t literal = 0;
        while (x + literal < p.width && literal < 255 && runAt(x + literal) < 2)
            ++literal;
        if (literal < 3)
        {
            uint32_t n = literal ? 1 : runAt(x);
            out.insert(out.end(), {uint8_t(n), uint8_t(rle4 ? row[x] * 17 : row[x])});
            x += n;
            continue;
        }
        out.insert(out.end(), {0, uint8_t(literal)});
        for (uint32_t i = 0; i < literal; ++i, ++x)
        {
            if (!rle4)
                out.push_back(uint8_t(row[x]));
            else if (i % 2 == 0)
                out.push_back(uint8_t(row[x] << 4));
            else
                out.back() |= uint8_t(row[x]);
        }
        if (out.size() % 2) // codes are pairs of bytes from the start
            out.push_back(0);
    }
    out.insert(out.end(), {0, 0}); // end of line
}

inline Bytes EncodePixels(const Picture& p, const BmpOptions& o, const uint32_t* masks)
{
    Bytes out;
    if (o.compression == 1 || o.compression == 2)
    {
        for (uint32_t y = 0; y < p.height; ++y)
            EncodeRleRow(p, y, o.compression == 2, out);
        out.push_back(0);
        out.push_back(1);
        return out;
    }
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
                bits += o.bitCount;
                if (bits == 8)
                    out.push_back(uint8_t(pending)), bits = 0, pending = 0;
            }
            else if (o.bitCount == 16)
                Put16(out, packed);
            else if (o.bitCount == 24)
                out.insert(out.end(), {c[2], c[1], c[0]});
            else
                Put32(out, packed);
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
    Put32(info, o.headerSize);
    if (o.headerSize == 12)
    {
        Put16(info, p.width);
        Put16(info, p.height);
        Put16(info, 1);
        Put16(info, o.bitCount);
    }
    else
    {
        Put32(info, p.width);
        Put32(info, o.topDown ? uint32_t(-int32_t(p.height)) : p.height);
        Put16(info, 1);
        Put16(info, o.bitCount);
        Put32(info, o.compression);
        Put32(info, uint32_t(pixels.size()));
        Put32(info, 2835);
        Put32(info, 2835);
        Put32(info, uint32_t(p.palette.size()));
        Put32(info, 0);
        for (uint32_t i = 0; o.compression == 3 && i < 3; ++i)
            Put32(info, masks[i]); // inside the longer headers, behind the 40-byte one
        info.resize(std::max<size_t>(info.size(), o.headerSize), 0);
    }
    uint32_t entry = o.headerSize == 12 ? 3 : 4;
    for (const Colour& c : p.palette)
    {
        info.insert(info.end(), {c[2], c[1], c[0]});
        if (entry == 4)
            info.push_back(0);
    }

    Bytes file;
    if (o.fileHeader)
    {
        file = {'B', 'M'};
        Put32(file, uint32_t(14 + info.size() + pixels.size()));
        Put32(file, 0);
        Put32(file, uint32_t(14 + info.size()));
    }
    file.insert(file.end(), info.begin(), info.end());
    file.insert(file.end(), pixels.begin(), pixels.end());
    return file;
}

// A Targa of the given type and depth with `pixels` (blue-green-red(-alpha),
// in file order) right behind the 18-byte header.
inline Bytes WriteTarga(uint32_t width, uint32_t height, uint8_t depth, const Bytes& pixels,
                        uint8_t type = 2, uint8_t idLength = 0, uint8_t descriptor = 0)
{
    Bytes file(18 + pixels.size(), 0);
    std::copy(pixels.begin(), pixels.end(), file.begin() + 18);
    file[0] = idLength;
    file[2] = type;
    file[12] = uint8_t(width);
    file[13] = uint8_t(width >> 8);
    file[14] = uint8_t(height);
    file[15] = uint8_t(height >> 8);
    file[16] = depth;
    file[17] = descriptor;
    return file;
}

inline bool WriteFile(const std::string& path, const Bytes& bytes)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (!f)
        return false;
    bool ok = fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return fclose(f) == 0 && ok;
}

} // namespace texture_test
