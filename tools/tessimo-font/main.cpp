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
// hands rows to GL in file order, whole or not at all (tools/common). Exit
// status 0 on success, 1 on a failure, 2 on a usage error.

#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/common/tool_cli.h"

namespace
{

const toolcli::Tool kTool{
    "tessimo-font", "usage: tessimo-font glyphs FONT_FILE OUTPUT.tga | default OUTPUT.tga",
    "  glyphs FONT_FILE OUTPUT.tga  the screen font's texture: printable ASCII of a\n"
    "                               TrueType face in 16 by 16 cells of 16 texels\n"
    "  default OUTPUT.tga           the texture of a stage without a map: a magenta and\n"
    "                               black checkerboard\n"};

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

// An uncompressed true-colour Targa, bottom row first. `inputs` are the
// files the run read, which the output must not replace.
bool WriteTarga(const Image& image, const std::string& path, const std::vector<std::string>& inputs,
                std::string* error)
{
    uint8_t header[18] = {};
    header[2] = 2;
    header[12] = uint8_t(image.width & 0xFF);
    header[13] = uint8_t(image.width >> 8);
    header[14] = uint8_t(image.height & 0xFF);
    header[15] = uint8_t(image.height >> 8);
    header[16] = uint8_t(image.channels * 8);
    header[17] = image.channels == 4 ? 8 : 0; // alpha bits; origin at the bottom left
    std::vector<uint8_t> bytes(header, header + sizeof header);
    for (int y = image.height - 1; y >= 0; --y)
    {
        const uint8_t* source = &image.rgba[size_t(y) * image.width * image.channels];
        for (int x = 0; x < image.width; ++x)
        {
            const uint8_t* p = source + x * image.channels;
            bytes.insert(bytes.end(), {p[2], p[1], p[0]}); // blue, green, red
            if (image.channels == 4)
                bytes.push_back(p[3]);
        }
    }
    return toolcli::WriteOutput(path, bytes.data(), bytes.size(), inputs, error);
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
        return kTool.Fail("FreeType doesn't start");
    }
    FT_Face face;
    if (FT_New_Face(library, fontFile, 0, &face))
    {
        FT_Done_FreeType(library);
        return kTool.Fail("can't read the face " + toolcli::Quoted(fontFile));
    }
    int baseline = 0, penX = 0;
    int size = FitSize(face, &baseline, &penX);
    std::string problem;
    if (!size)
        problem = toolcli::Quoted(fontFile) + " has no size that fits a cell";
    Image image{kCells * kCell, kCells * kCell, 4, {}};
    image.rgba.assign(size_t(image.width) * image.height * 4, 0);
    for (size_t i = 0; i < image.rgba.size(); i += 4)
        image.rgba[i] = image.rgba[i + 1] = image.rgba[i + 2] = kInk;
    for (int c = kFirstCode + 1; problem.empty() && c < 127; ++c)
    {
        if (FT_Load_Char(face, FT_ULong(c), FT_LOAD_RENDER | FT_LOAD_TARGET_LIGHT))
        {
            problem = "no glyph for code " + std::to_string(c);
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
    if (problem.empty() && !WriteTarga(image, output, {fontFile}, &problem))
        return kTool.Fail(problem);
    return problem.empty() ? 0 : kTool.Fail(problem);
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
    std::string error;
    return WriteTarga(image, output, {}, &error) ? 0 : kTool.Fail(error);
}

} // namespace

int main(int argc, char** argv)
{
    if (toolcli::WantsHelp(argc, argv))
        return kTool.Help();
    if (argc < 2)
        return kTool.UsageError("no command");
    if (strcmp(argv[1], "glyphs") == 0)
        return argc == 4 ? Glyphs(argv[2], argv[3])
                         : kTool.UsageError("glyphs takes a font file and an output");
    if (strcmp(argv[1], "default") == 0)
        return argc == 3 ? Default(argv[2]) : kTool.UsageError("default takes an output");
    return kTool.BadValue("command", argv[1], "glyphs or default");
}
