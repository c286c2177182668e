// tessimo-font: makes the engine's two built-in textures.
//
//   tessimo-font glyphs FONT_FILE OUTPUT.tga
//   tessimo-font default OUTPUT.tga
//
// "glyphs" renders the screen font's texture from a TrueType face through
// FreeType: 16 by 16 cells of 16 texels, read from the top left, the cell of
// code c at c - 32 (so the grid starts with the blank). Codes 33 to 126 get
// their glyph; the other cells stay empty. Every texel is dark ink and its
// alpha is the glyph's coverage, so text reads on white paper and on the
// console's coloured box alike. Each glyph keeps a ring of one empty texel
// inside its cell, so that filtering never pulls a neighbour in.
//
// "default" writes the texture of a stage that names no map: a magenta and
// black checkerboard, plainly not a picture.
//
// Both write an uncompressed Targa, bottom row first, as the engine's loader
// hands rows to GL in file order. Exit status 0 on success, 1 on a failure,
// 2 on a usage error.

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace
{

const char kUsage[] = "usage: tessimo-font glyphs FONT_FILE OUTPUT.tga | default OUTPUT.tga";

constexpr int kCells = 16; // cells on a side of the grid
constexpr int kCell = 16;  // texels on a side of a cell
constexpr int kMargin = 1; // empty texels around each glyph
constexpr int kFirstCode = 32;
constexpr int kInk = 0x10; // the colour of every texel: near black

struct Image
{
    int width;
    int height;
    int channels;              // 3 or 4
    std::vector<uint8_t> rgba; // top row first, red green blue (alpha)
};

// An uncompressed true-colour Targa, bottom row first, written to a
// temporary name and renamed, so a failed run leaves no half file.
bool WriteTarga(const Image& image, const std::string& path)
{
    uint8_t header[18] = {};
    header[2] = 2;
    header[12] = uint8_t(image.width & 0xFF);
    header[13] = uint8_t(image.width >> 8);
    header[14] = uint8_t(image.height & 0xFF);
    header[15] = uint8_t(image.height >> 8);
    header[16] = uint8_t(image.channels * 8);
    header[17] = image.channels == 4 ? 8 : 0; // alpha bits; origin at the bottom left
    std::string temporary = path + ".part";
    FILE* file = fopen(temporary.c_str(), "wb");
    if (!file)
        return false;
    bool ok = fwrite(header, 1, sizeof header, file) == sizeof header;
    std::vector<uint8_t> row(size_t(image.width) * image.channels);
    for (int y = image.height - 1; ok && y >= 0; --y)
    {
        const uint8_t* source = &image.rgba[size_t(y) * image.width * image.channels];
        for (int x = 0; x < image.width; ++x)
        {
            const uint8_t* p = source + x * image.channels;
            uint8_t* q = &row[size_t(x) * image.channels];
            q[0] = p[2]; // blue, green, red (, alpha)
            q[1] = p[1];
            q[2] = p[0];
            if (image.channels == 4)
                q[3] = p[3];
        }
        ok = fwrite(row.data(), 1, row.size(), file) == row.size();
    }
    ok = fclose(file) == 0 && ok;
    if (ok)
        ok = rename(temporary.c_str(), path.c_str()) == 0;
    if (!ok)
        remove(temporary.c_str());
    return ok;
}

// Extent of the printable glyphs at the face's current size, relative to
// the pen's origin on the baseline: how far they reach up, down, left and
// right.
struct Extent
{
    int up = 0, down = 0, left = 0, right = 0;
};

bool Measure(FT_Face face, Extent* extent)
{
    *extent = Extent{};
    for (int c = kFirstCode + 1; c < 127; ++c)
    {
        if (FT_Load_Char(face, FT_ULong(c), FT_LOAD_RENDER | FT_LOAD_TARGET_LIGHT))
            return false;
        FT_GlyphSlot g = face->glyph;
        int top = g->bitmap_top;
        int bottom = int(g->bitmap.rows) - top;
        int left = g->bitmap_left;
        int right = left + int(g->bitmap.width);
        extent->up = std::max(extent->up, top);
        extent->down = std::max(extent->down, bottom);
        extent->left = std::min(extent->left, left);
        extent->right = std::max(extent->right, right);
    }
    return true;
}

// The largest pixel size whose printable glyphs all fit the inside of a
// cell, horizontally centred on the advance, on one shared baseline.
int FitSize(FT_Face face, int* baseline, int* penX)
{
    const int inside = kCell - 2 * kMargin;
    for (int size = kCell; size > 4; --size)
    {
        if (FT_Set_Pixel_Sizes(face, 0, FT_UInt(size)))
            return 0;
        Extent e;
        if (!Measure(face, &e))
            return 0;
        int advance = int(face->size->metrics.max_advance >> 6);
        int pen = kMargin + (inside - advance) / 2;
        if (e.up + e.down > inside || pen + e.left < kMargin || pen + e.right > kCell - kMargin)
            continue;
        // Centre the glyphs' band vertically in the cell.
        *baseline = kMargin + (inside - (e.up + e.down)) / 2 + e.up;
        *penX = pen;
        return size;
    }
    return 0;
}

int Glyphs(const char* fontFile, const std::string& output)
{
    FT_Library library;
    if (FT_Init_FreeType(&library))
    {
        fprintf(stderr, "tessimo-font: FreeType doesn't start\n");
        return 1;
    }
    FT_Face face;
    if (FT_New_Face(library, fontFile, 0, &face))
    {
        fprintf(stderr, "tessimo-font: can't read the face %s\n", fontFile);
        FT_Done_FreeType(library);
        return 1;
    }
    int baseline = 0, penX = 0;
    int size = FitSize(face, &baseline, &penX);
    int status = 0;
    if (!size)
    {
        fprintf(stderr, "tessimo-font: %s has no size that fits a cell\n", fontFile);
        status = 1;
    }
    Image image{kCells * kCell, kCells * kCell, 4, {}};
    image.rgba.assign(size_t(image.width) * image.height * 4, 0);
    for (size_t i = 0; i < image.rgba.size(); i += 4)
        image.rgba[i] = image.rgba[i + 1] = image.rgba[i + 2] = kInk;
    for (int c = kFirstCode + 1; status == 0 && c < 127; ++c)
    {
        if (FT_Load_Char(face, FT_ULong(c), FT_LOAD_RENDER | FT_LOAD_TARGET_LIGHT))
        {
            fprintf(stderr, "tessimo-font: no glyph for code %d\n", c);
            status = 1;
            break;
        }
        const FT_Bitmap& bitmap = face->glyph->bitmap;
        int cellX = (c - kFirstCode) % kCells * kCell;
        int cellY = (c - kFirstCode) / kCells * kCell;
        int x0 = cellX + penX + face->glyph->bitmap_left;
        int y0 = cellY + baseline - face->glyph->bitmap_top;
        for (int y = 0; y < int(bitmap.rows); ++y)
            for (int x = 0; x < int(bitmap.width); ++x)
            {
                // The fit keeps every glyph inside its ring; the test here
                // only guards against a face that measures otherwise.
                int tx = x0 + x, ty = y0 + y;
                if (tx < cellX + kMargin || tx >= cellX + kCell - kMargin || ty < cellY + kMargin ||
                    ty >= cellY + kCell - kMargin)
                    continue;
                uint8_t coverage = bitmap.buffer[y * bitmap.pitch + x];
                image.rgba[(size_t(ty) * image.width + tx) * 4 + 3] = coverage;
            }
    }
    FT_Done_Face(face);
    FT_Done_FreeType(library);
    if (status == 0 && !WriteTarga(image, output))
    {
        fprintf(stderr, "tessimo-font: can't write %s\n", output.c_str());
        status = 1;
    }
    return status;
}

int Default(const std::string& output)
{
    constexpr int kSide = 64, kSquare = 8;
    Image image{kSide, kSide, 3, {}};
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x)
        {
            bool magenta = ((x / kSquare) + (y / kSquare)) % 2 == 0;
            uint8_t rgb[3] = {uint8_t(magenta ? 255 : 0), 0, uint8_t(magenta ? 255 : 0)};
            image.rgba.insert(image.rgba.end(), rgb, rgb + 3);
        }
    if (!WriteTarga(image, output))
    {
        fprintf(stderr, "tessimo-font: can't write %s\n", output.c_str());
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && strcmp(argv[1], "glyphs") == 0)
        return Glyphs(argv[2], argv[3]);
    if (argc == 3 && strcmp(argv[1], "default") == 0)
        return Default(argv[2]);
    fprintf(stderr, "%s\n", kUsage);
    return 2;
}
