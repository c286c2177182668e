// The engine on a real GL context: textures, shaders, registries, vertex
// programs, screen text, the frame driver, probes, InitGL, 2D mode, debug
// lines, the render state cache; meshes drawn and read back, culling,
// shadows, the camera, model files and tessimo-import's output.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <set>
#include <sstream>

#include "app/format_string.h"
#include "app/gl_entry_points.h"
#include "app/gl_setup.h"
#include "app/input.h"
#include "app/window.h"
#include "archive/rar_writer.h"
#include "console/console.h"
#include "demo/hatching_demo.h"
#include "engine/engine.h"
#include "hatching/tonal_art_map.h"
#include "platform/counter.h"
#include "platform/keys.h"
#include "platform/messages.h"
#include "resources/registries.h"
#include "resources/render_state_cache.h"
#include "resources/screen_font.h"
#include "resources/shader.h"
#include "resources/texture.h"
#include "resources/vertex_array_pool.h"
#include "resources/vertex_program.h"
#include "scene/camera.h"
#include "scene/frustum.h"
#include "scene/light.h"
#include "scene/mesh_set.h"
#include "support/files.h"
#include "support/gl_context.h"
#include "support/gl_query.h"
#include "support/material_files.h"
#include "support/model_file.h"
#include "support/process.h"
#include "support/report_capture.h"

namespace
{

using namespace testsupport;

GLint Parameter(GLenum name)
{
    GLint v = 0;
    return glGetTexParameteriv(GL_TEXTURE_2D, name, &v), v;
}
// Blue-green-red(-alpha) as red-green-blue(-alpha).
Bytes Swapped(Bytes pixels, size_t bytesPerPixel)
{
    for (size_t i = 0; i + 2 < pixels.size(); i += bytesPerPixel)
        std::swap(pixels[i], pixels[i + 2]);
    return pixels;
}
// `t` bound: its internal format, level count, filters and wraps.
std::vector<GLint> TextureState(Texture& t)
{
    GLint levels = 0;
    for (t.Bind(); levels < 20 && Integer(GL_TEXTURE_WIDTH, levels) > 0;)
        ++levels;
    return {Integer(GL_TEXTURE_INTERNAL_FORMAT, 0), levels,
            Parameter(GL_TEXTURE_MAG_FILTER),       Parameter(GL_TEXTURE_MIN_FILTER),
            Parameter(GL_TEXTURE_WRAP_S),           Parameter(GL_TEXTURE_WRAP_T)};
}
// Level 0 of `t`, tight rows, the first row first.
Bytes Pixels(Texture& t, GLenum format)
{
    t.Bind();
    Bytes out(size_t(Integer(GL_TEXTURE_WIDTH, 0)) * Integer(GL_TEXTURE_HEIGHT, 0) *
              (format == GL_RGBA ? 4 : 3));
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, 0, format, GL_UNSIGNED_BYTE, out.data());
    return out;
}
const char* const kDefinitions =
    "[Font]\nnbstages=0\n[Less]\nculling=false\nccw=false\nnbstages=0\n[NoDepth]\n"
    "depthtest=false\nculling=false\nnbstages=0\n[Glass]\nccw=false\ndepthfunc=GL_GREATER\n"
    "depthmask=false\nblending=true\nblendsrc=GL_SRC_ALPHA\nblenddst=GL_ONE_MINUS_SRC_ALPHA\n"
    "nbstages=2\n[Glass - TU0]\nmap=tga\\a.tga\nmin_filter=GL_NEAREST\nscroll=( 0.25, 0.5 )\n"
    "combine_rgb=GL_ADD\nsource_rgb1=GL_PRIMARY_COLOR\nrgb_scale=2.0\nalpha_scale=4.0\n"
    "[Glass - TU1]\nmap=tga\\b.tga\nrotation=10\nscale=( 2.0, 3.0 )\ntcgen=GL_SPHERE_MAP\n"
    "[Twin]\nnbstages=1\n[Twin - TU0]\nmap=tga\\a.tga\nmin_filter=GL_LINEAR\n";

// A fresh context and folder (the log) per test; Start starts an engine.
class EngineGl : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(context.created && !dir.path.empty()); }
    void TearDown() override
    {
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
        delete engine;
        g_engine = nullptr;
        ClearMessageQueue();
    }
    std::string Log() { return ReadText("tessimo2.log").substr(logStart); }
    void Start(const std::string& definitions = kDefinitions, Engine* started = nullptr)
    {
        WriteMaterialFiles(dir.path, definitions);
        auto pattern = [](uint32_t x, uint32_t y, uint8_t p[4])
        { p[0] = uint8_t(x * 30), p[1] = uint8_t(y * 30), p[2] = 90; };
        WriteTarga(dir.path + "/tga/a.tga", 8, 8, 24, pattern);
        WriteTarga(dir.path + "/tga/b.tga", 8, 8, 32, pattern);
        InitGL();
        g_engine = engine = started ? started : new Engine;
        ASSERT_TRUE(engine->Init());
    }
    // For the scene: the demo's 1 MiB vertex pool in main memory, a 64 by 64
    // corner, identity matrices, black paper.
    void StartScene()
    {
        Start();
        engine->vertexPool->Init(0x100000, 0, 32, 0.0f, 0.0f);
        Corner();
    }
    static void Corner()
    {
        glViewport(0, 0, 64, 64);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    }
    std::vector<std::string> NewLines() // the console lines printed since the last call
    {
        auto* console = static_cast<Console*>(engine->console);
        std::vector<std::string> lines;
        for (; seen < console->HeldLines(); ++seen)
            lines.push_back(console->Line(seen));
        return lines;
    }
    TempDir dir;
    GlContext context{256, 256};
    size_t logStart = ReadText("tessimo2.log").size(); // after the window's lines
    ReportCapture boxes;
    Engine* engine = nullptr;
    uint32_t seen = 0;
};

// Targas: filters, format, full chain, file-order pixels past an id field,
// sizes GLU rescales; reload from disk or an enciphered archive; refusals log.
TEST_F(EngineGl, ImagesUploadReloadOrAreRefused)
{
    Bytes bgr(2 * 8 * 3), bgra(16 * 4 * 4), pixels(4 * 4 * 4), archive;
    for (Bytes* ramp : {&bgr, &bgra, &pixels})
        std::iota(ramp->begin(), ramp->end(), uint8_t(7));
    WriteFile("a.tga", MakeTarga(2, 8, 24, bgr, 2, 0, 0x20));
    WriteFile("b.tga", MakeTarga(16, 4, 32, bgra));
    WriteFile("c.tga", MakeTarga(300, 20, 24, Bytes(300 * 20 * 3, 40)));
    WriteFile("d.tga", MakeTarga(2, 1, 24, {0xAA, 0xBB, 1, 2, 3, 4, 5, 6}, 2, 2));
    Texture a, b, c, d, packed, wrong, bmp;
    a.magFilter = GL_NEAREST, a.minFilter = GL_NEAREST_MIPMAP_LINEAR;
    a.wrapS = GL_CLAMP_TO_EDGE, a.wrapT = GL_MIRRORED_REPEAT;
    snprintf(b.name, sizeof b.name, "hatch");
    ASSERT_TRUE(a.LoadTarga("a.tga", "", nullptr) && b.LoadTarga("b.tga", "", "") &&
                c.LoadTarga("c.tga", "", nullptr) && d.LoadTarga("d.tga", "", nullptr));
    EXPECT_EQ((std::vector<uint32_t>{a.width, a.height, b.width, b.height, c.width, c.height,
                                     a.hasAlpha, b.hasAlpha}),
              (std::vector<uint32_t>{2, 8, 16, 4, 300, 20, 0, 1}));
    EXPECT_EQ(std::string(a.name) + " " + b.name + " " + b.path, "a.tga hatch b.tga");
    EXPECT_EQ(TextureState(a), (std::vector<GLint>{GL_RGB, 4, GL_NEAREST, GL_NEAREST_MIPMAP_LINEAR,
                                                   GL_CLAMP_TO_EDGE, GL_MIRRORED_REPEAT}));
    EXPECT_TRUE(Pixels(a, GL_RGB) == Swapped(bgr, 3) && Integer(GL_UNPACK_ALIGNMENT) == 4);
    EXPECT_EQ(TextureState(b), (std::vector<GLint>{GL_RGBA8, 5, GL_LINEAR, GL_LINEAR_MIPMAP_NEAREST,
                                                   GL_REPEAT, GL_REPEAT}));
    EXPECT_EQ(Pixels(b, GL_RGBA), Swapped(bgra, 4));
    EXPECT_EQ(Pixels(c, GL_RGB), Bytes(256 * 16 * 3, 40));
    EXPECT_EQ(Integer(GL_TEXTURE_WIDTH, 0) * 1000 + Integer(GL_TEXTURE_HEIGHT, 0), 256016);
    EXPECT_EQ(Pixels(d, GL_RGB), (Bytes{1, 0xBB, 0xAA, 4, 3, 2}));
    EXPECT_EQ(Log(), "");

    Bytes tga = MakeTarga(16, 4, 32, bgra);
    RarWriterEntry entry{"tga\\wood.tga", tga.data(), uint32_t(tga.size())};
    RarWriterOptions options;
    options.password = "pen and ink";
    ASSERT_TRUE(RarWriteArchive(&entry, 1, options, &archive, nullptr));
    WriteFile("data.rar", archive);
    ASSERT_TRUE(packed.LoadTarga("tga\\wood.tga", "data.rar", "pen and ink"));
    EXPECT_FALSE(wrong.LoadTarga("tga\\wood.tga", "data.rar", "pen and paper"));
    uint32_t first = a.id;
    ASSERT_TRUE(a.Reload("", nullptr) && packed.Reload("data.rar", "pen and ink"));
    EXPECT_FALSE(glIsTexture(first) && first != a.id);
    EXPECT_EQ(Pixels(a, GL_RGB), Swapped(bgr, 3));
    EXPECT_EQ(Parameter(GL_TEXTURE_MIN_FILTER), GL_NEAREST_MIPMAP_LINEAR);
    EXPECT_TRUE(Pixels(packed, GL_RGBA) == Swapped(bgra, 4) &&
                std::string(packed.path) == "tga\\wood.tga");
    unlink("a.tga");
    EXPECT_FALSE(a.Reload("", nullptr)); // no image any more
    EXPECT_TRUE(Pixels(a, GL_RGB).empty() && std::string(a.name) == "a.tga");
    WriteFile("b.bmp", WriteBmp(MakePicture(4, 4, 0), BmpOptions{}));
    EXPECT_TRUE(bmp.LoadBmp("b.bmp") && !bmp.Reload("", nullptr) && bmp.id);
    EXPECT_EQ(Log(), "## cannot open file <tga\\wood.tga> ##\n## cannot open file <a.tga> ##\n");

    const std::pair<const char*, Bytes> refused[] = {
        {"rle.tga", MakeTarga(4, 4, 24, pixels, 10)},
        {"mapped.tga", MakeTarga(4, 4, 24, pixels, 1)},
        {"16.tga", MakeTarga(4, 4, 16, pixels)},
        {"zero.tga", MakeTarga(4, 0, 24, pixels)},
        {"short.tga", MakeTarga(4, 4, 32, Bytes(pixels.begin(), pixels.end() - 1))},
        {"empty.tga", {}},
        {"header.tga", Bytes(17, 2)},
        {"huge.tga", MakeTarga(65535, 65535, 32, pixels)},
        {"missing.tga", {}}};
    std::string expected = Log();
    for (const auto& [file, bytes] : refused)
    {
        if (strcmp(file, "missing.tga"))
            WriteFile(file, bytes);
        Texture t;
        EXPECT_TRUE(!t.LoadTarga(file, "", nullptr) && t.id == 0 && t.name[0] == 0) << file;
        expected += std::string("## cannot open file <") + file + "> ##\n";
    }
    EXPECT_TRUE(Log() == expected && boxes.boxes.empty()) << Log();

    // Bitmaps bottom row first, alpha from a second one's red; failures box.
    Picture colour = MakePicture(8, 4, 256), alpha = MakePicture(8, 4, 0);
    BmpOptions indexed{8}, bare;
    indexed.topDown = true, bare.fileHeader = false, bare.headerSize = 12;
    WriteFile("colour.bmp", WriteBmp(colour, indexed));
    WriteFile("alpha.bmp", WriteBmp(alpha, bare));
    Texture t, alphaMapped, f;
    ASSERT_TRUE(t.LoadBmp("colour.bmp") && alphaMapped.LoadBmpWithAlpha("colour.bmp", "alpha.bmp"));
    EXPECT_EQ(std::to_string(t.width) + t.name + "|" + t.path + std::to_string(t.hasAlpha) +
                  std::to_string(alphaMapped.hasAlpha) + alphaMapped.name,
              "8colour.bmp|01colour.bmp");
    EXPECT_EQ(TextureState(t), (std::vector<GLint>{GL_RGB8, 4, GL_LINEAR, GL_LINEAR_MIPMAP_NEAREST,
                                                   GL_REPEAT, GL_REPEAT}));
    EXPECT_EQ(Pixels(t, GL_RGB), colour.rgb);
    Bytes rgba;
    for (size_t i = 0; i < 8 * 4; ++i)
        rgba.insert(rgba.end(), {colour.rgb[3 * i], colour.rgb[3 * i + 1], colour.rgb[3 * i + 2],
                                 alpha.rgb[3 * i]});
    EXPECT_TRUE(Pixels(alphaMapped, GL_RGBA) == rgba &&
                Integer(GL_TEXTURE_INTERNAL_FORMAT, 0) == GL_RGBA8);
    EXPECT_TRUE(boxes.boxes.empty());

    WriteFile("text.bmp", std::string("not an image"));
    Bytes cut = WriteBmp(MakePicture(8, 4, 0), BmpOptions{});
    WriteFile("cut.bmp", Bytes(cut.begin(), cut.end() - 20));
    WriteFile("small.bmp", WriteBmp(MakePicture(4, 4, 0), BmpOptions{}));
    EXPECT_FALSE(f.LoadBmp("nothere.bmp") || f.LoadBmp("text.bmp") || f.LoadBmp("cut.bmp") ||
                 f.LoadBmpWithAlpha("colour.bmp", "small.bmp") ||
                 f.LoadBmpWithAlpha("colour.bmp", "nothere.bmp") ||
                 f.LoadBmpWithAlpha("nothere.bmp", "small.bmp"));
    EXPECT_TRUE(f.id == 0 && f.name[0] == 0 && f.width == 0 && !f.hasAlpha);
    std::string shown;
    for (const CapturedBox& box : boxes.boxes)
        shown += box.caption + ": " + box.text + "|";
    const std::string missing = "Error: Failed to open DIB file nothere.bmp.\n|",
                      conversion = "Error: Image file conversion error.|";
    EXPECT_EQ(shown, missing + "Error: Unknown DIB file format.|" + conversion + conversion +
                         missing + missing);
    EXPECT_EQ(Log(), expected);
}

// Unit `unit`: binding, 2D, gen S/T and mode, env mode, combine RGB,
// sources 0/1 RGB, operand 1 alpha, combine alpha, scales; its matrix.
struct Unit
{
    std::vector<GLint> state;
    std::vector<float> matrix = std::vector<float>(16);
};
Unit ReadUnit(uint32_t unit)
{
    glActiveTextureARB(GL_TEXTURE0_ARB + unit);
    Unit u{{Integer(GL_TEXTURE_BINDING_2D), glIsEnabled(GL_TEXTURE_2D),
            glIsEnabled(GL_TEXTURE_GEN_S), glIsEnabled(GL_TEXTURE_GEN_T), 0}};
    glGetTexGeniv(GL_T, GL_TEXTURE_GEN_MODE, &u.state[4]);
    for (GLenum name : {GL_TEXTURE_ENV_MODE, GL_COMBINE_RGB, GL_SOURCE0_RGB, GL_SOURCE1_RGB,
                        GL_OPERAND1_ALPHA, GL_COMBINE_ALPHA, GL_RGB_SCALE, GL_ALPHA_SCALE})
        u.state.push_back(0), glGetTexEnviv(GL_TEXTURE_ENV, name, &u.state.back());
    glGetFloatv(GL_TEXTURE_MATRIX, u.matrix.data());
    glActiveTextureARB(g_engine->renderState.activeTextureUnit);
    return u;
}

// Apply sends only what the cache lacks; unapply turns targets off; ticks
// move scroll and rotation; no depth test ignores the mask. Registries share
// maps, take late files, reload, and let go of what they delete in use.
TEST_F(EngineGl, ShadersReachTheGlStateAndRegistriesLetGoOfWhatTheyDelete)
{
    Start();
    Shader *less = engine->AddShader("Less"), *glass = engine->AddShader("Glass");
    ASSERT_TRUE(glass->stages[0].texture && glass->stages[1].texture);
    engine->SetShader(less);
    EXPECT_EQ((std::vector<GLint>{Integer(GL_DEPTH_FUNC), glIsEnabled(GL_TEXTURE_2D),
                                  Integer(GL_FRONT_FACE), glIsEnabled(GL_CULL_FACE)}),
              (std::vector<GLint>{GL_LEQUAL, 1, GL_CCW, 0}));
    engine->SetShader(glass);
    EXPECT_EQ((std::vector<GLint>{
                  glIsEnabled(GL_CULL_FACE), glIsEnabled(GL_BLEND), Integer(GL_FRONT_FACE),
                  Integer(GL_DEPTH_FUNC), Integer(GL_DEPTH_WRITEMASK), Integer(GL_BLEND_SRC),
                  Integer(GL_BLEND_DST), Integer(GL_ACTIVE_TEXTURE), Integer(GL_MATRIX_MODE)}),
              (std::vector<GLint>{1, 1, GL_CW, GL_GREATER, GL_FALSE, GL_SRC_ALPHA,
                                  GL_ONE_MINUS_SRC_ALPHA, GL_TEXTURE1, GL_MODELVIEW}));
    Unit u0 = ReadUnit(0), u1 = ReadUnit(1);
    GLint id0 = glass->stages[0].texture->id, id1 = glass->stages[1].texture->id;
    EXPECT_EQ(u0.state,
              (std::vector<GLint>{id0, 1, 0, 0, GL_EYE_LINEAR, GL_COMBINE, GL_ADD, GL_TEXTURE,
                                  GL_PRIMARY_COLOR, GL_SRC_ALPHA, GL_MODULATE, 2, 4}));
    EXPECT_EQ(u1.state,
              (std::vector<GLint>{id1, 1, 1, 1, GL_SPHERE_MAP, GL_COMBINE, GL_MODULATE, GL_TEXTURE,
                                  GL_PREVIOUS, GL_SRC_ALPHA, GL_MODULATE, 1, 1}));
    EXPECT_EQ((std::vector<float>{u0.matrix[12], u1.matrix[0], u1.matrix[5]}),
              (std::vector<float>{0, 2, 3}));

    engine->SetShader(nullptr);
    EXPECT_TRUE(glIsEnabled(GL_BLEND) && glIsEnabled(GL_CULL_FACE) && ReadUnit(1).state[2]);
    EXPECT_FALSE(ReadUnit(0).state[1] || ReadUnit(1).state[1] ||
                 engine->renderState.unitTextureEnabled[0] ||
                 engine->renderState.unitTextureEnabled[1]);
    for (int i = 0; i < 3; ++i)
        engine->UpdateShaders();
    engine->SetShader(glass), u0 = ReadUnit(0), u1 = ReadUnit(1);
    const float c = std::cos(float(M_PI) / 6), s = std::sin(float(M_PI) / 6);
    const float expected[8] = {0.75f, 1.5f, 1, 0, 2 * c, 2 * s, -3 * s, 3 * c};
    const float got[8] = {u0.matrix[12], u0.matrix[13], u0.matrix[0], u1.matrix[12],
                          u1.matrix[0],  u1.matrix[1],  u1.matrix[4], u1.matrix[5]};
    for (int i = 0; i < 8; ++i)
        EXPECT_NEAR(got[i], expected[i], 1e-5) << i;
    engine->SetShader(engine->AddShader("NoDepth"));
    EXPECT_TRUE(!glIsEnabled(GL_DEPTH_TEST) && Integer(GL_DEPTH_WRITEMASK) == GL_FALSE);

    // Shared maps, late files, reload, and deletion letting go of what is in use.
    Shader* twin = engine->AddShader("Twin");
    Texture* a = glass->stages[0].texture;
    ASSERT_TRUE(a && twin->stages[0].texture == a && engine->AddShader("Twin") == twin);
    a->Bind();
    EXPECT_EQ(Parameter(GL_TEXTURE_MIN_FILTER), GL_NEAREST);
    EXPECT_EQ(engine->AddTexture("tga\\a.tga", GL_CLAMP, GL_CLAMP, GL_LINEAR, GL_LINEAR), a);
    auto late = [&]
    { return engine->AddTexture("tga\\late.tga", GL_REPEAT, GL_REPEAT, GL_LINEAR, GL_LINEAR); };
    EXPECT_EQ(late(), nullptr);
    WriteTarga(dir.path + "/tga/late.tga", 4, 4, 24, [](uint32_t, uint32_t, uint8_t*) {});
    EXPECT_NE(late(), nullptr);

    engine->SetShader(glass), engine->UpdateShaders();
    std::string edited = kDefinitions;
    edited.replace(edited.find("blending=true"), 13, "blending=false");
    WriteFile(dir.path + "/ini/Shaders.ini", edited);
    EXPECT_EQ(engine->ReloadShaders(), 5); // Font, Less, Glass, NoDepth, Twin
    EXPECT_TRUE(!glass->blending && glass->stages[0].scrollOffset.x == 0.0f);
    engine->SetShader(glass);
    EXPECT_TRUE(glIsEnabled(GL_BLEND)) << "the current shader isn't applied anew";
    Shader* unknown = engine->AddShader("Nowhere");
    ASSERT_TRUE(unknown && !unknown->stages[0].texture);
    engine->SetShader(unknown);
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));

    std::vector<std::pair<ResourceKind, void*>> heard;
    auto listener = [](ResourceEvent event, ResourceKind kind, void* object, void* user)
    {
        if (event == ResourceEvent::Released)
            static_cast<decltype(heard)*>(user)->push_back({kind, object});
    };
    ASSERT_TRUE(AddResourceListener(listener, &heard));
    engine->SetShader(glass), engine->SetTexture(a), engine->DeleteTextureByName("tga\\a.tga");
    EXPECT_TRUE(!glass->stages[0].texture && !twin->stages[0].texture && !engine->currentTexture);
    engine->DeleteShaderByName("Glass");
    EXPECT_TRUE(!engine->currentShader && !engine->FindShader("Glass") && !ReadUnit(1).state[1]);
    Shader* font = engine->font->shader;
    engine->DeleteShaderByName("Font");
    EXPECT_EQ(engine->font->shader, nullptr);
    engine->font->Print(0, 20, "x");
    EXPECT_TRUE(engine->font->shader && engine->FindShader("Font") == engine->font->shader);
    RemoveResourceListener(listener, &heard);
    ASSERT_EQ(heard.size(), 3u);
    EXPECT_EQ(heard[0], std::make_pair(ResourceKind::Texture, static_cast<void*>(a)));
    EXPECT_EQ(heard[2], std::make_pair(ResourceKind::Shader, static_cast<void*>(font)));
    EXPECT_EQ(engine->DeleteAllTextures() * 10 + engine->DeleteAllShaders(), 25);
}

// Each probe's flag and console line match the driver's whole-word list.
// Console lines for a vertex program's compile and each rejection (line cut
// at the feed or 255); reload keeps the GL name and, if the file has gone,
// the program. Anisotropic filtering as a stage asks for it.
TEST_F(EngineGl, ProbesAndVertexProgramsReportAndKeepTheirLastProgram)
{
    Start(std::string(kDefinitions) + "[Inked]\nnbstages=0\nvertex_program=vp\\ok.vp\n[Sharp]\n"
                                      "[Sharp - TU0]\nmap=tga\\b.tga\nanisotropy=4\n[Sharpest]\n"
                                      "[Sharpest - TU0]\nanisotropy=1000\n");
    std::istringstream in(reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS)));
    std::set<std::string> words{std::istream_iterator<std::string>(in), {}};
    EXPECT_TRUE(boxes.boxes.empty()); // and in the log nothing after InitGL's listing
    EXPECT_EQ(Lines(Log()).back().rfind("    + listing all extensions : ", 0), 0u) << Log();
    const Capabilities& c = engine->capabilities;
    using C = Capabilities;
    // The flag, the extension or its alternative, the line "> ... supported".
    const std::tuple<bool C::*, const char*, const char*, const char*> probes[] = {
        {&C::hasMultitexture, "GL_ARB_multitexture", "", "multitexturing"},
        {&C::hasEdgeClamp, "GL_SGIS_texture_edge_clamp", "GL_EXT_texture_edge_clamp",
         "texture egde clamping"},
        {&C::hasCompiledVertexArray, "GL_EXT_compiled_vertex_array", "", "compiled vertex array"},
        {&C::hasVertexArrayRange, "GL_NV_vertex_array_range", "", "vertex array range extension"},
        {&C::hasVertexArrayRange2, "GL_NV_vertex_array_range2", "",
         "vertex array range 2 extension"},
        {&C::hasRegisterCombiners, "GL_NV_register_combiners", "", "register combiners extension"},
        {&C::hasTransposeMatrix, "GL_ARB_transpose_matrix", "", "transpose matrix extension"},
        {&C::hasTexEnvCombine, "GL_ARB_texture_env_combine", "GL_EXT_texture_env_combine",
         "texture environment combine extension"},
        {&C::hasTexEnvDot3, "GL_ARB_texture_env_dot3", "", "dotproduct3 texture extension"},
        {&C::hasGenerateMipmap, "GL_SGIS_generate_mipmap", "", "sgis generate mimap extension"},
        {&C::hasVertexProgram, "GL_ARB_vertex_program", "", "arb vertex program"},
        {&C::hasTexture3D, "GL_EXT_texture3D", "", "3d texture"}};
    std::string expected, lines;
    for (size_t i = 0; i < std::size(probes); ++i)
    {
        const auto& [flag, name, other, line] = probes[i];
        EXPECT_EQ(c.*flag, words.count(name) + words.count(other) > 0) << name;
        if (c.*flag)
            expected += "> " + std::string(line) + " supported\n";
        if (c.*flag && (i == 0 || i == 5))
            expected += "  " + std::to_string(i ? c.maxGeneralCombiners : c.maxTextureUnits) +
                        (i ? " max general combiners\n" : " texture unit\n");
    }
    for (const std::string& line : NewLines())
        lines += line + "\n";
    EXPECT_EQ(lines, expected);
    const ProgramLimits& limits = engine->programLimits;
    EXPECT_EQ(
        (std::vector<int>{c.maxTextureUnits, limits.maxVertexAttribs}),
        (std::vector<int>{Integer(GL_MAX_TEXTURE_UNITS_ARB), Integer(GL_MAX_VERTEX_ATTRIBS_ARB)}));
    EXPECT_TRUE(limits.maxProgramInstructions > 0 && limits.maxProgramEnvParameters > 0 &&
                limits.maxProgramMatrices > 0);
    EXPECT_EQ((std::vector<bool>{
                  ExtensionListContains("GL_NV_vertex_array_range2 GL_B ", "GL_B"),
                  ExtensionListContains("GL_NV_vertex_array_range2", "GL_NV_vertex_array_range"),
                  ExtensionListContains("GL_A gl_b", "GL_B"), ExtensionListContains("", "GL_A")}),
              (std::vector<bool>{true, false, false, false}));
    ASSERT_TRUE(engine->capabilities.hasVertexProgram);
    WriteFile(dir.path + "/vp/ok.vp",
              std::string("!!ARBvp1.0\nMOV result.position, vertex.position;\nEND\n"));
    Shader* inked = engine->AddShader("Inked");
    VertexProgram* program = engine->FindVertexProgram("vp\\ok.vp");
    ASSERT_TRUE(program && inked->vertexProgram == program);
    EXPECT_EQ(NewLines(), std::vector<std::string>{
                              "> 'vp\\ok.vp' vertex program loaded and compiled successfully"});
    engine->SetShader(inked);
    EXPECT_TRUE(glIsEnabled(GL_VERTEX_PROGRAM_ARB) && engine->currentVertexProgram == program);
    engine->SetShader(engine->AddShader("Less"));
    EXPECT_FALSE(glIsEnabled(GL_VERTEX_PROGRAM_ARB));

    const std::string bad[] = {
        "MOV\n!!ARBvp1.0\nEND\n",
        "!!ARBvp1.0\nMOV result.position, vertex.position;\nBOGUS r0;\nEND\n",
        "!!ARBvp1.0\nBOGUS" + std::string(300, 'x') + "\nEND\n",
        "!!ARBvp1.0 " + std::string(1 << 20, 'y'), ""};
    for (size_t i = 0; i < std::size(bad); ++i)
    {
        std::string name = "vp\\bad" + std::to_string(i) + ".vp";
        WriteFile(dir.path + "/vp/bad" + std::to_string(i) + ".vp", bad[i]);
        VertexProgram* p = engine->AddVertexProgram(name.c_str());
        int position = Integer(GL_PROGRAM_ERROR_POSITION_ARB);
        ASSERT_GE(position, 0);
        std::string rest = bad[i].substr(std::min<size_t>(position, bad[i].size()));
        rest = rest.substr(0, std::min<size_t>(rest.find('\n'), 255));
        std::string message = (const char*)glGetString(GL_PROGRAM_ERROR_STRING_ARB);
        EXPECT_EQ(NewLines(),
                  (std::vector<std::string>{"> error when compilating vertex program '" + name +
                                                "' at character " + std::to_string(position),
                                            "  '" + rest + "' : " + message}));
        EXPECT_EQ(engine->FindVertexProgram(name.c_str()), p) << "listed all the same";
    }

    auto programText = [&]
    {
        GLint length = 0;
        glBindProgramARB(GL_VERTEX_PROGRAM_ARB, program->id);
        glGetProgramivARB(GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_LENGTH_ARB, &length);
        std::string text(size_t(length), '\0');
        glGetProgramStringARB(GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_STRING_ARB, &text[0]);
        return text;
    };
    uint32_t id = program->id;
    const std::string better = "!!ARBvp1.0\nMOV result.position, vertex.normal;\nEND\n";
    WriteFile(dir.path + "/vp/ok.vp", better);
    EXPECT_TRUE(program->Reload() && program->id == id && programText() == better);
    std::filesystem::remove(dir.path + "/vp/ok.vp");
    EXPECT_EQ(engine->ReloadVertexPrograms(), 6);
    EXPECT_TRUE(!program->Reload() && programText() == better);
    engine->SetShader(inked), engine->DeleteVertexProgramByName("vp\\ok.vp");
    EXPECT_TRUE(!inked->vertexProgram && !inked->hasVertexProgram && !engine->currentVertexProgram);
    EXPECT_FALSE(glIsEnabled(GL_VERTEX_PROGRAM_ARB));
    while (glGetError() != GL_NO_ERROR) // the rejections above leave theirs
        continue;

    // "anisotropy" above 1 gives the stage's texture the degree (clamped)
    // once; `apply` applies a shader afresh, keeps the degree of `t`, then
    // sets it to `set` where given.
    if (!engine->capabilities.hasAnisotropicFilter)
        GTEST_SKIP() << "the driver has no GL_EXT_texture_filter_anisotropic";
    WriteTarga(dir.path + "/tga/Default.tga", 4, 4, 24, [](uint32_t, uint32_t, uint8_t*) {});
    GLfloat driverMax = 0;
    glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &driverMax);
    ASSERT_TRUE(engine->capabilities.maxAnisotropy == driverMax && driverMax >= 4.0f);
    std::vector<GLfloat> degrees;
    auto apply = [&](Shader* shader, Texture* t, GLfloat set = 0)
    {
        engine->SetShader(nullptr), engine->SetShader(shader);
        glBindTexture(t->target, t->id);
        degrees.push_back(0);
        glGetTexParameterfv(t->target, GL_TEXTURE_MAX_ANISOTROPY_EXT, &degrees.back());
        if (set)
            glTexParameterf(t->target, GL_TEXTURE_MAX_ANISOTROPY_EXT, set);
    };
    Shader *twin = engine->AddShader("Twin"), *sharp = engine->AddShader("Sharp"),
           *sharpest = engine->AddShader("Sharpest");
    Texture *a = twin->stages[0].texture, *b = sharp->stages[0].texture;
    ASSERT_TRUE(a && b && sharpest->stages[0].texture);
    apply(twin, a, 3), apply(twin, a), apply(sharp, b, 2), apply(sharp, b);
    TonalArtMap volume;
    volume.Build(16, 4, 1, 1);
    sharp->stages[0].texture = &volume;
    apply(sharp, &volume), apply(sharp, b);
    engine->ReloadShaders();
    apply(sharp, b), apply(sharpest, sharpest->stages[0].texture);
    engine->capabilities.hasAnisotropicFilter = false;
    sharpest->stages[0].texture = a;
    apply(sharpest, a);
    EXPECT_EQ(degrees, (std::vector<GLfloat>{1, 3, 4, 2, 4, 2, 4, driverMax, 3}));
}

// Each cell names itself in colour (red column, green row); "0" is cell
// (0, 1), each quad starts 7 pixels on and covers the one before.
TEST_F(EngineGl, PrintDrawsEachCharacterFromItsCell)
{
    WriteTarga(dir.path + "/tga/cells.tga", 256, 256, 32,
               [](uint32_t x, uint32_t y, uint8_t p[4])
               { p[0] = uint8_t(x / 16 * 16 + 8), p[1] = uint8_t(y / 16 * 16 + 8), p[2] = 200; });
    Start("[Font]\nculling=false\ndepthtest=false\nnbstages=1\n[Font - TU0]\nmap=tga\\cells.tga\n"
          "mag_filter=GL_NEAREST\nmin_filter=GL_NEAREST\nwrap_u=GL_CLAMP_TO_EDGE\n"
          "wrap_v=GL_CLAMP_TO_EDGE\n");
    ScreenFont* font = engine->font;
    engine->SetShader(nullptr), font->Print(0, 0, nullptr);
    EXPECT_EQ(engine->currentShader, nullptr) << "a null format binds nothing";
    const char* empty = "";
    font->Print(0, 0, empty);
    EXPECT_TRUE(font->shader && engine->currentShader == font->shader);
    glClearColor(0, 0, 0, 0), glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    engine->Begin2D(256, 256), glColor4f(1, 1, 1, 1);
    font->Print(20, 40, "0"), font->Print(20, 80, "A B"), engine->End2D();
    const int probes[][5] = {{21, 29, 0, 1, 200}, {31, 39, 0, 1, 200}, {33, 34, 0, 0, 0},
                             {26, 27, 0, 0, 0},   {22, 74, 1, 2, 200}, {30, 74, 0, 0, 200},
                             {44, 74, 2, 2, 200}};
    for (const auto& p : probes)
    {
        GLubyte c[4] = {};
        glReadPixels(p[0], 255 - p[1], 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, c);
        EXPECT_EQ((std::vector<int>{(c[0] - 8) / 16, (c[1] - 8) / 16, c[2]}),
                  (std::vector<int>{p[2], p[3], p[4]}))
            << p[0] << "," << p[1];
    }
}

// Counts the ticks of each frame; each may take `tickCounts` on the counter.
class CountingEngine : public Engine
{
public:
    CountingEngine() { stats.stepTimer.Reset(), stats.statsTimer.Reset(); } // as Init ends
    void Update() override
    {
        ++updates;
        if (clock)
            SetManualCounter(*clock += tickCounts);
    }
    // Runs one frame `counts` after the last one and returns its tick count.
    int FrameAfter(int64_t& now, int64_t counts)
    {
        SetManualCounter(now += counts), updates = 0;
        Frame(), EndFrame();
        return updates;
    }
    int updates = 0;
    int64_t* clock = nullptr;
    int64_t tickCounts = 0;
};

constexpr int64_t kFrequency = 1200; // 1/120 s is a whole number of counts

// The frame driver: ticks at 120 frames a second, the rate from frame 121,
// stalls and carried remainders, a backlog; then the update and render
// percentages. InitGL sets each state it owns; height 0 takes 1; 2D is
// y-down, unlit. Debug lines reset the cache's state and draw white; Escape
// stops the demo (no EndFrame: the render time stays); its rate in single
// precision. The render state cache sends a change only where its mirror
// differs.
TEST_F(EngineGl, TheFrameDriverInitGLDebugLinesTheDemosEndAndTheCache)
{
    int64_t now = 1000 * kFrequency; // a machine that has run for a while
    UseManualCounter(kFrequency, now, 0);
    CountingEngine driver;
    EXPECT_EQ(driver.FrameAfter(now, 0), 0);
    EXPECT_EQ(
        (std::vector<int>{driver.GetFps(), driver.stats.updatePercent, driver.stats.renderPercent}),
        (std::vector<int>{1, 0, 0}));
    std::vector<int> ticks, fps;
    for (int i = 0; i < 221; ++i)
        ticks.push_back(driver.FrameAfter(now, kFrequency / 120)), fps.push_back(driver.GetFps());
    for (size_t i = 4; i + 1 < 120; ++i)
        EXPECT_EQ(ticks[i] + ticks[i + 1], 1) << i;
    EXPECT_LE(*std::max_element(ticks.begin(), ticks.begin() + 4), 1);
    EXPECT_EQ((std::vector<int>{fps[119], fps[120], fps[220]}), (std::vector<int>{1, 121, 121}));
    std::vector<int> counts;
    for (int64_t f : {kFrequency, int64_t(12), int64_t(12), kFrequency, kFrequency - 1, kFrequency,
                      5 * kFrequency, kFrequency})
        counts.push_back(driver.FrameAfter(now, f));
    EXPECT_EQ(counts, (std::vector<int>{0, 0, 1, 0, 59, 0, 0, 0}));
    // 2 counts a tick; half of each 1/10 s frame drawing; published by frame 11.
    UseManualCounter(kFrequency, now = 50 * kFrequency, 0);
    CountingEngine timed;
    timed.FrameAfter(now, 0), timed.clock = &now, timed.tickCounts = 2;
    int ticksBefore = 0, publishedAt = -1;
    for (int i = 0; i < 12 && publishedAt < 0; ++i)
    {
        timed.stats.polygonCount = 1234, timed.updates = 0;
        SetManualCounter(now += kFrequency / 20), timed.Frame();
        EXPECT_EQ(timed.stats.polygonCount, 0);
        timed.GetFps() != 1 ? void(publishedAt = i) : void(ticksBefore += timed.updates);
        SetManualCounter(now += kFrequency / 20), timed.EndFrame();
    }
    ASSERT_GE(publishedAt, 9);
    EXPECT_EQ(timed.GetFps(), publishedAt + 1);
    EXPECT_GE(ticksBefore, 6 * publishedAt);
    int update = ticksBefore * 2 * 100 / kFrequency, render = publishedAt * 5;
    for (auto [got, want] :
         {std::pair{timed.stats.updatePercent, update}, {timed.stats.renderPercent, render}})
        EXPECT_TRUE(got == want || got == want - 1) << got << " " << want;
    UseSystemCounter();
    glClearColor(0, 1, 1, 1), glClearDepth(0.25), glClearStencil(3), glDepthFunc(GL_ALWAYS);
    glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_FASTEST), glShadeModel(GL_FLAT);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, 1);
    glDisable(GL_DEPTH_TEST), glDisable(GL_TEXTURE_2D), glDisable(GL_LIGHTING);
    EXPECT_TRUE(InitGL());
    GLfloat clear[5];
    glGetFloatv(GL_COLOR_CLEAR_VALUE, clear), glGetFloatv(GL_DEPTH_CLEAR_VALUE, clear + 4);
    EXPECT_EQ(std::vector<float>(clear, clear + 5), (std::vector<float>{0.5f, 0, 0, 0, 1}));
    EXPECT_EQ((std::vector<GLint>{Integer(GL_STENCIL_CLEAR_VALUE),
                                  Integer(GL_PERSPECTIVE_CORRECTION_HINT),
                                  Integer(GL_LIGHT_MODEL_TWO_SIDE), Integer(GL_DEPTH_FUNC),
                                  Integer(GL_SHADE_MODEL), glIsEnabled(GL_DEPTH_TEST),
                                  glIsEnabled(GL_LIGHTING), glIsEnabled(GL_TEXTURE_2D)}),
              (std::vector<GLint>{0, GL_NICEST, 0, GL_LEQUAL, GL_SMOOTH, 1, 1, 1}));
    SetPerspective(200, 0, 0.1f, 1000.0f);
    GLint viewport[4];
    float w, h, n, f;
    glGetIntegerv(GL_VIEWPORT, viewport), GetPerspective(&w, &h, &n, &f);
    EXPECT_EQ((std::vector<float>{float(viewport[2]), float(viewport[3]), w, h}),
              (std::vector<float>{200, 1, 200, 1}));
    Start("[Font]\nnbstages=0\n", new HatchingDemo);
    HatchingDemo& demo = *static_cast<HatchingDemo*>(engine);
    SetPerspective(128, 96, 0.1f, 1000.0f);
    GLfloat projection[16], ortho[16];
    glGetFloatv(GL_PROJECTION_MATRIX, projection);
    float focal = 1.0f / std::tan(45.0 * M_PI / 360.0); // a 45 degree field of view
    EXPECT_NEAR(projection[5] + 10 * projection[0], focal * (1 + 10 * 96.0f / 128.0f), 1e-4);
    demo.Begin2D(128, 96);
    glGetFloatv(GL_PROJECTION_MATRIX, ortho);
    EXPECT_EQ((std::vector<float>{ortho[0], ortho[5], ortho[13]}),
              (std::vector<float>{2.0f / 128, -2.0f / 96, 1}));
    EXPECT_FALSE(glIsEnabled(GL_LIGHTING) || glIsEnabled(GL_DEPTH_TEST));
    EXPECT_EQ(Integer(GL_MATRIX_MODE), GL_MODELVIEW);
    demo.End2D();
    glGetFloatv(GL_PROJECTION_MATRIX, ortho);
    EXPECT_FLOAT_EQ(ortho[5], projection[5]);
    EXPECT_TRUE(!glIsEnabled(GL_DEPTH_TEST) && !demo.renderState.depthTestEnabled);
    glEnable(GL_TEXTURE_2D), glEnable(GL_CULL_FACE), demo.renderState.cullFaceEnabled = 1;
    glActiveTextureARB(GL_TEXTURE1_ARB), demo.renderState.activeTextureUnit = GL_TEXTURE1_ARB;
    SetPerspective(128, 96, 0.1f, 1000.0f);
    glClearColor(0, 0, 0, 0), glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glColor3f(1, 1, 1);
    Vec4 ray[2] = {Vec4(-1, 0, -5), Vec4(0, 0, 0)};
    demo.DrawRay(ray);
    EXPECT_EQ(Integer(GL_ACTIVE_TEXTURE_ARB), GL_TEXTURE0_ARB);
    EXPECT_EQ(demo.renderState.activeTextureUnit, static_cast<GLenum>(GL_TEXTURE0_ARB));
    EXPECT_FALSE(glIsEnabled(GL_LIGHTING) || glIsEnabled(GL_TEXTURE_2D));
    EXPECT_TRUE(glIsEnabled(GL_CULL_FACE) && !demo.currentShader);
    demo.DrawLine(Vec4(-10, 0, -5), Vec4(10, 0, -5));
    EXPECT_TRUE(!glIsEnabled(GL_CULL_FACE) && !demo.renderState.cullFaceEnabled);
    std::vector<GLubyte> column(96 * 4);
    glReadPixels(64, 0, 1, 96, GL_RGBA, GL_UNSIGNED_BYTE, column.data());
    int lit = 0;
    for (int y = 0; y < 96; ++y)
        lit += column[y * 4] == 255;
    EXPECT_TRUE(lit == 1 || lit == 2) << lit;

    EXPECT_TRUE(demo.Frame());
    float before = demo.stats.renderSeconds;
    g_input->keys[VK_ESCAPE] = 1;
    EXPECT_TRUE(!demo.Frame() && demo.stats.renderSeconds == before);
    g_input->keys[VK_ESCAPE] = 0;
    const std::tuple<int32_t, int32_t, const char*> rates[] = {
        {625, 1272, "0.80"}, {4375, 1272, "5.57"}, {19375, 1272, "24.65"},
        {624, 1272, "0.79"}, {1, 0, "0.00"},       {20000, 1000000, "20000.00"}};
    for (auto [fps, polygons, text] : rates)
        EXPECT_STREQ(FormatString("%.2f", HatchingDemo::MegaPolygonsPerSecond(fps, polygons)),
                     text);
    const char* first = FormatString("%s-%d", "tick", 60);
    EXPECT_TRUE(FormatString(nullptr) == nullptr && std::string(first) == "tick-60");
    EXPECT_EQ(FormatString("%s", std::string(600, 'x').c_str()), first);
    EXPECT_EQ(std::strlen(first), 255u);
    // The cache sends a change only where its mirror differs.
    RenderStateCache cache;
    const GLenum caps[] = {GL_LIGHTING, GL_BLEND, GL_STENCIL_TEST, GL_DEPTH_TEST, GL_CULL_FACE};
    for (GLenum cap : caps)
        cache.Enable(cap, false), glDisable(cap);
    for (int i = 0; i < 5; ++i)
    {
        cache.Enable(caps[i], true);
        std::vector<int> on{cache.lightingEnabled, cache.blendEnabled, cache.stencilTestEnabled,
                            cache.depthTestEnabled, cache.cullFaceEnabled},
            expected(10, 0);
        for (GLenum cap : caps)
            on.push_back(glIsEnabled(cap));
        expected[i] = expected[i + 5] = 1; // the mirror, then GL
        EXPECT_EQ(on, expected) << std::hex << caps[i];
        glDisable(caps[i]), cache.Enable(caps[i], true);
        EXPECT_FALSE(glIsEnabled(caps[i])) << std::hex << caps[i];
        cache.Enable(caps[i], false);
    }
    // After GL moved behind its back: the same value sends nothing, a change does.
    std::vector<GLint> values;
    auto read = [&](GLenum name) { values.push_back(Integer(name)); };
    glDepthFunc(GL_ALWAYS), cache.SetDepthFunc(GL_LESS), read(GL_DEPTH_FUNC); // the mirror's start
    cache.SetDepthFunc(GL_LEQUAL), read(GL_DEPTH_FUNC);
    glFrontFace(GL_CW), cache.SetFrontFace(GL_CCW), read(GL_FRONT_FACE);
    cache.SetFrontFace(GL_CW), cache.SetFrontFace(GL_CCW), read(GL_FRONT_FACE);
    glDepthMask(GL_FALSE), cache.SetDepthMask(true), read(GL_DEPTH_WRITEMASK);
    cache.SetDepthMask(false), cache.SetDepthMask(true), read(GL_DEPTH_WRITEMASK);
    EXPECT_EQ(values, (std::vector<GLint>{GL_ALWAYS, GL_LEQUAL, GL_CW, GL_CCW, GL_FALSE, GL_TRUE}));
    // Unit 0 starts marked on; without a known target both targets go off.
    glEnable(GL_TEXTURE_2D), glEnable(GL_TEXTURE_3D);
    cache.UnitTextureOff();
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D) || glIsEnabled(GL_TEXTURE_3D) ||
                 cache.unitTextureEnabled[0]);
}

// One pixel of the frame, x from the left, y from the bottom.
std::vector<int> Pixel(int x, int y)
{
    unsigned char p[4] = {};
    glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, p);
    return {p[0], p[1], p[2]};
}
// Runs tessimo-import with space-separated arguments.
ToolRun Import(const std::string& arguments)
{
    std::vector<std::string> command = {Env("TESSIMO_BINARY_DIR") +
                                        "/tools/tessimo-import/tessimo-import"};
    std::istringstream words(arguments);
    for (std::string w; words >> w;)
        command.push_back(w);
    return RunTool(command);
}

// A square of side 1 around the origin facing +z, and a triangle.
const std::vector<float> kSquare = {-0.5f, -0.5f, 0, 0.5f, -0.5f, 0, 0.5f, 0.5f, 0, -0.5f, 0.5f, 0};
const std::vector<uint32_t> kSquareFaces = {0, 1, 2, 0, 2, 3};
const std::vector<float> kTriangle = {0, 0, 0, 1, 0, 0, 0, 1, 0};

// A lit square drawn from the pool's render copy; the shadow of two
// overlapping triangles above z = 0, a light at infinity above, drawn once
// where they overlap too. The frustum of x in -2..2, y in -1..1, z from -1 to
// -10 moved one unit right: a sphere touching its right face from outside is
// skipped. Page Up climbs along y; the view, from the angles (both 0), is a
// shift; forward goes along the view's backward axis, reversed. Missing,
// empty and hostile model files: nothing of a refused record is kept.
TEST_F(EngineGl, TheSceneDrawnCulledSeenAndLoaded)
{
    StartScene();
    Mesh mesh, pair;
    ASSERT_TRUE(FillMesh(mesh, kSquare, kSquareFaces));
    // A quarter to the right: x from -0.25 to 0.75, pixels 24 to 55.
    mesh.SetPosition(0.25f, 0.0f, 0.0f);
    Light light(GL_LIGHT0);
    light.SetPosition(0.0f, 0.0f, 1.0f);
    light.SetKind(1);
    light.Apply();
    int32_t before = engine->stats.polygonCount;
    mesh.Draw();
    EXPECT_EQ(engine->stats.polygonCount, before + 2);
    for (auto [x, y, lit] : {std::tuple{40, 32, true},
                             {25, 17, true},
                             {22, 32, false},
                             {57, 32, false},
                             {40, 14, false},
                             {40, 50, false}})
        EXPECT_EQ(Pixel(x, y)[0] > 150, lit) << x << "," << y;
    // GL draws the render copy: an edit shows only after the upload.
    for (uint32_t v = 0; v < 4; ++v)
        mesh.positions[3 * v] += 10.0f;
    for (bool upload : {false, true})
    {
        if (upload)
            mesh.UploadVertices();
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        mesh.Draw();
        EXPECT_EQ(Pixel(40, 32)[0] > 150, !upload);
    }
    glClearColor(1, 1, 1, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    ASSERT_TRUE(FillMesh(pair,
                         {-0.8f, -0.5f, 0.5f, 0.4f, -0.5f, 0.5f, -0.2f, 0.5f, 0.5f, //
                          -0.4f, -0.5f, 0.5f, 0.8f, -0.5f, 0.5f, 0.2f, 0.5f, 0.5f},
                         {0, 1, 2, 3, 4, 5}));
    Plane ground;
    ground.normal = Vec4(0.0f, 0.0f, 1.0f);
    before = engine->stats.polygonCount;
    pair.DrawShadow(ground, &light);
    EXPECT_EQ(engine->stats.polygonCount, before + 2);
    EXPECT_NEAR(Pixel(16, 24)[0], 128, 2);
    EXPECT_EQ(Pixel(32, 24), Pixel(16, 24));
    EXPECT_EQ(Pixel(32, 60), (std::vector<int>{255, 255, 255}));
    EXPECT_FALSE(glIsEnabled(GL_STENCIL_TEST));
    glDisable(GL_BLEND); // left on for the next to set
    engine->renderState.blendEnabled = 0;
    Frustum frustum;
    glMatrixMode(GL_PROJECTION);
    glOrtho(-2, 2, -1, 1, 1, 10);
    glMatrixMode(GL_MODELVIEW);
    glTranslatef(1.0f, 0.0f, 0.0f);
    frustum.Update();
    const float expected[6][4] = {{-1, 0, 0, 1}, {1, 0, 0, 3},  {0, 1, 0, 1},
                                  {0, -1, 0, 1}, {0, 0, 1, 10}, {0, 0, -1, -1}};
    for (int p = 0; p < 6; ++p)
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(frustum.planes[p][k], expected[p][k], 0.02f) << p << "," << k;
    Corner(); // identity matrices again
    frustum.Update();
    EXPECT_TRUE(frustum.TestSphere(Sphere()));
    Mesh square;
    ASSERT_TRUE(FillMesh(square, kSquare, kSquareFaces));
    square.SetPosition(3.0f, 0.0f, 0.0f);
    float distance = frustum.planes[0][0] * 3.0f + frustum.planes[0][3];
    before = engine->stats.polygonCount;
    for (float radius :
         {square.boundingSphere.radius, -distance, std::nextafter(-distance, 100.0f)})
        square.boundingSphere.radius = radius, square.DrawCulled(frustum);
    EXPECT_EQ(engine->stats.polygonCount, before + 2);
    Camera camera;
    camera.LookAt(Vec4(13.6f, 7.7f, 11.8f), Vec4(0.0f, -2.0f, -5.0f));
    unsigned char active = g_window->active;
    g_window->active = 1;
    g_mouse->SetPosition(g_window->width / 2, g_window->height / 2); // no turn
    g_input->keys[VK_PRIOR] = 1;
    camera.Fly(g_input, g_mouse, g_window, 2.0f);
    g_input->keys[VK_PRIOR] = 0;
    g_window->active = active;
    EXPECT_EQ(
        (std::vector<float>{camera.GetPosition().y, camera.transform.m[7], camera.transform.m[0]}),
        (std::vector<float>{2, -2, 1}));
    camera.MoveForward(1.0f);
    EXPECT_EQ(camera.GetPosition().z, -1.0f);
    ::Console* console = static_cast<::Console*>(engine->console);
    uint32_t mark = console->HeldLines();
    std::vector<MeshSet> sets(8);
    auto load = [&](int i, const std::string& file, const std::string& bytes)
    {
        WriteText(file, bytes);
        sets[i].Load(file.c_str(), "", nullptr);
    };
    load(0, "two.tsm",
         ModelBytes(2)
             .Mesh("wing", "A", kSquare, kSquareFaces, 1, 2, 3)
             .Mesh("tail", "B", kTriangle, {0, 1, 2})
             .String());
    EXPECT_EQ(sets[0].meshCount ? sets[0].meshes[0].transform.m[7] : 0.0f, 2.0f);
    sets[1].Load("missing.tsm", "", nullptr);
    load(2, "empty.tsm", ModelBytes(0).String());
    sets[2].DrawAll();
    std::string one = ModelBytes(0).Mesh("b", "A", kTriangle, {0, 1, 2}).String().substr(27);
    load(3, "cut.tsm", ModelBytes(2).String() + one + one.substr(0, 100));
    load(4, "huge.tsm", ModelBytes(0xFFFFFFFFu).String() + one);
    load(5, "index.tsm", ModelBytes(1).Mesh("a", "A", kTriangle, {0, 1, 3}).String());
    load(6, "billions.tsm", ModelBytes(1).Head("a", "A", 0xFFFFFFF0u, 0xFFFFFFF0u).String());
    uint32_t freeBefore = engine->vertexPool->freeBytes;
    std::vector<float> many(3 * 40000, 0.0f);
    load(7, "big.tsm",
         ModelBytes(2).String() + one +
             ModelBytes(0).Mesh("c", "A", many, {0, 1, 2}).String().substr(27));
    EXPECT_GT(engine->vertexPool->freeBytes + 256, freeBefore); // only the first mesh's arrays
    std::string lines;
    for (uint32_t i = mark; i < console->HeldLines(); ++i)
        lines += console->Line(i) + std::string("\n");
    EXPECT_EQ(lines, R"(> 2 mesh loaded from file 'two.tsm'
> 0 mesh loaded from file 'missing.tsm'
> 0 mesh loaded from file 'empty.tsm'
> 1 mesh loaded from file 'cut.tsm'
  mesh 2 of 2 is cut short
> 1 mesh loaded from file 'huge.tsm'
  mesh 2 of 4294967295 is cut short
> 0 mesh loaded from file 'index.tsm'
  mesh 1 of 1 names a vertex it doesn't have
> 0 mesh loaded from file 'billions.tsm'
  mesh 1 of 1 is cut short
> 1 mesh loaded from file 'big.tsm'
  mesh 2 of 2 doesn't fit in the vertex memory
)");
}

#if TESSIMO_IMPORT

// A quad with normals and texture coordinates, a bare pentagon, two
// materials: kept, or merged and centred. Input with no normals, a triangle
// twice, one on a line, three on one edge, a speck far smaller than a
// repeat: a drawable model and one line for each. Refused: one line
// (status 1), a file there kept; bad arguments: what was wrong and the
// usage line (status 2).
TEST_F(EngineGl, ImportKeepsTheSourceAndSaysWhatItLeftOutOrRefused)
{
    StartScene();
    WriteText("two.obj", "mtllib two.mtl\nv 0 0 0\nv 2 0 0\nv 2 1 0\nv 0 1 0\n"
                         "v 0 0 1\nv 1 0 2\nv 2 0 1\nv 2 0 0\nv 1 0 -1\n"
                         "vt 0 0\nvt 1 0\nvt 1 0.5\nvt 0 0.5\nvn 0 0 1\n"
                         "o wing\nusemtl red\nf 1/1/1 2/2/1 3/3/1 4/4/1\n"
                         "o tail\nusemtl blue\nf 5 6 7 8 9\n");
    WriteText("two.mtl", "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\n");
    ASSERT_EQ(Import("--strokes keep --no-outline two.obj two.tsm").status, 0);
    MeshSet set, merged, bad;
    set.Load("two.tsm", "", nullptr);
    ASSERT_EQ(set.meshCount, 2u);
    EXPECT_STREQ(set.meshes[0].name, "wing");
    // The quad keeps its normals and coordinates; the pentagon gets its face's.
    for (int m : {0, 1})
        for (const Triangle& t : Triangles(set.meshes[m]))
            for (const auto& c : t)
                EXPECT_EQ((std::vector<float>{c[3], c[4], c[5], m ? 0 : c[6], m ? 0 : c[7]}),
                          (std::vector<float>{0, float(m), float(1 - m), m ? 0 : c[0] / 2,
                                              m ? 0 : c[1] / 2}));
    EXPECT_EQ(set.meshes[1].faceCount, 3u);
    ASSERT_NE(set.meshes[0].shader, nullptr);
    EXPECT_NE(set.meshes[0].shader, set.meshes[1].shader);
    EXPECT_STREQ(set.meshes[1].shader->name, "blue");
    ASSERT_EQ(Import("--strokes keep --no-outline --merge all --center two.obj all.tsm").status, 0);
    merged.Load("all.tsm", "", nullptr);
    ASSERT_EQ(merged.meshCount, 1u);
    EXPECT_EQ(merged.meshes[0].faceCount * 10 + merged.meshes[0].vertexCount, 59u);
    EXPECT_FLOAT_EQ(merged.meshes[0].boundingSphere.radius, std::sqrt(2.5f));

    // A sheet of two triangles, the first twice, one on a line; three
    // triangles on one edge; a box 0.001 wide.
    WriteText("bad.obj",
              "o sheet\nv 0 0 0\nv 4 0 0\nv 4 0 -4\nv 0 0 -4\nf 1 2 3\nf 1 3 4\nf 1 2 3\n"
              "v 2 0 0\nf 1 5 2\no fan\nv 10 0 0\nv 10 2 0\nv 12 1 0\nf 6 7 8\nv 8 1 0\n"
              "f 7 6 9\nv 10 1 2\nf 6 7 10\no speck\nv -10 0 0\nv -9.999 0 0\n"
              "v -10 0.001 0\nv -9.999 0.001 0\nv -10 0 0.001\nv -9.999 0 0.001\n"
              "v -10 0.001 0.001\nv -9.999 0.001 0.001\nf 11 15 17\nf 11 17 13\n"
              "f 12 14 18\nf 12 18 16\nf 11 12 16\nf 11 16 15\nf 13 17 18\nf 13 18 14\n"
              "f 11 13 14\nf 11 14 12\nf 15 16 18\nf 15 18 17\n");
    ToolRun run = Import("--info bad.obj bad.tsm");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "tessimo-import: left out triangles: 1 without area, 1 repeated\n"
                       "tessimo-import: box coordinates for parts too small to have axes: 1\n"
                       "tessimo-import: outline written with edges of more than two triangles: 1\n"
                       "tessimo-import: outline left out for flat open sheets: 1\n");
    bad.Load("bad.tsm", "", nullptr);
    ASSERT_EQ(bad.meshCount, 4u);
    EXPECT_EQ(bad.meshes[0].faceCount, 2u);
    EXPECT_EQ(bad.meshes[3].faceCount, 3u);    // the fan's outline alone
    EXPECT_EQ(bad.meshes[0].normals[1], 1.0f); // made from the faces

    WriteText("kept.tsm", "kept");
    WriteText("line.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n");
    WriteText("points.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n");
    const std::string usage = "usage: tessimo-import [options] SOURCE OUTPUT\n",
                      inf = " has coordinates that are not finite numbers\n";
    for (const char* x : {"nan", "1e39", "-inf"})
        WriteText("x" + std::string(x) + ".obj",
                  std::string("v 0 0 0\nv ") + x + " 0 0\nv 0 1 0\nf 1 2 3\n");
    const std::vector<std::tuple<std::string, std::string, int>> refusals = {
        {"line.obj kept.tsm", "", 1},
        {"points.obj kept.tsm", "", 1},
        {"xnan.obj kept.tsm", "tessimo-import: 'xnan.obj'" + inf, 1},
        {"x1e39.obj kept.tsm", "tessimo-import: 'x1e39.obj'" + inf, 1},
        {"x-inf.obj new.tsm", "tessimo-import: 'x-inf.obj'" + inf, 1},
        {"--max-vertices 8 --no-outline two.obj kept.tsm",
         "tessimo-import: 9 vertices, more than the 8 allowed\n", 1},
        {"--crease 400 two.obj new.tsm",
         "tessimo-import: --crease 400: expected 0 to 180\n" + usage, 2},
        {"--strokes wavy two.obj new.tsm",
         "tessimo-import: --strokes wavy: expected form, box or keep\n" + usage, 2},
        {"--material ThisNameIsLongerThanThirtyOneChars two.obj new.tsm", "", 2},
        {"two.obj", "tessimo-import: missing OUTPUT\n" + usage, 2},
    };
    for (const auto& [arguments, error, status] : refusals)
    {
        SCOPED_TRACE(arguments);
        run = Import(arguments);
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), status) << run.err;
        EXPECT_EQ(run.err.substr(0, error.size()), error);
    }
    EXPECT_EQ(ReadText("kept.tsm"), "kept");
    EXPECT_FALSE(std::filesystem::exists("new.tsm"));
}
#endif

} // namespace
