// The bitmap decoder without GL: every variant against the picture it was
// written from, the run-length codes, and hostile input.

#include "resources/dib_image.h"
#include "tests/texture_images.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

using namespace texture_test;

namespace
{

DibResult Decode(const Bytes& file, DibImage* image)
{
    return DecodeDib(file.data(), file.size(), image);
}

// The largest difference of any channel between the result and the picture.
int MaxDifference(const DibImage& image, const Picture& p)
{
    int worst = 0;
    for (size_t i = 0; i < p.rgb.size(); ++i)
        worst = std::max(worst, std::abs(int(image.pixels[i]) - int(p.rgb[i])));
    return worst;
}

struct Variant
{
    const char* label;
    uint32_t colours; // 0: true colour
    BmpOptions options;
    int tolerance; // rounding of channels narrower than 8 bits
};

BmpOptions Options(uint32_t bits, uint32_t compression, std::initializer_list<uint32_t> masks = {})
{
    BmpOptions o;
    o.bitCount = bits;
    o.compression = compression;
    int i = 0;
    for (uint32_t m : masks)
        o.masks[i++] = m;
    return o;
}

const Variant kVariants[] = {
    {"1-bit", 2, Options(1, 0), 0},
    {"4-bit", 16, Options(4, 0), 0},
    {"8-bit", 256, Options(8, 0), 0},
    {"8-bit, short table", 40, Options(8, 0), 0},
    {"RLE4", 16, Options(4, 2), 0},
    {"RLE8", 256, Options(8, 1), 0},
    {"16-bit 5-5-5", 0, Options(16, 0), 5},
    {"16-bit 5-6-5 fields", 0, Options(16, 3, {0xF800, 0x07E0, 0x001F}), 5},
    {"24-bit", 0, Options(24, 0), 0},
    {"32-bit", 0, Options(32, 0), 0},
    {"32-bit fields", 0, Options(32, 3, {0xFF000000, 0x00FF0000, 0x0000FF00}), 0},
    {"32-bit 10-bit fields", 0, Options(32, 3, {0x3FF00000, 0x000FFC00, 0x000003FF}), 0},
};

} // namespace

// Every depth and compression, with and without file header, with each
// header size the depth allows, bottom-up and top-down; odd sizes make rows
// that need padding and bytes that hold parts of rows.
TEST(DibDecode, EveryVariantGivesThePicture)
{
    const uint32_t sizes[][2] = {{100, 60}, {5, 3}, {1, 1}, {17, 9}};
    int decoded = 0;
    for (const Variant& v : kVariants)
        for (const auto& size : sizes)
            for (uint32_t header : {12u, 40u, 124u})
                for (bool fileHeader : {true, false})
                    for (bool topDown : {false, true})
                    {
                        bool rle = v.options.compression == 1 || v.options.compression == 2;
                        bool fields = v.options.compression == 3;
                        // The core header has no compression, no top-down rows and
                        // always a full colour table.
                        bool fullTable = v.colours == 0 || v.colours == 1u << v.options.bitCount;
                        if ((header == 12 && (fields || rle || topDown || !fullTable)) ||
                            (rle && topDown))
                            continue;
                        Picture p = MakePicture(size[0], size[1], v.colours);
                        BmpOptions o = v.options;
                        o.headerSize = header;
                        o.fileHeader = fileHeader;
                        o.topDown = topDown;
                        DibImage image;
                        SCOPED_TRACE(::testing::Message()
                                     << v.label << " " << size[0] << "x" << size[1] << " header "
                                     << header << " file header " << fileHeader << " top-down "
                                     << topDown);
                        ASSERT_EQ(Decode(WriteBmp(p, o), &image), DibResult::Ok);
                        ASSERT_EQ(image.width, p.width);
                        ASSERT_EQ(image.height, p.height);
                        EXPECT_LE(MaxDifference(image, p), v.tolerance);
                        // True-colour corners are pure colours, exact at every depth.
                        size_t last = p.rgb.size() - 3;
                        EXPECT_EQ(memcmp(image.pixels, p.rgb.data(), 3), 0);
                        EXPECT_EQ(memcmp(image.pixels + last, p.rgb.data() + last, 3), 0);
                        ++decoded;
                    }
    EXPECT_GT(decoded, 200);
}

// Codes the encoder of the tests never writes: delta moves, an early end
// of line and of bitmap (the rest stays black), literal runs of odd length
// with their padding, runs past the right edge, nibbles alternating.
TEST(DibDecode, RunLengthEscapes)
{
    Picture p = MakePicture(6, 4, 16);
    p.palette[5] = {10, 20, 30};
    p.palette[6] = {40, 50, 60};
    BmpOptions o = Options(4, 2);
    Bytes file = WriteBmp(p, o);
    uint32_t offset = file[10] | file[11] << 8;
    file.resize(offset);
    // Row 0: two pixels 5,6,5 then end of line; row 1: delta (2, 1) to row 2 x 2,
    // literal 5 6 5 (3 nibbles, 2 bytes, already even), then a run of 9
    // pixels that passes the edge; then end of bitmap.
    Bytes codes = {3, 0x56, 0, 0, 0, 2, 2, 1, 0, 3, 0x56, 0x50, 9, 0x66, 0, 1};
    file.insert(file.end(), codes.begin(), codes.end());
    DibImage image;
    ASSERT_EQ(Decode(file, &image), DibResult::Ok);
    auto pixel = [&](uint32_t x, uint32_t y)
    {
        const uint8_t* c = image.pixels + 3 * (y * 6 + x);
        return Colour{c[0], c[1], c[2]};
    };
    Colour a = {10, 20, 30}, b = {40, 50, 60}, none = {0, 0, 0};
    EXPECT_EQ(pixel(0, 0), a);
    EXPECT_EQ(pixel(1, 0), b);
    EXPECT_EQ(pixel(2, 0), a);
    EXPECT_EQ(pixel(3, 0), none);
    EXPECT_EQ(pixel(0, 1), none);
    EXPECT_EQ(pixel(1, 2), none);
    EXPECT_EQ(pixel(2, 2), a);
    EXPECT_EQ(pixel(3, 2), b);
    EXPECT_EQ(pixel(4, 2), a);
    EXPECT_EQ(pixel(5, 2), b); // the run of 9 starts at x 5: one pixel fits
    EXPECT_EQ(pixel(0, 3), none);

    // The same file with the codes cut short: no end of bitmap, rows left.
    file.resize(file.size() - 2);
    DibImage cut;
    EXPECT_EQ(Decode(file, &cut), DibResult::ConversionError);
    EXPECT_EQ(cut.pixels, nullptr);
}

TEST(DibDecode, HostileInputFailsWithTheRightKind)
{
    Picture p = MakePicture(4, 3, 0); // 12-byte rows: no padding
    Bytes good = WriteBmp(p, Options(24, 0));
    auto patched = [&](size_t at, uint32_t value, Bytes base)
    {
        memcpy(&base[at], &value, 4);
        return base;
    };
    auto result = [](const Bytes& file)
    {
        DibImage image;
        DibResult r = Decode(file, &image);
        EXPECT_TRUE(r == DibResult::Ok || image.pixels == nullptr);
        return r;
    };
    // Every cut of a good file fails, and none reads past the cut.
    for (size_t n = 0; n < good.size(); ++n)
    {
        Bytes cut(good.begin(), good.begin() + n);
        cut.shrink_to_fit();
        EXPECT_NE(result(cut), DibResult::Ok) << n;
    }
    // Not images at all.
    EXPECT_EQ(result(Bytes{'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd'}),
              DibResult::UnknownFormat);
    EXPECT_EQ(result(Bytes{'B', 'M'}), DibResult::UnknownFormat);
    // Headers that aren't a bitmap's: sizes, planes, depths, compressions.
    EXPECT_EQ(result(patched(14, 20, good)), DibResult::UnknownFormat);           // header size
    EXPECT_EQ(result(patched(14, 0xFFFFFFF0, good)), DibResult::UnknownFormat);   // header size
    EXPECT_EQ(result(patched(26, 2 | 24 << 16, good)), DibResult::UnknownFormat); // two planes
    EXPECT_EQ(result(patched(26, 1 | 7 << 16, good)), DibResult::UnknownFormat);  // 7 bits
    EXPECT_EQ(result(patched(30, 1, good)), DibResult::UnknownFormat);            // RLE8 at 24 bits
    EXPECT_EQ(result(patched(30, 4, good)), DibResult::UnknownFormat);            // JPEG
    EXPECT_EQ(result(patched(18, 0, good)), DibResult::UnknownFormat);            // width 0
    EXPECT_EQ(result(patched(18, uint32_t(-4), good)), DibResult::UnknownFormat);
    // Huge sizes: data that can't be there, memory we won't take.
    EXPECT_EQ(result(patched(18, 100000, patched(22, 100000, good))), DibResult::ConversionError);
    EXPECT_EQ(result(patched(18, 0x7FFFFFFF, patched(22, 0x80000001, good))),
              DibResult::ConversionError);
    Picture indexed = MakePicture(4, 3, 256);
    Bytes rle = WriteBmp(indexed, Options(8, 1));
    EXPECT_EQ(result(patched(18, 100000, patched(22, 100000, rle))), DibResult::OutOfMemory);
    // Offsets before the pixels' place or past the end.
    EXPECT_EQ(result(patched(10, 20, good)), DibResult::ConversionError);
    EXPECT_EQ(result(patched(10, uint32_t(good.size() + 1), good)), DibResult::ConversionError);
    EXPECT_EQ(result(patched(10, 0xFFFFFFFF, good)), DibResult::ConversionError);
    // Colour tables: too long, past the end, or missing the colour a pixel names.
    Bytes table = WriteBmp(indexed, Options(8, 0));
    EXPECT_EQ(result(patched(46, 257, table)), DibResult::ConversionError);
    EXPECT_EQ(result(patched(46, 0xFFFFFFFF, table)), DibResult::ConversionError);
    BmpOptions bare = Options(8, 0);
    bare.fileHeader = false;
    Bytes packed = WriteBmp(indexed, bare);
    packed.resize(40 + 100);
    EXPECT_EQ(result(packed), DibResult::ConversionError);
    EXPECT_EQ(result(patched(46, 2, table)), DibResult::ConversionError);
    // A mask whose bits aren't contiguous.
    Bytes fields = WriteBmp(MakePicture(4, 3, 0), Options(32, 3, {0xF0F00000, 0xFF00, 0xFF}));
    EXPECT_EQ(result(fields), DibResult::ConversionError);
    // RLE codes that run out in the middle of a literal or a delta.
    Bytes shortLiteral = WriteBmp(indexed, Options(8, 1));
    uint32_t at;
    memcpy(&at, &shortLiteral[10], 4);
    shortLiteral.resize(at);
    shortLiteral.insert(shortLiteral.end(), {0, 200, 1, 2});
    EXPECT_EQ(result(shortLiteral), DibResult::ConversionError);
    shortLiteral.resize(at);
    shortLiteral.insert(shortLiteral.end(), {0, 2, 1});
    EXPECT_EQ(result(shortLiteral), DibResult::ConversionError);
}
