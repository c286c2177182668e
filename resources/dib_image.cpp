#include "resources/dib_image.h"

#include <cstring>
#include <new>

namespace
{

/*
 * A Windows bitmap file starts with a 14-byte file header: the signature
 * "BM", the file size, two reserved words and the offset of the pixels from
 * the start of the file. A bare DIB (as on the clipboard) has no file
 * header: it starts with the information header, and its pixels follow the
 * colour table directly.
 *
 * The information header begins with its own size. 12 bytes is the old core
 * header: 16-bit unsigned width and height, planes, bit count, no
 * compression, and a colour table of 3-byte blue-green-red entries. 40 bytes
 * and more is the information header and its extensions: signed 32-bit width
 * and height (a negative height means the top row comes first), planes, bit
 * count, compression, image size, resolution, the number of colours used and
 * of important colours, and in the longer headers (52 bytes and up) the
 * colour masks; its colour table has 4-byte blue-green-red-unused entries.
 *
 * Rows are padded to 4 bytes. The run-length encodings go bottom-up only.
 */
constexpr uint16_t kSignature = 0x4D42; // "BM"
constexpr uint32_t kFileHeaderSize = 14;
constexpr uint32_t kCoreHeaderSize = 12;
constexpr uint32_t kInfoHeaderSize = 40;
constexpr uint32_t kMasksInHeaderSize = 52; // from here on the masks are part of the header
constexpr uint32_t kMaxPaletteEntries = 256;

enum Compression : uint32_t
{
    kRgb = 0,
    kRle8 = 1,
    kRle4 = 2,
    kBitFields = 3,
    kAlphaBitFields = 6,
};

// Escapes of the run-length encodings, after a zero count byte.
enum RleEscape : uint8_t
{
    kEndOfLine = 0,
    kEndOfBitmap = 1,
    kDelta = 2,
};

uint32_t Get16(const uint8_t* p)
{
    return p[0] | uint32_t(p[1]) << 8;
}
uint32_t Get32(const uint8_t* p)
{
    return p[0] | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// One colour channel of a 16- or 32-bit pixel: where its bits are and how
// to stretch them to 8 bits.
struct Channel
{
    uint32_t mask = 0;
    uint32_t shift = 0;
    uint64_t max = 0; // the largest value of the channel's bits

    // False for a mask whose bits aren't contiguous.
    bool Set(uint32_t m)
    {
        mask = m;
        shift = 0;
        max = 0;
        if (m == 0)
            return true;
        while (!(m & 1))
        {
            m >>= 1;
            ++shift;
        }
        max = m;
        return (uint64_t(m) & (uint64_t(m) + 1)) == 0;
    }
    uint8_t Extract(uint32_t pixel) const
    {
        if (max == 0)
            return 0;
        uint64_t value = (pixel & mask) >> shift;
        return uint8_t((value * 255 + max / 2) / max);
    }
};

struct Rgb
{
    uint8_t red, green, blue;
};

// Everything the headers say, checked against the size of the data.
struct Layout
{
    uint32_t headerSize = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    bool topDown = false;
    uint32_t bitCount = 0;
    uint32_t compression = kRgb;
    uint32_t masks[3] = {};
    uint32_t extraMaskBytes = 0; // masks stored between header and colour table
    uint32_t paletteEntries = 0;
    uint32_t paletteEntrySize = 0;
    Rgb palette[kMaxPaletteEntries] = {};
    const uint8_t* pixels = nullptr;
    size_t pixelBytes = 0; // from `pixels` to the end of the data
};

DibResult ReadCoreHeader(const uint8_t* header, Layout* layout)
{
    layout->width = Get16(header + 4);
    layout->height = Get16(header + 6);
    layout->bitCount = Get16(header + 10);
    layout->compression = kRgb;
    layout->paletteEntrySize = 3;
    layout->paletteEntries = layout->bitCount <= 8 ? 1u << layout->bitCount : 0;
    if (Get16(header + 8) != 1 || layout->width == 0 || layout->height == 0)
        return DibResult::UnknownFormat;
    return DibResult::Ok;
}

DibResult ReadInfoHeader(const uint8_t* header, Layout* layout)
{
    int32_t width = int32_t(Get32(header + 4));
    int32_t height = int32_t(Get32(header + 8));
    if (Get16(header + 12) != 1 || width <= 0 || height == 0 || height == INT32_MIN)
        return DibResult::UnknownFormat;
    layout->width = uint32_t(width);
    layout->topDown = height < 0;
    layout->height = uint32_t(height < 0 ? -height : height);
    layout->bitCount = Get16(header + 14);
    layout->compression = Get32(header + 16);
    layout->paletteEntrySize = 4;

    uint32_t coloursUsed = Get32(header + 32);
    if (coloursUsed > kMaxPaletteEntries)
        return DibResult::ConversionError;
    if (coloursUsed == 0 && layout->bitCount <= 8)
        coloursUsed = 1u << layout->bitCount;
    layout->paletteEntries = coloursUsed;
    return DibResult::Ok;
}

// Which depth goes with which compression, and where the masks are.
DibResult CheckDepthAndCompression(Layout* layout)
{
    uint32_t bits = layout->bitCount;
    bool bitFields = layout->compression == kBitFields || layout->compression == kAlphaBitFields;
    bool known = false;
    switch (layout->compression)
    {
    case kRgb:
        known = bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
        break;
    case kRle8:
        known = bits == 8 && !layout->topDown;
        break;
    case kRle4:
        known = bits == 4 && !layout->topDown;
        break;
    case kBitFields:
    case kAlphaBitFields:
        known = (bits == 16 || bits == 32) && layout->headerSize != kCoreHeaderSize;
        break;
    }
    if (!known)
        return DibResult::UnknownFormat;

    if (bitFields && layout->headerSize < kMasksInHeaderSize)
        layout->extraMaskBytes = layout->compression == kAlphaBitFields ? 16 : 12;
    if (!bitFields && bits == 16)
    {
        layout->masks[0] = 0x7C00; // 5-5-5
        layout->masks[1] = 0x03E0;
        layout->masks[2] = 0x001F;
    }
    if (!bitFields && bits == 32)
    {
        layout->masks[0] = 0x00FF0000;
        layout->masks[1] = 0x0000FF00;
        layout->masks[2] = 0x000000FF;
    }
    return DibResult::Ok;
}

// Reads the information header at `header` (with `available` bytes up to the
// end of the data), the masks and the colour table behind it.
DibResult ReadHeaders(const uint8_t* header, size_t available, Layout* layout)
{
    if (available < 4)
        return DibResult::UnknownFormat;
    layout->headerSize = Get32(header);
    bool core = layout->headerSize == kCoreHeaderSize;
    if ((!core && layout->headerSize < kInfoHeaderSize) || layout->headerSize > available)
        return DibResult::UnknownFormat;
    DibResult result = core ? ReadCoreHeader(header, layout) : ReadInfoHeader(header, layout);
    if (result == DibResult::Ok)
        result = CheckDepthAndCompression(layout);
    if (result != DibResult::Ok)
        return result;

    size_t offset = layout->headerSize;
    const uint8_t* masks = header + (layout->extraMaskBytes ? offset : kInfoHeaderSize);
    if (layout->extraMaskBytes)
    {
        if (available - offset < layout->extraMaskBytes)
            return DibResult::ConversionError;
        offset += layout->extraMaskBytes;
    }
    bool bitFields = layout->compression == kBitFields || layout->compression == kAlphaBitFields;
    for (int i = 0; bitFields && i < 3; ++i)
        layout->masks[i] = Get32(masks + 4 * i);

    size_t paletteBytes = size_t(layout->paletteEntries) * layout->paletteEntrySize;
    if (available - offset < paletteBytes)
        return DibResult::ConversionError;
    for (uint32_t i = 0; i < layout->paletteEntries; ++i)
    {
        const uint8_t* entry = header + offset + size_t(i) * layout->paletteEntrySize;
        layout->palette[i] = Rgb{entry[2], entry[1], entry[0]};
    }
    offset += paletteBytes;
    // Without a file header the pixels follow the colour table.
    layout->pixels = header + offset;
    layout->pixelBytes = available - offset;
    return DibResult::Ok;
}

// Where the output row of a stored row lies: the result is bottom row first.
uint8_t* OutputRow(const Layout& layout, uint8_t* out, uint32_t storedRow)
{
    uint32_t row = layout.topDown ? layout.height - 1 - storedRow : storedRow;
    return out + size_t(row) * layout.width * 3;
}

bool PutIndex(const Layout& layout, uint32_t index, uint8_t* out)
{
    if (index >= layout.paletteEntries)
        return false; // a colour the table doesn't have
    out[0] = layout.palette[index].red;
    out[1] = layout.palette[index].green;
    out[2] = layout.palette[index].blue;
    return true;
}

// One stored row of 1, 4 or 8 bits a pixel; the leftmost pixel sits in the
// highest bits of its byte.
bool DecodeIndexedRow(const Layout& layout, const uint8_t* src, uint8_t* out)
{
    uint32_t bits = layout.bitCount;
    uint32_t valueMask = (1u << bits) - 1;
    for (uint32_t x = 0; x < layout.width; ++x, out += 3)
    {
        uint64_t bitPosition = uint64_t(x) * bits;
        uint32_t shift = 8 - bits - uint32_t(bitPosition & 7);
        if (!PutIndex(layout, (src[bitPosition >> 3] >> shift) & valueMask, out))
            return false;
    }
    return true;
}

void DecodeMaskedRow(const Layout& layout, const Channel* channels, const uint8_t* src,
                     uint8_t* out)
{
    bool wide = layout.bitCount == 32;
    for (uint32_t x = 0; x < layout.width; ++x, out += 3)
    {
        uint32_t pixel = wide ? Get32(src + 4 * size_t(x)) : Get16(src + 2 * size_t(x));
        for (int c = 0; c < 3; ++c)
            out[c] = channels[c].Extract(pixel);
    }
}

void DecodeRgbRow(const Layout& layout, const uint8_t* src, uint8_t* out)
{
    for (uint32_t x = 0; x < layout.width; ++x, src += 3, out += 3)
    {
        out[0] = src[2];
        out[1] = src[1];
        out[2] = src[0];
    }
}

DibResult DecodeUncompressed(const Layout& layout, uint8_t* out)
{
    Channel channels[3];
    for (int c = 0; c < 3; ++c)
        if (!channels[c].Set(layout.masks[c]))
            return DibResult::ConversionError;
    uint64_t stride = (uint64_t(layout.width) * layout.bitCount + 31) / 32 * 4;
    for (uint32_t row = 0; row < layout.height; ++row)
    {
        const uint8_t* src = layout.pixels + row * stride;
        uint8_t* dst = OutputRow(layout, out, row);
        if (layout.bitCount <= 8 && !DecodeIndexedRow(layout, src, dst))
            return DibResult::ConversionError;
        if (layout.bitCount == 16 || layout.bitCount == 32)
            DecodeMaskedRow(layout, channels, src, dst);
        if (layout.bitCount == 24)
            DecodeRgbRow(layout, src, dst);
    }
    return DibResult::Ok;
}

// The pixel data must hold every row; the padding of the last row may be
// missing, as some writers leave it off.
bool UncompressedFits(const Layout& layout)
{
    uint64_t rowBits = uint64_t(layout.width) * layout.bitCount;
    uint64_t stride = (rowBits + 31) / 32 * 4;
    uint64_t needed = stride * (layout.height - 1) + (rowBits + 7) / 8;
    return needed <= layout.pixelBytes;
}

/*
 * The run-length encodings work on pairs of bytes. A count above zero
 * repeats the second byte's index (RLE8) or alternates its two nibbles, high
 * first (RLE4). A zero count introduces an escape: 0 ends the line, 1 ends
 * the bitmap, 2 moves right and up by the next two bytes, and 3 or more is
 * that many literal indices, padded to an even number of bytes. Pixels that
 * no code reaches stay black; pixels beyond the right edge are dropped.
 */
class RleDecoder
{
public:
    RleDecoder(const Layout& layout, uint8_t* out) : layout(layout), out(out) {}

    DibResult Run()
    {
        const uint8_t* p = layout.pixels;
        const uint8_t* end = p + layout.pixelBytes;
        while (y < layout.height)
        {
            if (end - p < 2)
                return DibResult::ConversionError;
            uint8_t count = p[0], value = p[1];
            p += 2;
            bool ok = true;
            if (count > 0)
                ok = Repeat(count, value);
            else if (value == kEndOfLine)
                x = 0, ++y;
            else if (value == kEndOfBitmap)
                return DibResult::Ok;
            else if (value == kDelta)
                ok = Delta(&p, end);
            else
                ok = Literal(value, &p, end);
            if (!ok)
                return DibResult::ConversionError;
        }
        return DibResult::Ok;
    }

private:
    bool Put(uint32_t index)
    {
        bool ok = true;
        if (x < layout.width && y < layout.height)
            ok = PutIndex(layout, index, out + (size_t(y) * layout.width + size_t(x)) * 3);
        ++x;
        return ok;
    }
    uint32_t Nibble(uint8_t byte, uint32_t i) const { return i & 1 ? byte & 15 : byte >> 4; }

    bool Repeat(uint8_t count, uint8_t value)
    {
        bool rle8 = layout.compression == kRle8;
        for (uint32_t i = 0; i < count; ++i)
            if (!Put(rle8 ? value : Nibble(value, i)))
                return false;
        return true;
    }
    bool Delta(const uint8_t** p, const uint8_t* end)
    {
        if (end - *p < 2)
            return false;
        x += (*p)[0];
        y += (*p)[1];
        *p += 2;
        return true;
    }
    bool Literal(uint8_t count, const uint8_t** p, const uint8_t* end)
    {
        bool rle8 = layout.compression == kRle8;
        size_t bytes = rle8 ? count : (count + 1u) / 2;
        if (size_t(end - *p) < bytes)
            return false;
        for (uint32_t i = 0; i < count; ++i)
            if (!Put(rle8 ? (*p)[i] : Nibble((*p)[i / 2], i)))
                return false;
        size_t padded = (bytes + 1) & ~size_t(1);
        *p += padded <= size_t(end - *p) ? padded : bytes;
        return true;
    }

    const Layout& layout;
    uint8_t* out;
    uint64_t x = 0; // wide enough that no run of codes can wrap it
    uint64_t y = 0;
};

// Finds the information header and the pixels, with or without file header.
DibResult ReadLayout(const uint8_t* data, size_t size, Layout* layout)
{
    bool fileHeader = size >= 2 && Get16(data) == kSignature;
    if (!fileHeader)
        return ReadHeaders(data, size, layout);
    if (size < kFileHeaderSize)
        return DibResult::UnknownFormat;
    DibResult result = ReadHeaders(data + kFileHeaderSize, size - kFileHeaderSize, layout);
    if (result != DibResult::Ok)
        return result;
    // The file header says where the pixels are; 0 leaves them behind the table.
    uint32_t pixelOffset = Get32(data + 10);
    if (pixelOffset == 0)
        return DibResult::Ok;
    uint64_t headersEnd = uint64_t(kFileHeaderSize) + layout->headerSize + layout->extraMaskBytes;
    if (pixelOffset < headersEnd || pixelOffset > size)
        return DibResult::ConversionError;
    layout->pixels = data + pixelOffset;
    layout->pixelBytes = size - pixelOffset;
    return DibResult::Ok;
}

} // namespace

DibResult DecodeDib(const uint8_t* data, size_t size, DibImage* image)
{
    Layout layout;
    DibResult result = ReadLayout(data, size, &layout);
    if (result != DibResult::Ok)
        return result;
    bool rle = layout.compression == kRle8 || layout.compression == kRle4;
    if (!rle && !UncompressedFits(layout))
        return DibResult::ConversionError;

    uint64_t pixelCount = uint64_t(layout.width) * layout.height;
    if (pixelCount > kDibMaxPixels)
        return DibResult::OutOfMemory;
    uint8_t* pixels = new (std::nothrow) uint8_t[pixelCount * 3];
    if (!pixels)
        return DibResult::OutOfMemory;
    if (rle)
    {
        memset(pixels, 0, pixelCount * 3);
        result = RleDecoder(layout, pixels).Run();
    }
    else
    {
        result = DecodeUncompressed(layout, pixels);
    }
    if (result != DibResult::Ok)
    {
        delete[] pixels;
        return result;
    }
    image->width = layout.width;
    image->height = layout.height;
    image->pixels = pixels;
    return DibResult::Ok;
}
