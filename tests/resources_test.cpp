// Resources without GL: bitmap decoder, token table, definition reader on a
// recording engine, the textures tessimo-font makes.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <regex>

#include "resources/dib_image.h"
#include "resources/shader.h"
#include "support/material_files.h"
#include "support/stub_engine.h"

namespace
{

using namespace testsupport;

BmpOptions Options(uint32_t bits, uint32_t compression, std::array<uint32_t, 3> masks = {})
{
    return {bits, compression, {masks[0], masks[1], masks[2]}};
}

// Every depth, compression, header and orientation gives the picture.
TEST(DibDecode, EveryVariantRunLengthCodesAndHostileInput)
{
    // Colours (0: true colour; 40: a short table), options, tolerance.
    const std::tuple<uint32_t, BmpOptions, int> variants[] = {
        {2, Options(1, 0), 0},
        {16, Options(4, 0), 0},
        {256, Options(8, 0), 0},
        {40, Options(8, 0), 0},
        {0, Options(16, 0), 5},
        {0, Options(16, 3, {0xF800, 0x07E0, 0x001F}), 5},
        {0, Options(24, 0), 0},
        {0, Options(32, 0), 0},
        {0, Options(32, 3, {0xFF000000, 0x00FF0000, 0x0000FF00}), 0},
        {0, Options(32, 3, {0x3FF00000, 0x000FFC00, 0x000003FF}), 0}};
    for (const auto& [colours, options, tolerance] : variants)
        for (auto [w, h] : {std::pair<uint32_t, uint32_t>{100, 60}, {5, 3}, {1, 1}, {17, 9}})
            for (uint32_t header : {12u, 40u, 124u})
                for (int flags = 0; flags < 4; ++flags)
                {
                    BmpOptions o = options;
                    o.headerSize = header, o.fileHeader = flags & 1, o.topDown = flags & 2;
                    // The core header: no compression, no top-down rows, full colour tables.
                    if (header == 12 &&
                        (o.compression || o.topDown || (colours && colours != 1u << o.bitCount)))
                        continue;
                    Picture p = MakePicture(w, h, colours);
                    DibImage image;
                    const Bytes file = WriteBmp(p, o);
                    ASSERT_EQ(DecodeDib(file.data(), file.size(), &image), DibResult::Ok);
                    ASSERT_EQ(std::make_pair(image.width, image.height), std::make_pair(w, h));
                    int worst = 0;
                    for (size_t i = 0; i < p.rgb.size(); ++i)
                        worst = std::max(worst, std::abs(image.pixels[i] - p.rgb[i]));
                    EXPECT_LE(worst, tolerance) << o.bitCount << "/" << o.compression << " " << w
                                                << " " << header << " " << flags;
                }
    // RLE4/8: repeats, literals, deltas, early ends, a run past the edge.
    // Rows bottom first; a, b: colours 5, 6.
    const std::tuple<uint32_t, Bytes, const char*> runs[] = {
        {4,
         {3, 0x56, 0, 0, 0, 2, 2, 1, 0, 3, 0x56, 0x50, 9, 0x66, 0, 1},
         "aba---|------|--abab|------"},
        {8, {0, 3, 5, 6, 5, 0, 2, 6, 0, 0, 0, 2, 1, 1, 2, 5, 0, 1}, "ababb-|------|-aa---|------"}};
    for (const auto& [bits, codes, expected] : runs)
    {
        Picture p = MakePicture(6, 4, 16);
        p.palette[5] = {10, 20, 30}, p.palette[6] = {40, 50, 60};
        Bytes file = WriteBmp(p, Options(bits, bits == 4 ? 2 : 1));
        file.resize(file[10] | file[11] << 8);
        file.insert(file.end(), codes.begin(), codes.end());
        DibImage image;
        ASSERT_EQ(DecodeDib(file.data(), file.size(), &image), DibResult::Ok) << bits;
        std::string rows;
        for (uint32_t i = 0; i < 24; ++i)
        {
            const uint8_t* px = image.pixels + 3 * i;
            rows += px[1] == 20 ? 'a' : px[1] == 50 ? 'b' : px[0] + px[1] + px[2] ? '?' : '-';
            rows += i % 6 == 5 && i < 23 ? "|" : "";
        }
        EXPECT_EQ(rows, expected) << bits;
    }
    Bytes good = WriteBmp(MakePicture(4, 3, 0), Options(24, 0)); // 12-byte rows
    // A copy with one or two 32-bit fields rewritten (the second defaults to the width, 4 already).
    auto patched = [](Bytes base, size_t at, uint32_t value, size_t at2 = 18, uint32_t value2 = 4)
    { return memcpy(&base[at2], &value2, 4), memcpy(&base[at], &value, 4), base; };
    auto result = [](const Bytes& file)
    {
        DibImage image;
        DibResult r = DecodeDib(file.data(), file.size(), &image);
        EXPECT_TRUE(r == DibResult::Ok || image.pixels == nullptr);
        return r;
    };
    Picture indexed = MakePicture(4, 3, 256);
    Bytes table = WriteBmp(indexed, Options(8, 0)), rle = WriteBmp(indexed, Options(8, 1));
    // Every cut of a good file fails (headers, colour table, pixels), none reads past the cut.
    for (size_t n = 0; n < table.size(); ++n)
        EXPECT_NE(result(Bytes(table.begin(), table.begin() + n)), DibResult::Ok) << n;
    Bytes shortLiteral(rle.begin(), rle.begin() + (rle[10] | rle[11] << 8)),
        shortDelta = shortLiteral;
    shortLiteral.insert(shortLiteral.end(), {0, 200, 1, 2}),
        shortDelta.insert(shortDelta.end(), {0, 2, 1});
    // Header size, planes, depth, compression (RLE8 at 24 bits, JPEG), sizes, pixel offset,
    // colour table length, a pixel naming colour 2 of 2, masks not contiguous, cut codes.
    const auto unknown = DibResult::UnknownFormat, bad = DibResult::ConversionError;
    const std::pair<Bytes, DibResult> cases[] = {
        {{'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd'}, unknown},
        {patched(good, 14, 20), unknown},
        {patched(good, 14, 0xFFFFFFF0), unknown},
        {patched(good, 26, 2 | 24 << 16), unknown},
        {patched(good, 26, 1 | 7 << 16), unknown},
        {patched(good, 30, 1), unknown},
        {patched(good, 30, 4), unknown},
        {patched(good, 18, 0), unknown},
        {patched(good, 18, uint32_t(-4)), unknown},
        {patched(good, 18, 100000, 22, 100000), bad},
        {patched(good, 18, 0x7FFFFFFF, 22, 0x80000001), bad},
        {patched(rle, 18, 100000, 22, 100000), DibResult::OutOfMemory},
        {patched(good, 10, 20), bad},
        {patched(good, 10, uint32_t(good.size() + 1)), bad},
        {patched(good, 10, 0xFFFFFFFF), bad},
        {patched(table, 46, 257), bad},
        {patched(table, 46, 0xFFFFFFFF), bad},
        {patched(table, 46, 2), bad},
        {WriteBmp(MakePicture(4, 3, 0), Options(32, 3, {0xF0F00000, 0xFF00, 0xFF})), bad},
        {shortLiteral, bad},
        {shortDelta, bad}};
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(result(cases[i].first), cases[i].second) << "case " << i;
}

// Token values match the GL headers.
TEST(TokenTable, MatchesTheGlHeadersAndListsEveryUse)
{
    std::map<std::string, unsigned long> headers;
    std::smatch m;
    for (const char* header : {TESSIMO_GL_HEADERS "/gl.h", TESSIMO_GL_HEADERS "/glext.h"})
        for (const std::string& line : Lines(ReadText(header)))
            if (std::regex_match(
                    line, m, std::regex(R"(^#define\s+(GL_\w+)\s+(0x[0-9A-Fa-f]+|[0-9]+)\s*$)")))
                headers.emplace(m[1], std::stoul(m[2], nullptr, 0));
    ASSERT_GT(headers.size(), 1000u) << "GL headers not read from " TESSIMO_GL_HEADERS;
    bool inside = false;
    for (const std::string& line : Lines(ReadText(SourcePath("data/ini/tokens.ini"))))
        if (!line.empty() && line[0] == '[')
            inside = line.rfind("[OpenGL]", 0) == 0;
        else if (inside && line[0] != ';' && std::regex_match(line, m, std::regex("(\\w+)=(.*)")))
        {
            unsigned parsed = 0; // read the way the engine reads it
            EXPECT_EQ(sscanf(m[2].str().c_str(), "%X", &parsed), 1) << line;
            EXPECT_TRUE(headers.count(m[1]) && parsed == headers[m[1]]) << line;
        }
}

using Floats = std::vector<float>;
using Enums = std::vector<uint32_t>;
Floats Numbers(const Material& m)
{
    Floats f;
    for (const float* c : {m.ambient, m.diffuse, m.specular, m.emission})
        f.insert(f.end(), c, c + 4);
    return f.push_back(m.shininess), f;
}
Floats Numbers(const ShaderStage& s)
{
    return {s.rgbScale, s.alphaScale, s.scale.x,       s.scale.y,
            s.scale.z,  s.scale.w,    s.scrollSpeed.x, s.scrollSpeed.y};
}
Enums Switches(const Shader& s)
{
    return {s.culling,          s.ccw,       s.depthTest, s.depthMask, s.blending,
            s.hasVertexProgram, s.depthFunc, s.blendSrc,  s.blendDst};
}
Enums Switches(const ShaderStage& st)
{
    return {st.tcgenMode,    st.sourceRgb0,   st.sourceRgb1,     st.opRgb0,   st.opRgb1,
            st.combineRgb,   st.sourceAlpha0, st.sourceAlpha1,   st.opAlpha0, st.opAlpha1,
            st.combineAlpha, st.tcgenEnabled, st.staticTransform};
}

// Defaults, absent tokens, word-by-word scanning, stage count clamps.
TEST(ShaderFile, DefaultsScanRulesAndLimits)
{
    TempDir dir;
    StubEngine engine(dir.path);
    std::unique_ptr<EngineBase, void (*)(EngineBase*)> current(g_engine = &engine, [](EngineBase*)
                                                               { g_engine = nullptr; });
    auto load = [&](const std::string& definitions, const char* name)
    {
        WriteMaterialFiles(dir.path, definitions);
        std::unique_ptr<Shader> shader(new Shader(name));
        shader->Load(engine.shaderDefinitions);
        return shader;
    };
    std::unique_ptr<Shader> s = load("[Other]\nnbstages=3\n", "Nowhere");
    Floats white(16, 1.0f);
    white.push_back(0);
    EXPECT_EQ(Numbers(*s->material), white);
    EXPECT_EQ(Switches(*s), (Enums{1, 1, 1, 1, 0, 0, GL_LESS, GL_ONE, GL_ZERO}));
    ASSERT_EQ(s->stageCount, 1);
    EXPECT_EQ(
        engine.textureRequests,
        (std::vector<TextureRequest>{
            {"tga\\Default.tga", {GL_REPEAT, GL_REPEAT, GL_LINEAR, GL_LINEAR_MIPMAP_NEAREST}}}));
    EXPECT_EQ(Switches(s->stages[0]),
              (Enums{0xFFFFFFFFu, GL_TEXTURE, GL_PREVIOUS, GL_SRC_COLOR, GL_SRC_COLOR, GL_MODULATE,
                     GL_TEXTURE, GL_PREVIOUS, GL_SRC_ALPHA, GL_SRC_ALPHA, GL_MODULATE, 0, 1}));
    EXPECT_EQ(Numbers(s->stages[0]), (Floats{1, 1, 1, 1, 1, 0, 0, 0}));
    std::filesystem::remove(dir.path + "/ini/tokens.ini");
    s->Load(engine.shaderDefinitions);
    EXPECT_EQ(s->depthFunc, 0xFFFFFFFFu);
    Enums stage = Switches(s->stages[0]);
    EXPECT_EQ(Enums(stage.begin(), stage.begin() + 11), Enums(11, 0xFFFFFFFFu));
    EXPECT_EQ(engine.textureRequests.back().second[3], 0xFFFFFFFFu);

    engine.textureRequests.clear();
    s = load(
        "[Glass]\nambient=( 0.5, 0.25, 0.125, 0.75 )\ndiffuse=(0.5, 0.25, 0.125, 0.75 )\n"
        "specular=( 0.5,0.25, 0.125, 0.75 )\nemission=banana\nshininess=12.5\nculling=FALSE\n"
        "ccw=True\ndepthtest=yes\ndepthfunc=GL_GREATER\nblendsrc=0x302\nblending=TRUE\n"
        "blenddst=GL_ONE_MINUS_SRC_ALPHA\nnbstages=2\nvertex_program=NONE\n[Glass - TU0]\n"
        "map=tga\\glass.tga\nmag_filter=GL_NEAREST\nwrap_u=GL_CLAMP\nscroll=( 0.25, -0.5 )\n"
        "tcgen=GL_SPHERE_MAP\ncombine_rgb=GL_ADD\nrgb_scale=2\nalpha_scale=4.0\n[Glass - TU1]\n"
        "scroll=(0.1, 0.2)\nscale=( 2.0 )\ntcgen=GL_NOT_A_TOKEN\n",
        "Glass");
    EXPECT_EQ(Numbers(*s->material), (Floats{0.5f, 0.25f, 0.125f, 0.75f, 0.25f, 0.125f, 0.75f, 1,
                                             0.5f, 0.125f, 0.75f, 1, 1, 1, 1, 1, 12.5f}));
    EXPECT_EQ(Switches(*s),
              (Enums{0, 1, 0, 1, 1, 1, GL_GREATER, 0xFFFFFFFFu, GL_ONE_MINUS_SRC_ALPHA}));
    ASSERT_EQ(engine.stubPrograms.size(), 1u);
    EXPECT_EQ(s->vertexProgram, engine.stubPrograms["NONE"].get());
    ASSERT_EQ(s->stageCount, 2);
    EXPECT_EQ(engine.textureRequests[0],
              (TextureRequest{"tga\\glass.tga",
                              {GL_CLAMP, GL_REPEAT, GL_NEAREST, GL_LINEAR_MIPMAP_NEAREST}}));
    EXPECT_EQ(s->stages[0].texture, engine.stubTextures["tga\\glass.tga"].get());
    const ShaderStage &a = s->stages[0], &b = s->stages[1];
    EXPECT_EQ(Numbers(a), (Floats{2, 4, 1, 1, 1, 0, 0.25f, -0.5f}));
    EXPECT_EQ(Numbers(b), (Floats{1, 1, 2, 1, 1, 0, 0.2f, 0}));
    Enums sa = Switches(a), sb = Switches(b);
    EXPECT_EQ((Enums{sa[0], sa[5], sa[11], sa[12], sb[11], sb[12]}),
              (Enums{GL_SPHERE_MAP, GL_ADD, 1, 0, 0, 0}));

    for (auto [count, stages] :
         {std::pair{"-1", 0}, {"32", 32}, {"33", 32}, {"100000", 32}, {"lots", 1}})
    {
        engine.textureRequests.clear();
        EXPECT_EQ(load(std::string("[S]\nnbstages=") + count + "\n", "S")->stageCount, stages);
        EXPECT_EQ(engine.textureRequests.size(), size_t(stages)) << count;
    }
}

// The rejected line: cut at the line feed, the end or 255 characters.
TEST(VertexProgramText, TheErrorLineIsCutAtTheLineFeedTheEndOr255Characters)
{
    char out[256];
    const std::string text = "!!ARBvp1.0\r\nBAD line;\nEND", y = "X" + std::string(1 << 20, 'y');
    const std::pair<int32_t, const char*> cases[] = {
        {0, "!!ARBvp1.0\r"}, {12, "BAD line;"}, {11, ""}, {22, "END"}, {25, ""}, {26, ""},
        {1000, ""},          {-2, ""}};
    for (auto [position, line] : cases)
    {
        CopyErrorLine(text.data(), uint32_t(text.size()), position, out);
        EXPECT_STREQ(out, line) << position;
    }
    CopyErrorLine(y.data(), uint32_t(y.size()), 0, out);
    EXPECT_EQ(std::string(out), y.substr(0, 255));
}

// Glyph code 32 + i inks cell i only, right way up.
TEST(FontTool, EveryPrintableGlyphHasInkInsideItsOwnCell)
{
    const std::string font =
        ReadText(std::string(getenv("TESSIMO_BINARY_DIR")) + "/data/generated/Font.tga");
    ASSERT_EQ(font.size(), 18u + 256 * 256 * 4);
    EXPECT_EQ(font.substr(0, 17), std::string("\0\0\2\0\0\0\0\0\0\0\0\0\0\1\0\1\x20", 17));
    for (size_t i = 18; i < font.size(); i += 4)
        ASSERT_LE(std::max({uint8_t(font[i]), uint8_t(font[i + 1]), uint8_t(font[i + 2])}), 0x20)
            << i;
    for (uint32_t cell = 0; cell < 256; ++cell)
    {
        uint32_t ink = 0, border = 0, lowerInk = 0, code = cell + 32;
        for (uint32_t y = 0; y < 16; ++y)
            for (uint32_t x = 0; x < 16; ++x)
            {
                bool a = font[((255 - (cell / 16 * 16 + y)) * 256 + cell % 16 * 16 + x) * 4 + 21];
                ink += a, lowerInk += a && y >= 8;
                border += a && (x == 0 || y == 0 || x == 15 || y == 15);
            }
        EXPECT_EQ(border, 0u) << "code " << code << " reaches the edge of its cell";
        EXPECT_EQ(ink > 3, code > 32 && code < 127) << "code " << code;
        EXPECT_TRUE(ink == 0 || ink > 3) << "code " << code;
        EXPECT_TRUE((code != '_' || lowerInk == ink) && (code != '^' || lowerInk == 0));
    }
}

} // namespace
