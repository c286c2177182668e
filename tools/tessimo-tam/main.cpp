// tessimo-tam: the tonal art map without a GL context.
//
//   tessimo-tam [--size 256] [--layers 128] [--candidates 5] [--kind 0]
//               [--reference] [--digest] [--png DIR [--tone T]]
//
// --digest prints one line per mip level of the volume with the SHA-256 of
// exactly the bytes the engine hands to glTexImage3D for it, then the
// digest of all levels in order and the number of strokes placed.
// --png writes every tone of level 0, a contact sheet of all tones from
// light to dark, and every mip level of tone T (default: the middle one).
// --reference runs the plain form of the generation (every candidate
// measured by walking its level) instead of the quick one; both must give
// the same bytes.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <png.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "sha256.h"
#include "tam/art_map_generation.h"
#include "tools/common/tool_cli.h"

namespace
{

struct Options
{
    uint32_t size = 256;
    uint32_t layers = 128;
    uint32_t candidates = 5;
    int32_t kind = 0;
    bool digest = false;
    bool reference = false;
    const char* pngDir = nullptr;
    long tone = -1;
};

const toolcli::Tool kTool{
    "tessimo-tam",
    "usage: tessimo-tam [--size N] [--layers N] [--candidates N] [--kind 0|1] [--reference] "
    "[--digest] [--png DIR [--tone T]]",
    "  --size N        side of the finest level, a power of two from 1 to 4096 (256)\n"
    "  --layers N      tones, 2 to 4096 (128)\n"
    "  --candidates N  strokes tried for each one placed, 1 to 1000 (5)\n"
    "  --kind 0|1      0 hatching, 1 cross-hatching (0)\n"
    "  --reference     the plain form of the generation instead of the quick one\n"
    "  --digest        the SHA-256 of each level of the volume, of all levels, the strokes\n"
    "  --png DIR       every tone, a contact sheet and the levels of one tone, into DIR\n"
    "  --tone T        the tone whose levels --png writes, below --layers (the middle one)\n"};

bool IsPowerOfTwo(uint32_t v)
{
    return v && !(v & (v - 1));
}

// One numeric option: its range, the text that names the range, its field.
struct NumberOption
{
    const char* name;
    long low, high;
    const char* range;
};

const NumberOption kNumbers[] = {
    {"--size", 1, 4096, "a power of two from 1 to 4096"},
    {"--layers", 2, 4096, "2 to 4096"},
    {"--candidates", 1, 1000, "1 to 1000"},
    {"--kind", 0, 1, "0 or 1"},
    {"--tone", 0, 4095, "0 to 4095, below --layers"},
};

void Store(Options* o, const std::string& name, long v)
{
    if (name == "--size")
        o->size = static_cast<uint32_t>(v);
    else if (name == "--layers")
        o->layers = static_cast<uint32_t>(v);
    else if (name == "--candidates")
        o->candidates = static_cast<uint32_t>(v);
    else if (name == "--kind")
        o->kind = static_cast<int32_t>(v);
    else
        o->tone = v;
}

// Parses argv into `o`; returns 0, or the usage status.
int Parse(int argc, char** argv, Options* o)
{
    for (int i = 1; i < argc; ++i)
    {
        std::string a = argv[i];
        const NumberOption* number = nullptr;
        for (const NumberOption& n : kNumbers)
            if (a == n.name)
                number = &n;
        if (a == "--digest")
            o->digest = true;
        else if (a == "--reference")
            o->reference = true;
        else if (a == "--png" && i + 1 < argc)
            o->pngDir = argv[++i];
        else if (a == "--png")
            return kTool.MissingValue(a, "a folder");
        else if (number && i + 1 >= argc)
            return kTool.MissingValue(a, number->range);
        else if (number)
        {
            long v = 0;
            const char* text = argv[++i];
            if (!toolcli::ParseInteger(text, number->low, number->high, &v) ||
                (a == "--size" && !IsPowerOfTwo(static_cast<uint32_t>(v))))
                return kTool.BadValue(a, text, number->range);
            Store(o, a, v);
        }
        else
            return kTool.UsageError("unknown option '" + a + "'");
    }
    if (!o->digest && !o->pngDir)
        return kTool.UsageError("nothing to do: give --digest or --png DIR");
    if (o->tone >= static_cast<long>(o->layers))
        return kTool.BadValue("--tone", std::to_string(o->tone),
                              "0 to " + std::to_string(o->layers - 1) + ", below --layers");
    // Level 0 of the volume alone is size * size * 3 * layers bytes.
    if (static_cast<uint64_t>(o->size) * o->size * 3 * o->layers > (1ull << 31))
        return kTool.UsageError("--size " + std::to_string(o->size) + " with --layers " +
                                std::to_string(o->layers) + ": expected a volume of at most 2 GiB");
    if (o->pngDir && o->reference)
        return kTool.UsageError("--png takes the quick form only, not --reference");
    return 0;
}

// One picture, written whole or not at all.
bool WritePng(const std::string& path, uint32_t w, uint32_t h, const uint8_t* rgb,
              std::string* error)
{
    toolcli::OutputFile out;
    if (!out.Open(path, {}, error))
        return false;
    // libpng's own report would be a second line: the failure is told once.
    auto quiet = [](png_structp p, png_const_charp) { png_longjmp(p, 1); };
    auto ignore = [](png_structp, png_const_charp) {};
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, quiet, ignore);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    bool ok = png && info && !setjmp(png_jmpbuf(png));
    if (ok)
    {
        png_init_io(png, out.Stream());
        png_set_IHDR(png, info, w, h, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        for (uint32_t y = 0; y < h; ++y)
            png_write_row(png, const_cast<uint8_t*>(rgb + static_cast<size_t>(y) * w * 3));
        png_write_end(png, nullptr);
    }
    png_destroy_write_struct(&png, &info);
    if (!ok)
    {
        *error = toolcli::CannotWrite(path, EIO);
        return false;
    }
    return out.Commit(error);
}

// The folder --png writes into, made if it isn't there; checked before the
// generation, which takes a while.
bool MakeFolder(const char* dir, std::string* error)
{
    struct stat st;
    if (mkdir(dir, 0777) != 0 && errno != EEXIST)
    {
        *error = toolcli::CannotWrite(dir, errno);
        return false;
    }
    if (stat(dir, &st) != 0 || !S_ISDIR(st.st_mode))
    {
        *error = toolcli::CannotWrite(dir, ENOTDIR);
        return false;
    }
    return true;
}

bool WritePictures(const Options& o, const ArtMapStack& stack, uint32_t chosenTone,
                   std::string* error)
{
    std::string dir = o.pngDir;
    char name[64];
    std::vector<uint8_t> image(stack.ImageBytes(0));
    // Each tone once: its own picture, and its place on the contact sheet
    // (rows of 16, from the lightest to the darkest).
    uint32_t columns = o.layers < 16 ? o.layers : 16;
    uint32_t rows = (o.layers + columns - 1) / columns;
    uint32_t sheetW = columns * o.size, sheetH = rows * o.size;
    std::vector<uint8_t> sheet(static_cast<size_t>(sheetW) * sheetH * 3, 255);
    for (uint32_t t = 0; t < o.layers; ++t)
    {
        snprintf(name, sizeof name, "/tone_%03u.png", t);
        stack.WriteTone(t, 0, image.data());
        if (!WritePng(dir + name, o.size, o.size, image.data(), error))
            return false;
        uint32_t k = o.layers - 1 - t;
        uint32_t x0 = (k % columns) * o.size, y0 = (k / columns) * o.size;
        for (uint32_t y = 0; y < o.size; ++y)
            memcpy(&sheet[((static_cast<size_t>(y0) + y) * sheetW + x0) * 3],
                   &image[static_cast<size_t>(y) * o.size * 3], o.size * 3);
    }
    if (!WritePng(dir + "/contact_sheet.png", sheetW, sheetH, sheet.data(), error))
        return false;
    for (uint32_t m = 0; m < stack.levelCount; ++m)
    {
        snprintf(name, sizeof name, "/tone_%03u_level_%u.png", chosenTone, m);
        stack.WriteTone(chosenTone, m, image.data());
        if (!WritePng(dir + name, o.size >> m, o.size >> m, image.data(), error))
            return false;
    }
    return true;
}

// The digests of the volume as it goes to the card, slice by slice: the
// volume is never held whole. Level 0 opens the volume, so its digest is
// that of the volume so far, and its bytes are hashed once.
void PrintDigest(const ArtMapStack& stack)
{
    Sha256 all;
    ArtMapSlices slices(stack);
    for (uint32_t m = 0; m < stack.levelCount; ++m)
    {
        Sha256 level;
        for (uint32_t j = 0; j < stack.slices[m]; ++j)
        {
            const uint8_t* slice = slices.Slice(m, j);
            if (m != 0)
                level.Update(slice, stack.ImageBytes(m));
            all.Update(slice, stack.ImageBytes(m));
        }
        printf("level %u side %u slices %u sha256 %s\n", m, stack.size >> m, stack.slices[m],
               (m == 0 ? all.HexDigestSoFar() : level.HexDigest()).c_str());
    }
    printf("volume sha256 %s\n", all.HexDigest().c_str());
    printf("strokes %llu\n", static_cast<unsigned long long>(stack.strokes));
}

// The same lines from the reference form's whole volume.
void PrintDigest(const ArtMapVolume& v)
{
    Sha256 all;
    for (uint32_t m = 0; m < v.levelCount; ++m)
    {
        Sha256 level;
        level.Update(v.blocks[m].data(), v.blocks[m].size());
        all.Update(v.blocks[m].data(), v.blocks[m].size());
        printf("level %u side %u slices %u sha256 %s\n", m, v.size >> m, v.slices[m],
               level.HexDigest().c_str());
    }
    printf("volume sha256 %s\n", all.HexDigest().c_str());
    printf("strokes %llu\n", static_cast<unsigned long long>(v.strokes));
}

} // namespace

int main(int argc, char** argv)
{
    if (toolcli::WantsHelp(argc, argv))
        return kTool.Help();
    Options o;
    if (int status = Parse(argc, argv, &o))
        return status;
    std::string error;
    if (o.pngDir && !MakeFolder(o.pngDir, &error))
        return kTool.Fail(error);

    if (o.reference)
    {
        ArtMapVolume volume;
        GenerateArtMapVolume(o.size, o.layers, o.candidates, o.kind, ArtMapForm::Reference,
                             &volume);
        PrintDigest(volume);
        return kTool.Finish();
    }
    ArtMapStack stack;
    GenerateArtMapStack(o.size, o.layers, o.candidates, o.kind, &stack);
    if (o.digest)
        PrintDigest(stack);
    uint32_t chosenTone = o.tone >= 0 ? static_cast<uint32_t>(o.tone) : o.layers / 2;
    if (o.pngDir && !WritePictures(o, stack, chosenTone, &error))
        return kTool.Fail(error);
    return kTool.Finish();
}
