// Resources without GL: the bitmap decoder against the pictures it was
// written from, the token table against the GL headers, the definition
// reader on an engine whose registries only record, the error line of a
// rejected vertex program, and the textures tessimo-font makes.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <GL/glext.h>
#include <cstring>
#include <map>
#include <regex>
#include <set>

#include "resources/dib_image.h"
#include "resources/shader.h"
#include "resources/vertex_program.h"
#include "support/image_files.h"
#include "support/material_files.h"
#include "support/stub_engine.h"

namespace
{

using namespace testsupport;

DibResult Decode(const Bytes& file, DibImage* image)
{
    return DecodeDib(file.data(), file.size(), image);
}

BmpOptions Options(uint32_t bits, uint32_t compression, std::array<uint32_t, 3> masks = {})
{
    return {bits, compression, {masks[0], masks[1], masks[2]}};
}

// Every depth and compression, with and without file header, with each
// header size the depth allows, bottom-up and top-down; odd sizes make rows
// that need padding and bytes that hold parts of rows.
TEST(DibDecode, EveryVariantGivesThePicture)
{
    const struct
    {
        uint32_t colours; // 0: true colour
        BmpOptions options;
        int tolerance; // rounding of channels narrower than 8 bits
    } variants[] = {
        {2, Options(1, 0), 0},
        {16, Options(4, 0), 0},
        {256, Options(8, 0), 0},
        {40, Options(8, 0), 0}, // a short colour table
        {0, Options(16, 0), 5},
        {0, Options(16, 3, {0xF800, 0x07E0, 0x001F}), 5},
        {0, Options(24, 0), 0},
        {0, Options(32, 0), 0},
        {0, Options(32, 3, {0xFF000000, 0x00FF0000, 0x0000FF00}), 0},
        {0, Options(32, 3, {0x3FF00000, 0x000FFC00, 0x000003FF}), 0},
    };
    const uint32_t sizes[][2] = {{100, 60}, {5, 3}, {1, 1}, {17, 9}};
    int decoded = 0;
    for (const auto& v : variants)
        for (const auto& size : sizes)
            for (uint32_t header : {12u, 40u, 124u})
                for (int flags = 0; flags < 4; ++flags)
                {
                    BmpOptions o = v.options;
                    o.headerSize = header;
                    o.fileHeader = flags & 1;
                    o.topDown = flags & 2;
                    // The core header has no compression, no top-down rows and
                    // always a full colour table.
                    bool fullTable = v.colours == 0 || v.colours == 1u << o.bitCount;
                    if (header == 12 && (o.compression || o.topDown || !fullTable))
                        continue;
                    Picture p = MakePicture(size[0], size[1], v.colours);
                    SCOPED_TRACE(::testing::Message()
                                 << o.bitCount << " bits, compression " << o.compression << ", "
                                 << size[0] << "x" << size[1] << ", header " << header << ", flags "
                                 << flags);
                    DibImage image;
                    ASSERT_EQ(Decode(WriteBmp(p, o), &image), DibResult::Ok);
                    ASSERT_EQ(image.width, p.width);
                    ASSERT_EQ(image.height, p.height);
                    int worst = 0;
                    for (size_t i = 0; i < p.rgb.size(); ++i)
                        worst = std::max(worst, std::abs(image.pixels[i] - p.rgb[i]));
                    EXPECT_LE(worst, v.tolerance);
                    // True-colour corners are pure colours, exact at every depth.
                    size_t last = p.rgb.size() - 3;
                    EXPECT_EQ(memcmp(image.pixels, p.rgb.data(), 3), 0);
                    EXPECT_EQ(memcmp(image.pixels + last, p.rgb.data() + last, 3), 0);
                    ++decoded;
                }
    EXPECT_GT(decoded, 200);
}

// Run-length codes of both depths: repeats (nibbles alternating), literals
// with their padding, delta moves, an early end of line and of bitmap (the
// rest stays black), a run past the right edge; and the codes cut short.
TEST(DibDecode, RunLengthCodes)
{
    const struct
    {
        uint32_t bits;
        Bytes codes;
        const char* rows; // bottom row first; a, b: colours 5 and 6
    } cases[] = {
        // Row 0: 5 6 5, end of line; row 1: delta (2, 1) to x 2 of row 2,
        // literal 5 6 5, a run of 9 from x 5; end of bitmap.
        {4,
         {3, 0x56, 0, 0, 0, 2, 2, 1, 0, 3, 0x56, 0x50, 9, 0x66, 0, 1},
         "aba---|------|--abab|------"},
        // Row 0: literal 5 6 5 and its pad byte, two of 6, end of line;
        // delta (1, 1) to x 1 of row 2, two of 5, end of bitmap.
        {8, {0, 3, 5, 6, 5, 0, 2, 6, 0, 0, 0, 2, 1, 1, 2, 5, 0, 1}, "ababb-|------|-aa---|------"},
    };
    for (const auto& c : cases)
    {
        Picture p = MakePicture(6, 4, 16);
        p.palette[5] = {10, 20, 30};
        p.palette[6] = {40, 50, 60};
        Bytes file = WriteBmp(p, Options(c.bits, c.bits == 4 ? 2 : 1));
        file.resize(file[10] | file[11] << 8);
        file.insert(file.end(), c.codes.begin(), c.codes.end());
        DibImage image;
        ASSERT_EQ(Decode(file, &image), DibResult::Ok) << c.bits;
        std::string rows;
        for (uint32_t i = 0; i < 24; ++i)
        {
            const uint8_t* px = image.pixels + 3 * i;
            rows += px[1] == 20 ? 'a' : px[1] == 50 ? 'b' : px[0] + px[1] + px[2] ? '?' : '-';
            rows += i % 6 == 5 && i < 23 ? "|" : "";
        }
        EXPECT_EQ(rows, c.rows) << c.bits;
        file.resize(file.size() - 2);
        DibImage cut;
        EXPECT_EQ(Decode(file, &cut), DibResult::ConversionError) << c.bits;
        EXPECT_EQ(cut.pixels, nullptr);
    }
}

TEST(DibDecode, HostileInputFailsWithTheRightKind)
{
    Bytes good = WriteBmp(MakePicture(4, 3, 0), Options(24, 0)); // 12-byte rows
    auto patched = [](Bytes base, size_t at, uint32_t value, size_t at2 = 0, uint32_t value2 = 0)
    {
        memcpy(&base[at], &value, 4);
        if (at2)
            memcpy(&base[at2], &value2, 4);
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
        EXPECT_NE(result(Bytes(good.begin(), good.begin() + n)), DibResult::Ok) << n;
    Picture indexed = MakePicture(4, 3, 256);
    Bytes table = WriteBmp(indexed, Options(8, 0));
    Bytes rle = WriteBmp(indexed, Options(8, 1));
    BmpOptions bare = Options(8, 0);
    bare.fileHeader = false;
    Bytes shortTable = WriteBmp(indexed, bare);
    shortTable.resize(40 + 100);
    uint32_t codes = rle[10] | rle[11] << 8;
    Bytes shortLiteral(rle.begin(), rle.begin() + codes), shortDelta = shortLiteral;
    shortLiteral.insert(shortLiteral.end(), {0, 200, 1, 2});
    shortDelta.insert(shortDelta.end(), {0, 2, 1});
    const std::pair<Bytes, DibResult> cases[] = {
        {{'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd'}, DibResult::UnknownFormat},
        {{'B', 'M'}, DibResult::UnknownFormat},
        {patched(good, 14, 20), DibResult::UnknownFormat},           // header size
        {patched(good, 14, 0xFFFFFFF0), DibResult::UnknownFormat},   // header size
        {patched(good, 26, 2 | 24 << 16), DibResult::UnknownFormat}, // two planes
        {patched(good, 26, 1 | 7 << 16), DibResult::UnknownFormat},  // 7 bits
        {patched(good, 30, 1), DibResult::UnknownFormat},            // RLE8 at 24 bits
        {patched(good, 30, 4), DibResult::UnknownFormat},            // JPEG
        {patched(good, 18, 0), DibResult::UnknownFormat},            // width 0
        {patched(good, 18, uint32_t(-4)), DibResult::UnknownFormat},
        {patched(good, 18, 100000, 22, 100000), DibResult::ConversionError},
        {patched(good, 18, 0x7FFFFFFF, 22, 0x80000001), DibResult::ConversionError},
        {patched(rle, 18, 100000, 22, 100000), DibResult::OutOfMemory},
        {patched(good, 10, 20), DibResult::ConversionError}, // pixels inside the headers
        {patched(good, 10, uint32_t(good.size() + 1)), DibResult::ConversionError},
        {patched(good, 10, 0xFFFFFFFF), DibResult::ConversionError},
        {patched(table, 46, 257), DibResult::ConversionError}, // colour table too long
        {patched(table, 46, 0xFFFFFFFF), DibResult::ConversionError},
        {patched(table, 46, 2), DibResult::ConversionError}, // a pixel names colour 2 on
        {shortTable, DibResult::ConversionError},
        {WriteBmp(MakePicture(4, 3, 0), Options(32, 3, {0xF0F00000, 0xFF00, 0xFF})),
         DibResult::ConversionError}, // mask bits not contiguous
        {shortLiteral, DibResult::ConversionError},
        {shortDelta, DibResult::ConversionError},
    };
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(result(cases[i].first), cases[i].second) << "case " << i;
}

// The token table's values are those of the GL headers, and every name the
// reader's defaults and the shipped definitions use is in it.
TEST(TokenTable, MatchesTheGlHeadersAndListsEveryUse)
{
    std::map<std::string, unsigned long> headers;
    std::regex define(R"(^#define\s+(GL_\w+)\s+(0x[0-9A-Fa-f]+|[0-9]+)\s*$)");
    std::smatch m;
    for (const char* header : {TESSIMO_GL_HEADERS "/gl.h", TESSIMO_GL_HEADERS "/glext.h"})
    {
        std::istringstream in(ReadText(header));
        for (std::string line; std::getline(in, line);)
            if (std::regex_match(line, m, define))
                headers.emplace(m[1], std::stoul(m[2], nullptr, 0));
    }
    ASSERT_GT(headers.size(), 1000u) << "GL headers not read from " TESSIMO_GL_HEADERS;
    std::set<std::string> tokens;
    std::istringstream in(ReadText(SourcePath("data/ini/tokens.ini")));
    bool inside = false;
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] == '[')
            inside = line.rfind("[OpenGL]", 0) == 0;
        else if (inside && line[0] != ';' && std::regex_match(line, m, std::regex("(\\w+)=(.*)")))
        {
            tokens.insert(m[1]);
            unsigned parsed = 0; // read the way the engine reads it
            EXPECT_EQ(sscanf(m[2].str().c_str(), "%X", &parsed), 1) << line;
            EXPECT_TRUE(headers.count(m[1]) && parsed == headers[m[1]]) << line;
        }
    // The reader's defaults, then every token value of the shipped definitions.
    std::istringstream defaults("GL_LESS GL_ONE GL_ZERO GL_LINEAR GL_REPEAT GL_TEXTURE GL_PREVIOUS "
                                "GL_SRC_COLOR GL_SRC_ALPHA GL_MODULATE GL_LINEAR_MIPMAP_NEAREST");
    std::set<std::string> used{std::istream_iterator<std::string>(defaults), {}};
    std::istringstream shaders(ReadText(SourcePath("data/ini/Shaders.ini")));
    for (std::string line; std::getline(shaders, line);)
        if (std::regex_match(line, m, std::regex(R"(^\w+=(GL_\w+)\s*$)")))
            used.insert(m[1]);
    for (const std::string& name : used)
        EXPECT_TRUE(tokens.count(name)) << name << " is used but not in the token table";
}

class ShaderFile : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(dir.path.empty());
        g_engine = &engine;
    }
    void TearDown() override { g_engine = nullptr; }
    std::unique_ptr<Shader> Load(const std::string& definitions, const char* name)
    {
        WriteMaterialFiles(dir.path, definitions);
        std::unique_ptr<Shader> shader(new Shader(name));
        shader->Load(engine.shaderDefinitions);
        return shader;
    }

    TempDir dir;
    StubEngine engine{dir.path};
};

using Floats = std::vector<float>;
using Enums = std::vector<uint32_t>;
Floats Four(const float* c)
{
    return Floats(c, c + 4);
}

// The stage's GL enums in record order, tcgen first.
Enums StageEnums(const ShaderStage& st)
{
    return {st.tcgenMode, st.sourceRgb0, st.sourceRgb1,   st.opRgb0,
            st.opRgb1,    st.combineRgb, st.sourceAlpha0, st.sourceAlpha1,
            st.opAlpha0,  st.opAlpha1,   st.combineAlpha};
}

TEST_F(ShaderFile, AMissingSectionGivesEveryDefault)
{
    std::unique_ptr<Shader> s = Load("[Other]\nnbstages=3\n", "Nowhere");
    for (const float* c :
         {s->material->ambient, s->material->diffuse, s->material->specular, s->material->emission})
        EXPECT_EQ(Four(c), Floats(4, 1.0f));
    EXPECT_EQ(s->material->shininess, 0.0f);
    EXPECT_TRUE(s->culling && s->ccw && s->depthTest && s->depthMask);
    EXPECT_FALSE(s->blending || s->hasVertexProgram);
    EXPECT_EQ((Enums{s->depthFunc, s->blendSrc, s->blendDst}), (Enums{GL_LESS, GL_ONE, GL_ZERO}));
    ASSERT_EQ(s->stageCount, 1);
    ASSERT_EQ(engine.textureRequests.size(), 1u);
    const TextureRequest& t = engine.textureRequests[0];
    EXPECT_EQ(t.name, "tga\\Default.tga");
    EXPECT_EQ((Enums{t.wrapS, t.wrapT, t.magFilter, t.minFilter}),
              (Enums{GL_REPEAT, GL_REPEAT, GL_LINEAR, GL_LINEAR_MIPMAP_NEAREST}));
    const ShaderStage& st = s->stages[0];
    EXPECT_EQ(StageEnums(st),
              (Enums{0xFFFFFFFFu, GL_TEXTURE, GL_PREVIOUS, GL_SRC_COLOR, GL_SRC_COLOR, GL_MODULATE,
                     GL_TEXTURE, GL_PREVIOUS, GL_SRC_ALPHA, GL_SRC_ALPHA, GL_MODULATE}));
    EXPECT_FALSE(st.tcgenEnabled);
    EXPECT_TRUE(st.staticTransform);
    EXPECT_EQ((Floats{st.rgbScale, st.alphaScale, st.scale.x, st.scale.y, st.scale.z, st.scale.w}),
              (Floats{1, 1, 1, 1, 1, 0}));

    // Without a token file every token is all bits set.
    std::filesystem::remove(dir.path + "/ini/tokens.ini");
    s->Load(engine.shaderDefinitions);
    EXPECT_EQ(s->depthFunc, 0xFFFFFFFFu);
    EXPECT_EQ(StageEnums(s->stages[0]), Enums(11, 0xFFFFFFFFu));
    EXPECT_EQ(engine.textureRequests.back().minFilter, 0xFFFFFFFFu);
}

TEST_F(ShaderFile, ValuesAreReadWithTheirScanRules)
{
    std::unique_ptr<Shader> s = Load(R"([Glass]
ambient=( 0.5, 0.25, 0.125, 0.75 )
diffuse=(0.5, 0.25, 0.125, 0.75 )
specular=( 0.5,0.25, 0.125, 0.75 )
emission=banana
shininess=12.5
culling=FALSE
ccw=True
depthtest=yes
depthfunc=GL_GREATER
blendsrc=0x302
blenddst=GL_ONE_MINUS_SRC_ALPHA
blending=TRUE
nbstages=2
vertex_program=NONE
[Glass - TU0]
map=tga\glass.tga
mag_filter=GL_NEAREST
wrap_u=GL_CLAMP
scroll=( 0.25, -0.5 )
tcgen=GL_SPHERE_MAP
combine_rgb=GL_ADD
rgb_scale=2
alpha_scale=4.0
[Glass - TU1]
scroll=(0.1, 0.2)
scale=( 2.0 )
tcgen=GL_NOT_A_TOKEN
)",
                                     "Glass");
    EXPECT_EQ(Four(s->material->ambient), (Floats{0.5f, 0.25f, 0.125f, 0.75f}));
    // "(0.5," is one word, so the numbers shift by one and the last keeps
    // its default; "0.5,0.25," scans 0.5, then ",0.25," is the next word.
    EXPECT_EQ(Four(s->material->diffuse), (Floats{0.25f, 0.125f, 0.75f, 1}));
    EXPECT_EQ(Four(s->material->specular), (Floats{0.5f, 0.125f, 0.75f, 1}));
    EXPECT_EQ(Four(s->material->emission), Floats(4, 1.0f));
    EXPECT_EQ(s->material->shininess, 12.5f);
    EXPECT_FALSE(s->culling);
    EXPECT_TRUE(s->ccw && s->blending);
    EXPECT_FALSE(s->depthTest) << "only \"true\" is true";
    // A number is a key like any other.
    EXPECT_EQ((Enums{s->depthFunc, s->blendSrc, s->blendDst}),
              (Enums{GL_GREATER, 0xFFFFFFFFu, GL_ONE_MINUS_SRC_ALPHA}));
    EXPECT_TRUE(s->hasVertexProgram) << "the keyword is \"none\" in lower case only";
    EXPECT_EQ(engine.programRequests, std::vector<std::string>{"NONE"});
    EXPECT_EQ(s->vertexProgram, engine.stubPrograms["NONE"].get());

    ASSERT_EQ(s->stageCount, 2);
    ASSERT_EQ(engine.textureRequests.size(), 2u);
    const TextureRequest& t = engine.textureRequests[0];
    EXPECT_EQ(t.name, "tga\\glass.tga");
    EXPECT_EQ((Enums{t.wrapS, t.wrapT, t.magFilter}), (Enums{GL_CLAMP, GL_REPEAT, GL_NEAREST}));
    EXPECT_EQ(s->stages[0].texture, engine.stubTextures["tga\\glass.tga"].get());
    const ShaderStage& a = s->stages[0];
    EXPECT_EQ((Floats{a.scrollSpeed.x, a.scrollSpeed.y, a.rgbScale, a.alphaScale}),
              (Floats{0.25f, -0.5f, 2, 4}));
    EXPECT_FALSE(a.staticTransform);
    EXPECT_TRUE(a.tcgenEnabled);
    EXPECT_EQ((Enums{a.tcgenMode, a.combineRgb}), (Enums{GL_SPHERE_MAP, GL_ADD}));
    // "(0.1," is the first word, so 0.2 is taken for x and y finds nothing;
    // "( 2.0 )" sets x only.
    const ShaderStage& b = s->stages[1];
    EXPECT_EQ((Floats{b.scrollSpeed.x, b.scrollSpeed.y, b.scale.x, b.scale.y}),
              (Floats{0.2f, 0, 2, 1}));
    EXPECT_FALSE(b.staticTransform || b.tcgenEnabled);

    // Ticks move the animated stage only, unreduced.
    s->stages[0].scrollSpeed.z = 1;
    s->stages[1].rotationSpeed = 5;
    s->stages[1].staticTransform = true;
    for (int i = 0; i < 400; ++i)
        s->Update();
    const Vec4& o = s->stages[0].scrollOffset;
    EXPECT_EQ((Floats{o.x, o.y, o.z, o.w}), (Floats{100, -200, 400, 0}));
    EXPECT_EQ(s->stages[1].rotationAngle, 0.0f);
}

TEST_F(ShaderFile, StageCountsAreClampedAndLongNamesFit)
{
    for (auto [text, expected] : {std::pair<const char*, int>{"-1", 0},
                                  {"0", 0},
                                  {"32", 32},
                                  {"33", 32},
                                  {"100000", 32},
                                  {"lots", 1}})
    {
        engine.textureRequests.clear();
        std::unique_ptr<Shader> s = Load(std::string("[S]\nnbstages=") + text + "\n", "S");
        EXPECT_EQ(s->stageCount, expected) << text;
        EXPECT_EQ(engine.textureRequests.size(), size_t(expected)) << text;
    }
    // A name that fills the 256-character record: the stage sections are
    // cut, and the shader still loads.
    Shader s(std::string(300, 'n').c_str());
    EXPECT_EQ(strlen(s.name), 255u);
    WriteMaterialFiles(dir.path, "[" + std::string(255, 'n') + "]\nnbstages=32\nculling=false\n");
    s.Load(engine.shaderDefinitions);
    EXPECT_FALSE(s.culling);
    EXPECT_EQ(s.stageCount, 32);
}

TEST(VertexProgramText, TheErrorLineIsCutAtTheLineFeedTheEndOr255Characters)
{
    char out[256];
    const std::string text = "!!ARBvp1.0\r\nBAD line;\nEND";
    const std::pair<int32_t, const char*> cases[] = {
        {0, "!!ARBvp1.0\r"}, {12, "BAD line;"}, {11, ""}, {22, "END"}, {25, ""}, {26, ""},
        {1000, ""},          {-2, ""}};
    for (auto [position, line] : cases)
    {
        CopyErrorLine(text.data(), uint32_t(text.size()), position, out);
        EXPECT_STREQ(out, line) << position;
    }
    std::string longLine = "X" + std::string(1 << 20, 'y');
    CopyErrorLine(longLine.data(), uint32_t(longLine.size()), 0, out);
    EXPECT_EQ(std::string(out), "X" + std::string(254, 'y'));
}

// tessimo-font's glyph sheet: dark ink, code 32 + i in cell i from the top
// left, 16 texels a side, inside its cell, the right way up; and the
// default pattern in magenta and black.
TEST(FontTool, EveryPrintableGlyphHasInkInsideItsOwnCell)
{
    std::string generated = std::string(getenv("TESSIMO_BINARY_DIR")) + "/data/generated/";
    std::string font = ReadText(generated + "Font.tga");
    auto u16 = [&](size_t at) { return uint8_t(font[at]) | uint8_t(font[at + 1]) << 8; };
    ASSERT_EQ(font.size(), 18u + 256 * 256 * 4);
    ASSERT_EQ((std::vector<int>{font[2], u16(12), u16(14), font[16]}),
              (std::vector<int>{2, 256, 256, 32}));
    for (size_t i = 18; i < font.size(); i += 4)
        ASSERT_TRUE(uint8_t(font[i]) <= 0x20 && uint8_t(font[i + 1]) <= 0x20 &&
                    uint8_t(font[i + 2]) <= 0x20);
    for (uint32_t cell = 0; cell < 256; ++cell)
    {
        uint32_t ink = 0, border = 0, lowerInk = 0;
        for (uint32_t y = 0; y < 16; ++y)
            for (uint32_t x = 0; x < 16; ++x)
            {
                // Rows bottom first in the file.
                size_t at = ((255 - (cell / 16 * 16 + y)) * 256 + cell % 16 * 16 + x) * 4 + 18;
                bool a = font[at + 3] != 0;
                ink += a;
                lowerInk += a && y >= 8;
                border += a && (x == 0 || y == 0 || x == 15 || y == 15);
            }
        int code = int(cell) + 32;
        EXPECT_EQ(border, 0u) << "code " << code << " reaches the edge of its cell";
        if (code > 32 && code < 127)
            EXPECT_GT(ink, 3u) << "code " << code;
        else
            EXPECT_EQ(ink, 0u) << "code " << code;
        if (code == '_' || code == '^') // an underscore lies low, a caret high
            EXPECT_EQ(lowerInk, code == '_' ? ink : 0u);
    }
    std::string pattern = ReadText(generated + "Default.tga");
    ASSERT_GT(pattern.size(), 18u);
    EXPECT_EQ(pattern[16], 24);
    std::set<std::string> colours;
    for (size_t i = 18; i + 3 <= pattern.size(); i += 3)
        colours.insert(pattern.substr(i, 3));
    EXPECT_EQ(colours, (std::set<std::string>{std::string("\xFF\x00\xFF", 3),
                                              std::string("\x00\x00\x00", 3)}));
}

} // namespace
