// Materials without GL: the token table against the GL headers, the
// definition reader (defaults, the scan quirks, bad values) on an engine
// whose registries only record, the stage animation, the cut line of a
// rejected vertex program, and the textures tessimo-font makes.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <GL/glext.h>
#include <cstring>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "app/ini_file.h"
#include "resources/shader.h"
#include "resources/vertex_program.h"
#include "support/files.h"
#include "support/material_files.h"
#include "support/stub_engine.h"

namespace
{

using testsupport::ReadText;
using testsupport::SourcePath;
using testsupport::StubEngine;
using testsupport::WriteMaterialFiles;

// The [OpenGL] section of a token file: name to value text.
std::map<std::string, std::string> TokenSection(const std::string& text)
{
    std::map<std::string, std::string> tokens;
    std::istringstream in(text);
    std::string line;
    bool inside = false;
    while (std::getline(in, line))
    {
        if (!line.empty() && line[0] == '[')
            inside = line.rfind("[OpenGL]", 0) == 0;
        else if (inside && line.find('=') != std::string::npos && line[0] != ';')
            tokens[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
    }
    return tokens;
}

// Every "#define GL_NAME 0x..." of the GL headers this machine has.
std::map<std::string, unsigned long> HeaderConstants()
{
    std::map<std::string, unsigned long> constants;
    std::regex define(R"(^#define\s+(GL_\w+)\s+(0x[0-9A-Fa-f]+|[0-9]+)\s*$)");
    for (const char* header : {TESSIMO_GL_HEADERS "/gl.h", TESSIMO_GL_HEADERS "/glext.h"})
    {
        std::istringstream in(ReadText(header));
        std::string line;
        std::smatch m;
        while (std::getline(in, line))
            if (std::regex_match(line, m, define))
                constants.emplace(m[1], std::stoul(m[2], nullptr, 0));
    }
    return constants;
}

TEST(TokenTable, EveryTokenHasTheNumberOfTheGlHeadersAndEveryUseIsListed)
{
    std::map<std::string, std::string> tokens =
        TokenSection(ReadText(SourcePath("data/ini/tokens.ini")));
    std::map<std::string, unsigned long> headers = HeaderConstants();
    ASSERT_GT(headers.size(), 1000u) << "GL headers not read from " TESSIMO_GL_HEADERS;
    ASSERT_FALSE(tokens.empty());
    for (const auto& [name, value] : tokens)
    {
        if (!headers.count(name))
        {
            ADD_FAILURE() << name << " is no GL constant";
            continue;
        }
        // Read the way the engine reads it: "%X".
        unsigned parsed = 0;
        ASSERT_EQ(sscanf(value.c_str(), "%X", &parsed), 1) << name;
        EXPECT_EQ(parsed, headers[name]) << name << "=" << value;
    }

    // The defaults of the definition reader, and every token value of the
    // shipped definitions, must be in the table.
    std::set<std::string> used = {"GL_LESS",
                                  "GL_ONE",
                                  "GL_ZERO",
                                  "GL_LINEAR",
                                  "GL_REPEAT",
                                  "GL_TEXTURE",
                                  "GL_PREVIOUS",
                                  "GL_SRC_COLOR",
                                  "GL_SRC_ALPHA",
                                  "GL_MODULATE",
                                  "GL_LINEAR_MIPMAP_NEAREST"};
    std::istringstream shaders(ReadText(SourcePath("data/ini/Shaders.ini")));
    std::string line;
    std::smatch m;
    while (std::getline(shaders, line))
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
        engine = new StubEngine(dir.path);
        g_engine = engine;
    }
    void TearDown() override
    {
        g_engine = nullptr;
        delete engine;
    }
    Shader* Load(const std::string& definitions, const char* name)
    {
        WriteMaterialFiles(dir.path, definitions);
        Shader* shader = new Shader(name);
        shader->Load(engine->shaderDefinitions);
        return shader;
    }

    testsupport::TempDir dir;
    StubEngine* engine = nullptr;
};

using Floats = std::vector<float>;
Floats Colour(const float* c)
{
    return Floats(c, c + 4);
}

// The stage's GL enums in record order, tcgen first.
std::vector<uint32_t> StageEnums(const ShaderStage& st)
{
    return {st.tcgenMode, st.sourceRgb0, st.sourceRgb1,   st.opRgb0,
            st.opRgb1,    st.combineRgb, st.sourceAlpha0, st.sourceAlpha1,
            st.opAlpha0,  st.opAlpha1,   st.combineAlpha};
}

TEST_F(ShaderFile, AMissingSectionGivesEveryDefault)
{
    std::unique_ptr<Shader> s(Load("[Other]\nnbstages=3\n", "Nowhere"));
    for (const float* c :
         {s->material->ambient, s->material->diffuse, s->material->specular, s->material->emission})
        EXPECT_EQ(std::vector<float>(c, c + 4), std::vector<float>(4, 1.0f));
    EXPECT_EQ(s->material->shininess, 0.0f);
    EXPECT_TRUE(s->culling && s->ccw && s->depthTest && s->depthMask);
    EXPECT_FALSE(s->blending || s->hasVertexProgram);
    EXPECT_EQ((std::vector<uint32_t>{s->depthFunc, s->blendSrc, s->blendDst}),
              (std::vector<uint32_t>{GL_LESS, GL_ONE, GL_ZERO}));
    ASSERT_EQ(s->stageCount, 1);
    ASSERT_EQ(engine->textureRequests.size(), 1u);
    const testsupport::TextureRequest& t = engine->textureRequests[0];
    EXPECT_EQ(t.name, "tga\\Default.tga");
    EXPECT_EQ((std::vector<uint32_t>{t.wrapS, t.wrapT, t.magFilter, t.minFilter}),
              (std::vector<uint32_t>{GL_REPEAT, GL_REPEAT, GL_LINEAR, GL_LINEAR_MIPMAP_NEAREST}));
    const ShaderStage& st = s->stages[0];
    EXPECT_EQ(StageEnums(st),
              (std::vector<uint32_t>{0xFFFFFFFFu, GL_TEXTURE, GL_PREVIOUS, GL_SRC_COLOR,
                                     GL_SRC_COLOR, GL_MODULATE, GL_TEXTURE, GL_PREVIOUS,
                                     GL_SRC_ALPHA, GL_SRC_ALPHA, GL_MODULATE}));
    EXPECT_FALSE(st.tcgenEnabled);
    EXPECT_TRUE(st.staticTransform);
    EXPECT_EQ((std::vector<float>{st.rgbScale, st.alphaScale, st.scale.x, st.scale.y, st.scale.z,
                                  st.scale.w}),
              (std::vector<float>{1, 1, 1, 1, 1, 0}));

    // Without a token file every token is all bits set.
    std::filesystem::remove(dir.path + "/ini/tokens.ini");
    s->Load(engine->shaderDefinitions);
    EXPECT_EQ(s->depthFunc, 0xFFFFFFFFu);
    EXPECT_EQ(StageEnums(s->stages[0]), std::vector<uint32_t>(11, 0xFFFFFFFFu));
    EXPECT_EQ(engine->textureRequests.back().minFilter, 0xFFFFFFFFu);
}

TEST_F(ShaderFile, ValuesAreReadWithTheirScanRules)
{
    std::unique_ptr<Shader> s(Load(R"([Glass]
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
scale=( 1.0, 1.0 )
tcgen=GL_SPHERE_MAP
combine_rgb=GL_ADD
rgb_scale=2
alpha_scale=4.0
[Glass - TU1]
map=tga\two.tga
scroll=(0.1, 0.2)
scale=( 2.0 )
rotation=0
tcgen=GL_NOT_A_TOKEN
)",
                                   "Glass"));
    EXPECT_EQ(Colour(s->material->ambient), (Floats{0.5f, 0.25f, 0.125f, 0.75f}));
    // "(0.5," is one word, so the numbers shift by one and the last keeps
    // its default.
    EXPECT_EQ(Colour(s->material->diffuse), (Floats{0.25f, 0.125f, 0.75f, 1}));
    // "0.5,0.25," scans 0.5, then ",0.25," is the next word.
    EXPECT_EQ(Colour(s->material->specular), (Floats{0.5f, 0.125f, 0.75f, 1}));
    EXPECT_EQ(Colour(s->material->emission), Floats(4, 1.0f)) << "no numbers";
    EXPECT_EQ(s->material->shininess, 12.5f);
    EXPECT_FALSE(s->culling);
    EXPECT_TRUE(s->ccw);
    EXPECT_FALSE(s->depthTest) << "only \"true\" is true";
    EXPECT_TRUE(s->blending);
    // A number is a key like any other.
    EXPECT_EQ((std::vector<uint32_t>{s->depthFunc, s->blendSrc, s->blendDst}),
              (std::vector<uint32_t>{GL_GREATER, 0xFFFFFFFFu, GL_ONE_MINUS_SRC_ALPHA}));
    EXPECT_TRUE(s->hasVertexProgram) << "the keyword is \"none\" in lower case only";
    EXPECT_EQ(engine->programRequests, std::vector<std::string>{"NONE"});
    EXPECT_EQ(s->vertexProgram, engine->stubPrograms["NONE"].get());

    ASSERT_EQ(s->stageCount, 2);
    ASSERT_EQ(engine->textureRequests.size(), 2u);
    const testsupport::TextureRequest& t = engine->textureRequests[0];
    EXPECT_EQ(t.name, "tga\\glass.tga");
    EXPECT_EQ((std::vector<uint32_t>{t.wrapS, t.wrapT, t.magFilter}),
              (std::vector<uint32_t>{GL_CLAMP, GL_REPEAT, GL_NEAREST}));
    EXPECT_EQ(s->stages[0].texture, engine->stubTextures["tga\\glass.tga"].get());
    const ShaderStage& a = s->stages[0];
    EXPECT_EQ((Floats{a.scrollSpeed.x, a.scrollSpeed.y, a.rgbScale, a.alphaScale}),
              (Floats{0.25f, -0.5f, 2, 4}));
    EXPECT_FALSE(a.staticTransform);
    EXPECT_TRUE(a.tcgenEnabled);
    EXPECT_EQ(a.tcgenMode, GLenum(GL_SPHERE_MAP));
    EXPECT_EQ(a.combineRgb, GLenum(GL_ADD));
    // "(0.1," is the first word, so 0.2 is taken for x and y finds nothing.
    // "( 2.0 )" sets x only.
    const ShaderStage& b = s->stages[1];
    EXPECT_EQ((Floats{b.scrollSpeed.x, b.scrollSpeed.y, b.scale.x, b.scale.y}),
              (Floats{0.2f, 0, 2, 1}));
    EXPECT_FALSE(b.staticTransform);
    EXPECT_FALSE(b.tcgenEnabled);
}

TEST_F(ShaderFile, StageCountsOutsideTheRecordAreClampedAndLongNamesFit)
{
    for (auto [text, expected] : {std::pair<const char*, int>{"-1", 0},
                                  {"0", 0},
                                  {"32", 32},
                                  {"33", 32},
                                  {"100000", 32},
                                  {"lots", 1}})
    {
        engine->textureRequests.clear();
        std::unique_ptr<Shader> s(Load(std::string("[S]\nnbstages=") + text + "\n", "S"));
        EXPECT_EQ(s->stageCount, expected) << text;
        EXPECT_EQ(engine->textureRequests.size(), size_t(expected)) << text;
    }

    // A name that fills the 256-character record: the stage sections are
    // cut, and the shader still loads its defaults.
    std::string longName(300, 'n');
    Shader s(longName.c_str());
    EXPECT_EQ(strlen(s.name), 255u);
    WriteMaterialFiles(dir.path, "[" + std::string(255, 'n') + "]\nnbstages=32\nculling=false\n");
    s.Load(engine->shaderDefinitions);
    EXPECT_FALSE(s.culling);
    EXPECT_EQ(s.stageCount, 32);
}

// Each stage's own staticTransform decides: a static stage stays put
// whatever its speeds say, the animated ones run on unreduced.
TEST_F(ShaderFile, UpdateMovesOnlyAnimatedStages)
{
    std::unique_ptr<Shader> s(Load("[W]\nnbstages=2\n[W - TU0]\nscroll=( 0.5, 0.25 )\n", "W"));
    EXPECT_FALSE(s->stages[0].staticTransform);
    ASSERT_TRUE(s->stages[1].staticTransform);
    s->stages[0].scrollSpeed.z = 1;
    s->stages[1].rotationSpeed = 5;
    for (int i = 0; i < 400; ++i)
        s->Update();
    const Vec4& o = s->stages[0].scrollOffset;
    EXPECT_EQ((Floats{o.x, o.y, o.z, o.w}), (Floats{200, 100, 400, 0}));
    EXPECT_EQ(s->stages[1].rotationAngle, 0.0f);
}

TEST(VertexProgramText, TheErrorLineIsCutAtTheLineFeedTheEndOr255Characters)
{
    char out[256];
    const std::string text = "!!ARBvp1.0\r\nBAD line;\nEND";
    CopyErrorLine(text.data(), uint32_t(text.size()), 0, out);
    EXPECT_STREQ(out, "!!ARBvp1.0\r") << "a carriage return stays";
    CopyErrorLine(text.data(), uint32_t(text.size()), 12, out);
    EXPECT_STREQ(out, "BAD line;");
    CopyErrorLine(text.data(), uint32_t(text.size()), 11, out);
    EXPECT_STREQ(out, "") << "line feed right at the position";
    CopyErrorLine(text.data(), uint32_t(text.size()), 22, out);
    EXPECT_STREQ(out, "END");
    for (int32_t beyond : {25, 26, 1000, -2})
    {
        CopyErrorLine(text.data(), uint32_t(text.size()), beyond, out);
        EXPECT_STREQ(out, "") << beyond;
    }
    std::string longLine = "X" + std::string(1 << 20, 'y');
    CopyErrorLine(longLine.data(), uint32_t(longLine.size()), 0, out);
    EXPECT_EQ(strlen(out), 255u);
    EXPECT_EQ(out[0], 'X');
}

// A Targa as the engine's loader reads it: width, height, bytes a pixel and
// the pixels, rows in file order (bottom first).
struct Targa
{
    uint32_t width = 0, height = 0, bytes = 0;
    std::string pixels;
    // Alpha at x, y counted from the top.
    uint8_t Alpha(uint32_t x, uint32_t y) const
    {
        return uint8_t(pixels[((height - 1 - y) * width + x) * bytes + 3]);
    }
};

Targa ReadTarga(const std::string& path)
{
    std::string d = ReadText(path);
    Targa t;
    if (d.size() < 18 || d[2] != 2)
        return t;
    t.width = uint8_t(d[12]) | uint8_t(d[13]) << 8;
    t.height = uint8_t(d[14]) | uint8_t(d[15]) << 8;
    t.bytes = uint8_t(d[16]) / 8;
    t.pixels = d.substr(18);
    if (t.pixels.size() != size_t(t.width) * t.height * t.bytes)
        t.width = t.height = 0;
    return t;
}

TEST(FontTool, EveryPrintableGlyphHasInkInsideItsOwnCell)
{
    std::string generated = std::string(getenv("TESSIMO_BINARY_DIR")) + "/data/generated/";
    Targa font = ReadTarga(generated + "Font.tga");
    ASSERT_EQ(font.width, 256u);
    ASSERT_EQ(font.height, 256u);
    ASSERT_EQ(font.bytes, 4u);
    for (size_t i = 0; i < font.pixels.size(); i += 4)
        for (int c = 0; c < 3; ++c)
            ASSERT_LE(uint8_t(font.pixels[i + c]), 0x20) << "the ink is dark everywhere";

    // Cell i holds code 32 + i, read from the top left, 16 texels a side.
    for (uint32_t cell = 0; cell < 256; ++cell)
    {
        uint32_t x0 = cell % 16 * 16, y0 = cell / 16 * 16;
        uint32_t ink = 0, border = 0, lowerInk = 0;
        for (uint32_t y = 0; y < 16; ++y)
            for (uint32_t x = 0; x < 16; ++x)
            {
                uint8_t a = font.Alpha(x0 + x, y0 + y);
                ink += a != 0;
                lowerInk += a != 0 && y >= 8;
                border += a != 0 && (x == 0 || y == 0 || x == 15 || y == 15);
            }
        int code = int(cell) + 32;
        EXPECT_EQ(border, 0u) << "code " << code << " reaches the edge of its cell";
        if (code > 32 && code < 127)
            EXPECT_GT(ink, 3u) << "code " << code << " has no ink";
        else
            EXPECT_EQ(ink, 0u) << "code " << code << " should be blank";
        // The right way up: an underscore lies low in its cell, a caret high.
        if (code == '_')
        {
            EXPECT_EQ(lowerInk, ink);
        }
        if (code == '^')
        {
            EXPECT_EQ(lowerInk, 0u);
        }
    }

    Targa pattern = ReadTarga(generated + "Default.tga");
    ASSERT_GT(pattern.width, 0u);
    EXPECT_EQ(pattern.bytes, 3u);
    std::set<std::string> colours;
    for (size_t i = 0; i < pattern.pixels.size(); i += 3)
        colours.insert(pattern.pixels.substr(i, 3));
    EXPECT_EQ(colours, (std::set<std::string>{std::string("\xFF\x00\xFF", 3),
                                              std::string("\x00\x00\x00", 3)}));
}

} // namespace
