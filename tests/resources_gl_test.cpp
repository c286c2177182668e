// Resources on a real GL context: textures, shaders and their stages,
// registries, probes and vertex programs, screen text.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "app/gl_entry_points.h"
#include "archive/rar_writer.h"
#include "hatching/tonal_art_map.h"
#include "resources/registries.h"
#include "resources/screen_font.h"
#include "resources/shader.h"
#include "resources/vertex_array_pool.h"
#include "resources/vertex_program.h"
#include "support/engine_gl.h"

namespace
{

using namespace testsupport;

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

// Probes match the driver's whole-word list; a vertex program's console lines;
// reload keeps the GL name and the program; anisotropy as a stage asks.
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

} // namespace
