// Materials on a real GL context (SDL's offscreen driver on Mesa): shaders
// applied, taken off and animated, read back from GL; the registries with
// reloads, shared textures and deletion of what is in use; vertex programs
// with their console lines; text drawn by the font and read back from the
// frame; the preview taking the current shader off.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdarg>
#include <filesystem>
#include <string>
#include <vector>

#include "app/gl_entry_points.h"
#include "app/gl_setup.h"
#include "engine/engine.h"
#include "hatching/procedural_texture.h"
#include "hatching/volume_texture.h"
#include "platform/messages.h"
#include "resources/console_base.h"
#include "resources/registries.h"
#include "resources/screen_font.h"
#include "resources/shader.h"
#include "resources/texture.h"
#include "resources/vertex_program.h"
#include "support/files.h"
#include "support/gl_context.h"
#include "support/material_files.h"
#include "support/report_capture.h"

namespace
{

using testsupport::ReadText;
using testsupport::WriteFile;
using testsupport::WriteTarga;

// Keeps the lines it is given, and nothing else.
class RecordingConsole : public ConsoleBase
{
public:
    void SaveLog(const char*) override {}
    void Update(Input*) override {}
    void AddCommand(const char*, CommandKind, CommandHandler) override {}
    void AddVariable(const char*, VariableType, void*, bool) override {}
    void Execute(const char*) override {}
    void Printf(const char* format, ...) override
    {
        char line[256];
        va_list args;
        va_start(args, format);
        vsnprintf(line, sizeof line, format, args);
        va_end(args);
        lines.push_back(line);
    }
    void Draw() override {}
    std::vector<std::string> lines;
};

const char* const kDefinitions = R"([Font]
nbstages=0
[Less]
culling=false
ccw=false
nbstages=0
[NoDepth]
depthtest=false
depthmask=true
culling=false
nbstages=0
[Glass]
ccw=false
depthfunc=GL_GREATER
depthmask=false
blending=true
blendsrc=GL_SRC_ALPHA
blenddst=GL_ONE_MINUS_SRC_ALPHA
nbstages=2
[Glass - TU0]
map=tga\a.tga
min_filter=GL_NEAREST
scroll=( 0.25, 0.5 )
combine_rgb=GL_ADD
source_rgb1=GL_PRIMARY_COLOR
rgb_scale=2.0
alpha_scale=4.0
[Glass - TU1]
map=tga\b.tga
rotation=10
scale=( 2.0, 3.0 )
tcgen=GL_SPHERE_MAP
[Twin]
nbstages=1
[Twin - TU0]
map=tga\a.tga
min_filter=GL_LINEAR
)";

class MaterialsGl : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_FALSE(dir.path.empty()); }
    // Files first (the engine reads them from the folder it starts in),
    // then the context, the GL defaults, the engine and its Init.
    void Start(const std::string& definitions = kDefinitions)
    {
        testsupport::WriteMaterialFiles(dir.path, definitions);
        auto pattern = [](uint32_t x, uint32_t y, uint8_t p[4])
        {
            p[0] = uint8_t(x * 30);
            p[1] = uint8_t(y * 30);
            p[2] = 90;
            p[3] = 255;
        };
        WriteTarga(dir.path + "/tga/a.tga", 8, 8, 24, pattern);
        WriteTarga(dir.path + "/tga/b.tga", 8, 8, 32, pattern);
        context.reset(new testsupport::GlContext(256, 256));
        ASSERT_TRUE(context->created);
        InitGL();
        engine = new Engine;
        g_engine = engine;
        ASSERT_TRUE(engine->Init());
        delete engine->console;
        console = new RecordingConsole;
        engine->console = console;
    }
    void TearDown() override
    {
        delete engine;
        g_engine = nullptr;
        context.reset();
        ClearMessageQueue();
    }
    static GLint Integer(GLenum name)
    {
        GLint v = 0;
        glGetIntegerv(name, &v);
        return v;
    }
    // What GL holds for texture unit `unit`; the cache's unit is made active
    // again afterwards. `env`: mode, combine RGB, sources 0 and 1 RGB,
    // operand 1 alpha, combine alpha.
    struct Unit
    {
        GLint binding, texture2D, genS, genT, genMode;
        std::vector<GLint> env;
        GLfloat rgbScale, alphaScale;
        std::vector<float> matrix;
    };
    Unit ReadUnit(uint32_t unit)
    {
        glActiveTextureARB(GL_TEXTURE0_ARB + unit);
        Unit u{Integer(GL_TEXTURE_BINDING_2D),
               glIsEnabled(GL_TEXTURE_2D),
               glIsEnabled(GL_TEXTURE_GEN_S),
               glIsEnabled(GL_TEXTURE_GEN_T),
               0,
               {},
               0,
               0,
               std::vector<float>(16)};
        glGetTexGeniv(GL_T, GL_TEXTURE_GEN_MODE, &u.genMode);
        for (GLenum name : {GL_TEXTURE_ENV_MODE, GL_COMBINE_RGB, GL_SOURCE0_RGB, GL_SOURCE1_RGB,
                            GL_OPERAND1_ALPHA, GL_COMBINE_ALPHA})
        {
            u.env.push_back(0);
            glGetTexEnviv(GL_TEXTURE_ENV, name, &u.env.back());
        }
        glGetTexEnvfv(GL_TEXTURE_ENV, GL_RGB_SCALE, &u.rgbScale);
        glGetTexEnvfv(GL_TEXTURE_ENV, GL_ALPHA_SCALE, &u.alphaScale);
        glGetFloatv(GL_TEXTURE_MATRIX, u.matrix.data());
        glActiveTextureARB(engine->renderState.activeTextureUnit);
        return u;
    }

    testsupport::TempDir dir;
    std::unique_ptr<testsupport::GlContext> context;
    Engine* engine = nullptr;
    RecordingConsole* console = nullptr;
};

TEST_F(MaterialsGl, ApplyUnapplyAndTicksReachTheGlState)
{
    Start();
    Shader* less = engine->AddShader("Less");
    Shader* noDepth = engine->AddShader("NoDepth");
    Shader* glass = engine->AddShader("Glass");
    ASSERT_NE(glass->stages[0].texture, nullptr);
    ASSERT_NE(glass->stages[1].texture, nullptr);

    // The cache starts at GL_LESS while GL has GL_LEQUAL, and with unit 0
    // on: a first shader asking for GL_LESS sends nothing, and a shader
    // without stages touches no unit. Without culling ccw is ignored.
    engine->SetShader(less);
    EXPECT_EQ(Integer(GL_DEPTH_FUNC), GL_LEQUAL);
    EXPECT_TRUE(glIsEnabled(GL_TEXTURE_2D));
    EXPECT_EQ(Integer(GL_MATRIX_MODE), GL_MODELVIEW);
    EXPECT_EQ(Integer(GL_FRONT_FACE), GL_CCW);
    EXPECT_FALSE(glIsEnabled(GL_CULL_FACE));

    engine->SetShader(glass);
    EXPECT_TRUE(glIsEnabled(GL_CULL_FACE));
    EXPECT_EQ(Integer(GL_FRONT_FACE), GL_CW);
    EXPECT_EQ(Integer(GL_DEPTH_FUNC), GL_GREATER);
    EXPECT_EQ(Integer(GL_DEPTH_WRITEMASK), GL_FALSE);
    EXPECT_TRUE(glIsEnabled(GL_BLEND));
    EXPECT_EQ(Integer(GL_BLEND_SRC), GL_SRC_ALPHA);
    EXPECT_EQ(Integer(GL_BLEND_DST), GL_ONE_MINUS_SRC_ALPHA);
    EXPECT_EQ(Integer(GL_ACTIVE_TEXTURE), GL_TEXTURE1) << "the last stage's unit stays active";
    EXPECT_EQ(Integer(GL_MATRIX_MODE), GL_MODELVIEW);
    Unit u0 = ReadUnit(0), u1 = ReadUnit(1);
    EXPECT_EQ(GLuint(u0.binding), glass->stages[0].texture->id);
    EXPECT_EQ(GLuint(u1.binding), glass->stages[1].texture->id);
    EXPECT_TRUE(u0.texture2D && u1.texture2D);
    EXPECT_EQ(u0.env, (std::vector<GLint>{GL_COMBINE, GL_ADD, GL_TEXTURE, GL_PRIMARY_COLOR,
                                          GL_SRC_ALPHA, GL_MODULATE}));
    EXPECT_EQ(u1.env, (std::vector<GLint>{GL_COMBINE, GL_MODULATE, GL_TEXTURE, GL_PREVIOUS,
                                          GL_SRC_ALPHA, GL_MODULATE}));
    EXPECT_EQ(u0.rgbScale, 2.0f);
    EXPECT_EQ(u0.alphaScale, 4.0f);
    EXPECT_FALSE(u0.genS);
    EXPECT_TRUE(u1.genS && u1.genT);
    EXPECT_EQ(u1.genMode, GL_SPHERE_MAP);
    EXPECT_EQ(u0.matrix[12], 0.0f);
    EXPECT_FLOAT_EQ(u1.matrix[0], 2.0f);
    EXPECT_FLOAT_EQ(u1.matrix[5], 3.0f);

    // Unapply switches the texture targets off and nothing else.
    engine->SetShader(nullptr);
    EXPECT_TRUE(glIsEnabled(GL_BLEND));
    EXPECT_TRUE(glIsEnabled(GL_CULL_FACE));
    u0 = ReadUnit(0);
    u1 = ReadUnit(1);
    EXPECT_FALSE(u0.texture2D || u1.texture2D);
    EXPECT_TRUE(u1.genS);
    EXPECT_EQ(engine->renderState.unitTextureEnabled[0] + engine->renderState.unitTextureEnabled[1],
              0);

    // Three ticks, then a new Apply: the scroll and the rotation have moved
    // by three steps each, only on their own stages.
    for (int i = 0; i < 3; ++i)
        engine->UpdateShaders();
    engine->SetShader(glass);
    u0 = ReadUnit(0);
    u1 = ReadUnit(1);
    EXPECT_FLOAT_EQ(u0.matrix[12], 0.75f);
    EXPECT_FLOAT_EQ(u0.matrix[13], 1.5f);
    EXPECT_FLOAT_EQ(u0.matrix[0], 1.0f);
    const float c = std::cos(float(M_PI) / 6), s = std::sin(float(M_PI) / 6);
    EXPECT_NEAR(u1.matrix[0], 2 * c, 1e-5);
    EXPECT_NEAR(u1.matrix[1], 2 * s, 1e-5);
    EXPECT_NEAR(u1.matrix[4], -3 * s, 1e-5);
    EXPECT_NEAR(u1.matrix[5], 3 * c, 1e-5);
    EXPECT_EQ(u1.matrix[12], 0.0f);

    // Without the depth test the shader's mask is ignored: writes stay off
    // as Glass left them.
    engine->SetShader(noDepth);
    EXPECT_FALSE(glIsEnabled(GL_DEPTH_TEST));
    EXPECT_EQ(Integer(GL_DEPTH_WRITEMASK), GL_FALSE);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
}

TEST_F(MaterialsGl, WithoutCombineEveryStageRefusesAndTheRunQuits)
{
    Start();
    Shader* glass = engine->AddShader("Glass");
    engine->capabilities.hasTexEnvCombine = false;
    testsupport::ReportCapture boxes;
    ClearMessageQueue();
    engine->SetShader(glass);
    ASSERT_EQ(boxes.boxes.size(), 2u);
    EXPECT_EQ(boxes.boxes[1].text, "For now, only 3d card with the extension "
                                   "GL_arb_texture_env_combine or GL_ext_texture_env_combine "
                                   "can use this program!");
    EXPECT_EQ(boxes.boxes[1].caption, "Buy a real 3d card");
    EXPECT_EQ(boxes.boxes[1].style, 0u);
    EXPECT_EQ(Integer(GL_MATRIX_MODE), GL_MODELVIEW);
    MSG msg;
    bool quit = false;
    while (PeekMessage(&msg))
        if (msg.message == WM_QUIT)
            quit = msg.wParam == 0x8570;
    EXPECT_TRUE(quit);
}

TEST_F(MaterialsGl, RegistriesShareReloadAndLetGoOfWhatTheyDelete)
{
    Start();
    EXPECT_EQ(engine->ListTextures(), 0);
    EXPECT_EQ(engine->ReloadTextures(), 0);
    EXPECT_EQ(engine->FindTexture("tga\\a.tga"), nullptr);
    EXPECT_EQ(engine->ListVertexPrograms(), 0);

    // Two shaders naming one map share one texture, with the filters of the
    // first registration.
    Shader* glass = engine->AddShader("Glass");
    Shader* twin = engine->AddShader("Twin");
    EXPECT_EQ(engine->AddShader("Twin"), twin);
    Texture* a = glass->stages[0].texture;
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(twin->stages[0].texture, a);
    a->Bind();
    GLint filter = 0;
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &filter);
    EXPECT_EQ(filter, GL_NEAREST);
    EXPECT_EQ(engine->AddTexture("tga\\a.tga", GL_CLAMP, GL_CLAMP, GL_LINEAR, GL_LINEAR), a);

    // A file that isn't there gives null and nothing listed; once it is
    // there, the next call loads it.
    EXPECT_EQ(engine->AddTexture("tga\\late.tga", GL_REPEAT, GL_REPEAT, GL_LINEAR, GL_LINEAR),
              nullptr);
    EXPECT_EQ(engine->ListTextures(), 2);
    WriteTarga(dir.path + "/tga/late.tga", 4, 4, 24, [](uint32_t, uint32_t, uint8_t*) {});
    Texture* late = engine->AddTexture("tga\\late.tga", GL_REPEAT, GL_REPEAT, GL_LINEAR, GL_LINEAR);
    ASSERT_NE(late, nullptr);
    console->lines.clear();
    EXPECT_EQ(engine->ListTextures(), 3);
    EXPECT_EQ(console->lines,
              (std::vector<std::string>{"tga\\a.tga", "tga\\b.tga", "tga\\late.tga"}));

    // Removed, the texture lives on for its holder; a new Add reads the
    // file again into a second object.
    engine->RemoveTextureByName("tga\\late.tga");
    Texture* again =
        engine->AddTexture("tga\\late.tga", GL_REPEAT, GL_REPEAT, GL_LINEAR, GL_LINEAR);
    EXPECT_NE(again, late);
    EXPECT_NE(late->id, again->id);
    delete late;

    // A reload reads the edited definition and starts the animation again;
    // the current shader isn't applied anew by setting it once more.
    engine->SetShader(glass);
    engine->UpdateShaders();
    EXPECT_EQ(glass->stages[0].scrollOffset.x, 0.25f);
    std::string edited = kDefinitions;
    edited.replace(edited.find("blending=true"), 13, "blending=false");
    WriteFile(dir.path + "/ini/Shaders.ini", edited);
    EXPECT_EQ(engine->ReloadShaders(), 3); // Font, Glass, Twin
    EXPECT_FALSE(glass->blending);
    EXPECT_EQ(glass->stages[0].scrollOffset.x, 0.0f);
    engine->SetShader(glass);
    EXPECT_TRUE(glIsEnabled(GL_BLEND));

    // An unknown name still gives a working shader; its default map isn't
    // there, so its stage draws untextured.
    Shader* unknown = engine->AddShader("Nowhere");
    ASSERT_NE(unknown, nullptr);
    EXPECT_EQ(unknown->stages[0].texture, nullptr);
    engine->SetShader(unknown);
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));

    // Deleting what is in use: the stages, the current pointers and the
    // font let go, and the listeners hear of it.
    std::vector<std::pair<ResourceKind, void*>> heard;
    auto listener = [](ResourceEvent event, ResourceKind kind, void* object, void* user)
    {
        if (event == ResourceEvent::Released)
            static_cast<decltype(heard)*>(user)->push_back({kind, object});
    };
    ASSERT_TRUE(AddResourceListener(listener, &heard));
    engine->SetShader(glass);
    engine->SetTexture(a);
    engine->DeleteTextureByName("tga\\a.tga");
    EXPECT_EQ(glass->stages[0].texture, nullptr);
    EXPECT_EQ(twin->stages[0].texture, nullptr);
    EXPECT_EQ(engine->currentTexture, nullptr);
    engine->DeleteShaderByName("Glass");
    EXPECT_EQ(engine->currentShader, nullptr);
    EXPECT_FALSE(ReadUnit(1).texture2D);
    EXPECT_EQ(engine->FindShader("Glass"), nullptr);
    Shader* font = engine->font->shader;
    engine->DeleteShaderByName("Font");
    EXPECT_EQ(engine->font->shader, nullptr);
    engine->font->Print(0, 20, "x");
    EXPECT_NE(engine->font->shader, nullptr);
    EXPECT_EQ(engine->FindShader("Font"), engine->font->shader);
    RemoveResourceListener(listener, &heard);
    ASSERT_EQ(heard.size(), 3u);
    EXPECT_EQ(heard[0], std::make_pair(ResourceKind::Texture, static_cast<void*>(a)));
    EXPECT_EQ(heard[2], std::make_pair(ResourceKind::Shader, static_cast<void*>(font)));
    EXPECT_EQ(engine->DeleteAllTextures(), 2);
    EXPECT_EQ(engine->DeleteAllShaders(), 3); // Twin, Nowhere, the new Font
    EXPECT_EQ(engine->currentShader, nullptr);
}

TEST_F(MaterialsGl, VertexProgramsCompileReportAndKeepTheirLastProgram)
{
    std::string definitions = kDefinitions;
    definitions += "[Inked]\nnbstages=0\nvertex_program=vp\\ok.vp\n";
    Start(definitions);
    ASSERT_TRUE(engine->capabilities.hasVertexProgram);
    const std::string good = "!!ARBvp1.0\nMOV result.position, vertex.position;\nEND\n";
    WriteFile(dir.path + "/vp/ok.vp", good);

    Shader* inked = engine->AddShader("Inked");
    VertexProgram* program = engine->FindVertexProgram("vp\\ok.vp");
    ASSERT_NE(program, nullptr);
    EXPECT_EQ(inked->vertexProgram, program);
    EXPECT_EQ(console->lines, std::vector<std::string>{
                                  "> 'vp\\ok.vp' vertex program loaded and compiled successfully"});
    engine->SetShader(inked);
    EXPECT_TRUE(glIsEnabled(GL_VERTEX_PROGRAM_ARB));
    EXPECT_EQ(engine->currentVertexProgram, program);
    engine->SetShader(engine->AddShader("Less"));
    EXPECT_FALSE(glIsEnabled(GL_VERTEX_PROGRAM_ARB)) << "a shader without one takes it away";

    // Rejections: the position, then the rest of its line (at most 255
    // characters, up to the line feed) and the driver's message.
    const std::vector<std::string> bad = {
        "MOV\n!!ARBvp1.0\nEND\n",
        "!!ARBvp1.0\nMOV result.position, vertex.position;\nBOGUS r0;\nEND\n",
        "!!ARBvp1.0\nBOGUS" + std::string(300, 'x') + "\nEND\n",
        "!!ARBvp1.0 " + std::string(1 << 20, 'y'),
        "",
    };
    for (size_t i = 0; i < bad.size(); ++i)
    {
        std::string name = "vp\\bad" + std::to_string(i) + ".vp";
        WriteFile(dir.path + "/vp/bad" + std::to_string(i) + ".vp", bad[i]);
        console->lines.clear();
        VertexProgram* p = engine->AddVertexProgram(name.c_str());
        ASSERT_EQ(console->lines.size(), 2u) << name;
        int position = Integer(GL_PROGRAM_ERROR_POSITION_ARB);
        ASSERT_GE(position, 0);
        EXPECT_EQ(console->lines[0], "> error when compilating vertex program '" + name +
                                         "' at character " + std::to_string(position));
        std::string rest = bad[i].substr(std::min<size_t>(position, bad[i].size()));
        rest = rest.substr(0, std::min<size_t>(rest.find('\n'), 255));
        std::string message =
            reinterpret_cast<const char*>(glGetString(GL_PROGRAM_ERROR_STRING_ARB));
        EXPECT_EQ(console->lines[1], "  '" + rest + "' : " + message) << name;
        EXPECT_EQ(engine->FindVertexProgram(name.c_str()), p) << "listed all the same";
    }

    // Reload keeps the GL name; a file that has gone leaves the program
    // compiled last in it.
    auto programText = [&]
    {
        glBindProgramARB(GL_VERTEX_PROGRAM_ARB, program->id);
        GLint length = 0;
        glGetProgramivARB(GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_LENGTH_ARB, &length);
        std::string text(size_t(length), '\0');
        glGetProgramStringARB(GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_STRING_ARB, &text[0]);
        return text;
    };
    uint32_t id = program->id;
    const std::string better = "!!ARBvp1.0\nMOV result.position, vertex.normal;\nEND\n";
    WriteFile(dir.path + "/vp/ok.vp", better);
    EXPECT_TRUE(program->Reload());
    EXPECT_EQ(program->id, id);
    EXPECT_EQ(programText(), better);
    std::filesystem::remove(dir.path + "/vp/ok.vp");
    console->lines.clear();
    EXPECT_EQ(engine->ReloadVertexPrograms(), 6);
    EXPECT_FALSE(program->Reload());
    EXPECT_EQ(programText(), better);

    // Deleting the program of a shader: the shader draws without one.
    engine->SetShader(inked);
    engine->DeleteVertexProgramByName("vp\\ok.vp");
    EXPECT_EQ(inked->vertexProgram, nullptr);
    EXPECT_FALSE(inked->hasVertexProgram);
    EXPECT_EQ(engine->currentVertexProgram, nullptr);
    EXPECT_FALSE(glIsEnabled(GL_VERTEX_PROGRAM_ARB));

    // A driver without the extension: the program is listed, silent, and
    // never reaches GL.
    while (glGetError() != GL_NO_ERROR) // the rejections above leave theirs
    {
    }
    engine->capabilities.hasVertexProgram = false;
    console->lines.clear();
    WriteFile(dir.path + "/vp/ok.vp", good);
    VertexProgram* inert = engine->AddVertexProgram("vp\\ok.vp");
    EXPECT_EQ(inert->id, 0u);
    EXPECT_TRUE(console->lines.empty());
    engine->SetVertexProgram(inert);
    EXPECT_FALSE(glIsEnabled(GL_VERTEX_PROGRAM_ARB));
    engine->SetVertexProgram(nullptr);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
}

TEST_F(MaterialsGl, PrintDrawsEachCharacterFromItsCell)
{
    // Each cell of the glyph texture is one colour that names it: red is
    // the column, green the row, counted from the top left.
    WriteTarga(dir.path + "/tga/cells.tga", 256, 256, 32,
               [](uint32_t x, uint32_t y, uint8_t p[4])
               {
                   p[0] = uint8_t(x / 16 * 16 + 8);
                   p[1] = uint8_t(y / 16 * 16 + 8);
                   p[2] = 200;
               });
    Start(R"([Font]
culling=false
depthtest=false
nbstages=1
[Font - TU0]
map=tga\cells.tga
mag_filter=GL_NEAREST
min_filter=GL_NEAREST
wrap_u=GL_CLAMP_TO_EDGE
wrap_v=GL_CLAMP_TO_EDGE
)");
    ScreenFont* font = engine->font;
    EXPECT_EQ(font->glyphSize, 12);
    EXPECT_EQ(font->advance, 7);

    engine->SetShader(nullptr);
    font->Print(0, 0, nullptr);
    EXPECT_EQ(engine->currentShader, nullptr) << "a null format binds nothing";
    const char* empty = "";
    font->Print(0, 0, empty);
    ASSERT_NE(font->shader, nullptr);
    EXPECT_EQ(engine->currentShader, font->shader);

    glClearColor(0, 0, 0, 0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    engine->Begin2D(256, 256);
    glColor4f(1, 1, 1, 1);
    font->Print(20, 40, "0");
    font->Print(20, 80, "A B");
    engine->End2D();
    // Pixel (x, y) of the 2D mode, y from the top.
    auto cell = [](int x, int y)
    {
        GLubyte p[4] = {};
        glReadPixels(x, 255 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, p);
        return std::vector<int>{(p[0] - 8) / 16, (p[1] - 8) / 16, p[2]};
    };
    // "0" is code 48: column 0 of row 1, on the quad from (20, 28) to (32, 40).
    EXPECT_EQ(cell(21, 29), (std::vector<int>{0, 1, 200}));
    EXPECT_EQ(cell(31, 39), (std::vector<int>{0, 1, 200}));
    EXPECT_EQ(cell(33, 34), (std::vector<int>{0, 0, 0})) << "nothing beyond the quad";
    EXPECT_EQ(cell(26, 27), (std::vector<int>{0, 0, 0})) << "nothing above it";
    // Each quad starts 7 pixels behind the one before and covers it: "A"
    // (code 65: column 1, row 2), the blank over its right part, "B".
    EXPECT_EQ(cell(22, 74), (std::vector<int>{1, 2, 200}));
    EXPECT_EQ(cell(30, 74), (std::vector<int>{0, 0, 200}));
    EXPECT_EQ(cell(44, 74), (std::vector<int>{2, 2, 200}));

    DisableLighting();
    EXPECT_FALSE(glIsEnabled(GL_LIGHTING));
    EnableLighting();
    EXPECT_TRUE(glIsEnabled(GL_LIGHTING));
    EXPECT_EQ(engine->renderState.lightingEnabled, 1);
}

// A volume texture in a stage switches its own target, GL_TEXTURE_3D, on
// and off; a preview takes the current shader off before it draws.
TEST_F(MaterialsGl, HatchingTexturesInAStageAndInThePreview)
{
    Start();
    Shader* glass = engine->AddShader("Glass");
    VolumeTexture volume;
    glass->stages[1].texture = &volume;
    engine->SetShader(glass);
    auto volumeOn = [] { return glIsEnabled(GL_TEXTURE_3D); };
    glActiveTextureARB(GL_TEXTURE1_ARB);
    EXPECT_TRUE(volumeOn());
    engine->SetShader(nullptr);
    EXPECT_FALSE(volumeOn());
    engine->SetShader(glass);
    EXPECT_TRUE(volumeOn());
    ProceduralTexture picture;
    picture.Create(8, 8, 24, 1, false);
    picture.Fill(10, 20, 30, 0);
    picture.Upload();
    picture.DrawPreview(1.0f);
    EXPECT_EQ(engine->currentShader, nullptr);
    EXPECT_EQ(engine->currentTexture, &picture);
    EXPECT_FALSE(ReadUnit(1).texture2D);
    EXPECT_EQ(engine->renderState.unitTextureEnabled[1], 0);
    glActiveTextureARB(GL_TEXTURE1_ARB);
    EXPECT_FALSE(volumeOn());
    glActiveTextureARB(GL_TEXTURE0_ARB);
    EXPECT_EQ(Integer(GL_ACTIVE_TEXTURE), GL_TEXTURE0);
    EXPECT_EQ(GLuint(Integer(GL_TEXTURE_BINDING_2D)), picture.id);
    picture.FreePixels();
    engine->SetTexture(nullptr);
}

// The stage key "anisotropy", ours. Left out, a stage leaves its texture's
// filtering alone (a degree set from outside stays); above 1, the texture
// the stage holds when it is applied gets the degree, clamped to the
// driver's, once: a degree changed behind its back stays until another
// texture is put into the stage (as the demo puts its art map there) or
// the definition is read again.
TEST_F(MaterialsGl, AnisotropyIsOptInAndGivenOnceToTheTextureTheStageHolds)
{
    Start(std::string(kDefinitions) + "[Sharp]\nnbstages=1\n[Sharp - TU0]\nmap=tga\\b.tga\n"
                                      "anisotropy=4\n[Sharpest]\nnbstages=1\n"
                                      "[Sharpest - TU0]\nmap=tga\\c.tga\nanisotropy=1000\n");
    WriteTarga(dir.path + "/tga/c.tga", 4, 4, 24, [](uint32_t, uint32_t, uint8_t*) {});
    if (!engine->capabilities.hasAnisotropicFilter)
        GTEST_SKIP() << "the driver has no GL_EXT_texture_filter_anisotropic";
    GLfloat driverMax = 0;
    glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &driverMax);
    EXPECT_EQ(engine->capabilities.maxAnisotropy, driverMax);
    ASSERT_GE(driverMax, 4.0f);
    auto degree = [](GLenum target, Texture* texture)
    {
        glBindTexture(target, texture->id);
        GLfloat v = 0;
        glGetTexParameterfv(target, GL_TEXTURE_MAX_ANISOTROPY_EXT, &v);
        return v;
    };
    auto setDegree = [](GLenum target, Texture* texture, GLfloat v)
    {
        glBindTexture(target, texture->id);
        glTexParameterf(target, GL_TEXTURE_MAX_ANISOTROPY_EXT, v);
    };

    Shader* twin = engine->AddShader("Twin");
    Texture* a = twin->stages[0].texture;
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(degree(GL_TEXTURE_2D, a), 1.0f);
    setDegree(GL_TEXTURE_2D, a, 3.0f);
    engine->SetShader(twin);
    EXPECT_EQ(degree(GL_TEXTURE_2D, a), 3.0f);

    Shader* sharp = engine->AddShader("Sharp");
    Texture* b = sharp->stages[0].texture;
    ASSERT_NE(b, nullptr);
    engine->SetShader(sharp);
    EXPECT_EQ(degree(GL_TEXTURE_2D, b), 4.0f);
    setDegree(GL_TEXTURE_2D, b, 2.0f);
    engine->SetShader(nullptr);
    engine->SetShader(sharp);
    EXPECT_EQ(degree(GL_TEXTURE_2D, b), 2.0f) << "set again at every Apply";

    // A volume in its place, as the demo's art map: its own target.
    VolumeTexture volume;
    glGenTextures(1, &volume.id);
    glBindTexture(GL_TEXTURE_3D, volume.id);
    const GLubyte voxels[8] = {0, 255, 0, 255, 255, 0, 255, 0};
    glTexImage3D(GL_TEXTURE_3D, 0, GL_LUMINANCE, 2, 2, 2, 0, GL_LUMINANCE, GL_UNSIGNED_BYTE,
                 voxels);
    sharp->stages[0].texture = &volume;
    engine->SetShader(nullptr);
    engine->SetShader(sharp);
    EXPECT_EQ(degree(GL_TEXTURE_3D, &volume), 4.0f);
    EXPECT_EQ(degree(GL_TEXTURE_2D, b), 2.0f);

    // Read again, the definition gives its degree anew.
    engine->ReloadShaders();
    engine->SetShader(nullptr);
    engine->SetShader(sharp);
    EXPECT_EQ(degree(GL_TEXTURE_2D, b), 4.0f);

    // Clamped to the driver's; nothing at all where the driver has none.
    Shader* sharpest = engine->AddShader("Sharpest");
    ASSERT_NE(sharpest->stages[0].texture, nullptr);
    engine->SetShader(sharpest);
    EXPECT_EQ(degree(GL_TEXTURE_2D, sharpest->stages[0].texture), driverMax);
    engine->capabilities.hasAnisotropicFilter = false;
    sharpest->stages[0].texture = a;
    engine->SetShader(nullptr);
    engine->SetShader(sharpest);
    EXPECT_EQ(degree(GL_TEXTURE_2D, a), 3.0f);
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
    glDeleteTextures(1, &volume.id);
}

// The shipped definition of "Font" with the glyphs tessimo-font renders:
// dark ink on white paper, blended by coverage, inside the text's band
// only.
TEST_F(MaterialsGl, TheShippedFontWritesDarkInkOnWhitePaper)
{
    std::string generated = std::string(getenv("TESSIMO_BINARY_DIR")) + "/data/generated/";
    WriteFile(dir.path + "/tga/Font.tga", ReadText(generated + "Font.tga"));
    Start(ReadText(testsupport::SourcePath("data/ini/Shaders.ini")));
    ASSERT_NE(engine->font->shader->stages[0].texture, nullptr);
    glClearColor(1, 1, 1, 1);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    engine->Begin2D(256, 256);
    glColor4f(1, 1, 1, 1);
    engine->font->Print(4, 40, "Hello, World 0123");
    engine->End2D();
    std::vector<GLubyte> frame(256 * 256 * 3);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, 256, 256, GL_RGB, GL_UNSIGNED_BYTE, frame.data());
    if (const char* out = getenv("TESSIMO_FONT_FRAME"))
    {
        std::string ppm = "P6 256 256 255\n";
        for (int y = 255; y >= 0; --y)
            ppm.append(reinterpret_cast<const char*>(&frame[size_t(y) * 256 * 3]), 256 * 3);
        WriteFile(out, ppm);
    }
    // Pixel (x, y) of the 2D mode, y from the top.
    auto at = [&](int x, int y) { return &frame[(size_t(255 - y) * 256 + x) * 3]; };
    const std::string text = "Hello, World 0123";
    int stray = 0;
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
        {
            bool inBand = y >= 28 && y < 40 && x >= 4 && x < 4 + int(text.size()) * 7 + 5;
            const GLubyte* p = at(x, y);
            stray += !inBand && (p[0] != 255 || p[1] != 255 || p[2] != 255);
        }
    EXPECT_EQ(stray, 0) << "the quads leave the paper white around the text";
    for (size_t i = 0; i < text.size(); ++i)
    {
        int dark = 0;
        for (int y = 28; y < 40; ++y)
            for (int x = 4 + 7 * int(i); x < 11 + 7 * int(i); ++x)
                dark += at(x, y)[0] < 96 && at(x, y)[1] < 96 && at(x, y)[2] < 96;
        if (text[i] != ' ')
        {
            EXPECT_GE(dark, 1) << "character " << i << " '" << text[i] << "'";
        }
    }
}

} // namespace
