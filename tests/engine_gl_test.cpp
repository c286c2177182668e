// The engine core on a real GL context (SDL's offscreen driver on Mesa):
// the frame driver stepped by a manual counter, the capability probes
// against what the driver really lists, a doctored extension list with
// every required extension missing, InitGL and the 2D mode.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "app/format_string.h"
#include "app/gl_entry_points.h"
#include "app/gl_setup.h"
#include "app/input.h"
#include "app/window.h"
#include "console/console.h"
#include "demo/hatching_demo.h"
#include "engine/engine.h"
#include "platform/counter.h"
#include "platform/keys.h"
#include "support/files.h"
#include "support/gl_context.h"
#include "support/message_box_capture.h"
#include "support/required_extensions.h"

namespace
{

using testsupport::MessageBoxCapture;
using testsupport::ReadText;
using testsupport::TempDir;

std::vector<std::string> ConsoleLines(const Console* console)
{
    std::vector<std::string> lines;
    for (uint32_t i = 0; i < console->HeldLines(); ++i)
        lines.push_back(console->Line(i));
    return lines;
}

// Makes `engine` the one g_engine for a scope: the font that Init makes
// asks it for its shader.
struct CurrentEngine
{
    explicit CurrentEngine(EngineBase* engine) { g_engine = engine; }
    ~CurrentEngine() { g_engine = nullptr; }
};

// One window and GL context for the whole suite, in a folder of its own
// (the log is written to the current directory).
class EngineGl : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        dir = new TempDir;
        // The font's shader with no stage: Init then loads no texture and
        // adds nothing to the log.
        std::filesystem::create_directory(dir->path + "/ini");
        testsupport::WriteText(dir->path + "/ini/Shaders.ini", "[Font]\nnbstages=0\n");
        context = new testsupport::GlContext(128, 96);
    }
    static void TearDownTestSuite()
    {
        delete context;
        delete dir;
        UseSystemCounter();
    }
    void SetUp() override
    {
        ASSERT_TRUE(context->created) << "no GL context on the offscreen driver";
    }

    static TempDir* dir;
    static testsupport::GlContext* context;
};
TempDir* EngineGl::dir = nullptr;
testsupport::GlContext* EngineGl::context = nullptr;

// Counts the ticks of each frame; a tick may take time on the manual
// counter, `tickCounts` counts each.
class CountingEngine : public Engine
{
public:
    void Update() override
    {
        ++updates;
        if (clock)
        {
            *clock += tickCounts;
            SetManualCounter(*clock);
        }
    }
    int updates = 0;
    int64_t* clock = nullptr;
    int64_t tickCounts = 0;
};

// Frequency of the manual counter: 1200 counts a second, so 1/120 s is a
// whole number of counts.
constexpr int64_t kFrequency = 1200;

// Runs one frame `counts` after the last one and returns its tick count.
int FrameAfter(CountingEngine& engine, int64_t& now, int64_t counts)
{
    now += counts;
    SetManualCounter(now);
    engine.updates = 0;
    engine.Frame();
    engine.EndFrame();
    return engine.updates;
}

TEST_F(EngineGl, FrameDriverRunsFixedTicksFromTheCounter)
{
    int64_t now = 1000 * kFrequency; // a machine that has run for a while
    UseManualCounter(kFrequency, now, 0);
    CountingEngine engine;
    // What the end of Init does: the first frame then measures from the
    // counter's origin, zeroes both accumulators, runs no tick and
    // publishes one frame per second.
    engine.stepTimer.Reset();
    engine.statsTimer.Reset();
    EXPECT_EQ(FrameAfter(engine, now, 0), 0);
    EXPECT_EQ(engine.GetFps(), 1);
    EXPECT_EQ(engine.updatePercent, 0);
    EXPECT_EQ(engine.renderPercent, 0);

    // At a steady 120 frames a second a tick runs every second frame.
    int ticks = 0;
    std::vector<int> pattern;
    for (int i = 0; i < 120; ++i)
    {
        int n = FrameAfter(engine, now, kFrequency / 120);
        EXPECT_LE(n, 1) << "frame " << i;
        ticks += n;
        pattern.push_back(n);
    }
    EXPECT_GE(ticks, 59);
    EXPECT_LE(ticks, 60);
    for (size_t i = 4; i + 1 < pattern.size(); ++i)
        EXPECT_EQ(pattern[i] + pattern[i + 1], 1) << "frames " << i << " and " << i + 1;

    // The second's sum has to pass 1.0 strictly: after 120 frames of
    // 1/120 s it has not, so the publication comes with frame 121.
    EXPECT_EQ(engine.GetFps(), 1);
    FrameAfter(engine, now, kFrequency / 120);
    EXPECT_EQ(engine.GetFps(), 121);
    // Then it holds until the next second has passed.
    for (int i = 0; i < 100; ++i)
        FrameAfter(engine, now, kFrequency / 120);
    EXPECT_EQ(engine.GetFps(), 121);

    // A frame shorter than a tick runs none; the remainder carries over.
    FrameAfter(engine, now, kFrequency); // a stall: backlog dropped
    EXPECT_EQ(FrameAfter(engine, now, 12), 0);
    EXPECT_EQ(FrameAfter(engine, now, 12), 1);

    // A backlog just under a second runs at most 59 ticks.
    FrameAfter(engine, now, kFrequency);
    EXPECT_EQ(FrameAfter(engine, now, kFrequency - 1), 59);

    // A stall of exactly one second (the clamp is reached at 1.0) or more
    // runs no tick at all.
    EXPECT_EQ(FrameAfter(engine, now, kFrequency), 0);
    EXPECT_EQ(FrameAfter(engine, now, 5 * kFrequency), 0);
    // From an empty backlog, a frame of exactly one second: 1.0 is clamped
    // too, so no frame ever runs 60 ticks.
    EXPECT_EQ(FrameAfter(engine, now, kFrequency), 0);
    UseSystemCounter();
}

TEST_F(EngineGl, PolygonCountAndPercentagesComeFromTheFrame)
{
    int64_t now = 50 * kFrequency;
    UseManualCounter(kFrequency, now, 0);
    CountingEngine engine;
    engine.stepTimer.Reset();
    engine.statsTimer.Reset();
    FrameAfter(engine, now, 0);
    // Each tick takes 2 counts (1/600 s); half of the rest of each 1/10 s
    // frame is spent drawing, Frame's last reading to EndFrame's.
    engine.clock = &now;
    engine.tickCounts = 2;
    int ticksBefore = 0; // ticks of the frames before the publishing one
    int publishedAt = -1;
    for (int i = 0; i < 12 && publishedAt < 0; ++i)
    {
        engine.polygonCount = 1234;
        engine.updates = 0;
        now += kFrequency / 20;
        SetManualCounter(now);
        engine.Frame();
        EXPECT_EQ(engine.polygonCount, 0);
        if (engine.GetFps() != 1)
            publishedAt = i;
        else
            ticksBefore += engine.updates;
        now += kFrequency / 20;
        SetManualCounter(now);
        engine.EndFrame();
    }
    // The second's sum passes 1.0 strictly within the eleventh frame at
    // the latest (ticks lengthen the frames), and that frame publishes the
    // frames before it plus itself.
    ASSERT_GE(publishedAt, 9);
    EXPECT_EQ(engine.GetFps(), publishedAt + 1);
    EXPECT_GE(ticksBefore, 6 * publishedAt);
    int updatePercent = ticksBefore * 2 * 100 / kFrequency;
    EXPECT_GE(engine.updatePercent, updatePercent - 1);
    EXPECT_LE(engine.updatePercent, updatePercent);
    EXPECT_GE(engine.renderPercent, publishedAt * 5 - 1);
    EXPECT_LE(engine.renderPercent, publishedAt * 5);
    UseSystemCounter();
}

TEST_F(EngineGl, TimerMeasuresFromConstructionAndResetKeepsTheFrequency)
{
    UseManualCounter(1000, 5000, 0);
    Timer timer;
    SetManualCounter(5250);
    timer.Tick();
    EXPECT_DOUBLE_EQ(timer.delta, 0.25);
    SetManualCounter(5500);
    timer.Tick();
    EXPECT_DOUBLE_EQ(timer.total, 0.5);
    timer.Reset();
    EXPECT_EQ(timer.frequency, 1000);
    timer.Tick();
    EXPECT_DOUBLE_EQ(timer.delta, 5.5); // the raw counter value
    UseSystemCounter();
}

TEST_F(EngineGl, ExtensionWordsMatchWholeAndByCase)
{
    EXPECT_FALSE(ExtensionListContains("GL_NV_vertex_array_range2", "GL_NV_vertex_array_range"));
    EXPECT_TRUE(ExtensionListContains("GL_NV_vertex_array_range2", "GL_NV_vertex_array_range2"));
    EXPECT_TRUE(ExtensionListContains("GL_A GL_B", "GL_B"));
    EXPECT_TRUE(ExtensionListContains("GL_A GL_B ", "GL_B"));
    EXPECT_FALSE(ExtensionListContains("GL_A gl_b", "GL_B"));
    EXPECT_FALSE(ExtensionListContains("", "GL_A"));
    EXPECT_FALSE(ExtensionListContains("GL_AB", "GL_A"));
}

// Every probe's flag is what the driver lists, the console lines stand in
// the probes' order, and llvmpipe has every required extension.
TEST_F(EngineGl, ProbesMatchTheDriver)
{
    std::string list = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
    std::set<std::string> words;
    std::istringstream in(list);
    for (std::string w; in >> w;)
        words.insert(w);
    auto has = [&](const char* name) { return words.count(name) > 0; };

    MessageBoxCapture boxes;
    std::string before = ReadText(dir->path + "/tessimo2.log");
    Engine engine;
    CurrentEngine current(&engine);
    ASSERT_TRUE(engine.Init());
    EXPECT_TRUE(boxes.boxes.empty());
    EXPECT_EQ(ReadText(dir->path + "/tessimo2.log"), before);

    EXPECT_EQ(engine.hasMultitexture, has("GL_ARB_multitexture"));
    EXPECT_EQ(engine.hasEdgeClamp,
              has("GL_SGIS_texture_edge_clamp") || has("GL_EXT_texture_edge_clamp"));
    EXPECT_EQ(engine.hasCompiledVertexArray, has("GL_EXT_compiled_vertex_array"));
    EXPECT_EQ(engine.hasVertexArrayRange, has("GL_NV_vertex_array_range"));
    EXPECT_EQ(engine.hasVertexArrayRange2, has("GL_NV_vertex_array_range2"));
    EXPECT_EQ(engine.hasRegisterCombiners, has("GL_NV_register_combiners"));
    EXPECT_EQ(engine.hasTransposeMatrix, has("GL_ARB_transpose_matrix"));
    EXPECT_EQ(engine.hasTexEnvCombine,
              has("GL_ARB_texture_env_combine") || has("GL_EXT_texture_env_combine"));
    EXPECT_EQ(engine.hasTexEnvDot3, has("GL_ARB_texture_env_dot3"));
    EXPECT_EQ(engine.hasGenerateMipmap, has("GL_SGIS_generate_mipmap"));
    EXPECT_EQ(engine.hasVertexProgram, has("GL_ARB_vertex_program"));
    EXPECT_EQ(engine.hasTexture3D, has("GL_EXT_texture3D"));

    GLint units = 0;
    glGetIntegerv(GL_MAX_TEXTURE_UNITS_ARB, &units);
    EXPECT_EQ(engine.maxTextureUnits, units);
    EXPECT_GT(engine.maxTextureUnits, 1);
    GLint attribs = 0;
    glGetIntegerv(GL_MAX_VERTEX_ATTRIBS_ARB, &attribs);
    EXPECT_EQ(engine.maxVertexAttribs, attribs);
    // Limits the driver answers only per program target are read there.
    EXPECT_GT(engine.maxProgramInstructions, 0);
    EXPECT_GT(engine.maxProgramEnvParameters, 0);
    EXPECT_GT(engine.maxProgramMatrices, 0);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    // The fetched entry points work: the active unit can be switched.
    ASSERT_NE(ep_glActiveTextureARB, nullptr);
    glActiveTextureARB(GL_TEXTURE1_ARB);
    GLint active = 0;
    glGetIntegerv(GL_ACTIVE_TEXTURE_ARB, &active);
    EXPECT_EQ(active, GL_TEXTURE1_ARB);
    glActiveTextureARB(GL_TEXTURE0_ARB);
    EXPECT_NE(ep_glTexImage3D, nullptr);
    EXPECT_NE(ep_glProgramStringARB, nullptr);
    EXPECT_NE(ep_glMultTransposeMatrixfARB, nullptr);
    EXPECT_EQ(EntryPointCount(), 91);
    const EntryPointGroup groups[7] = {kGroupMultitexture,     kGroupCompiledVertexArray,
                                       kGroupVertexArrayRange, kGroupRegisterCombiners,
                                       kGroupTransposeMatrix,  kGroupVertexProgram,
                                       kGroupTexture3D};
    const int groupSizes[7] = {3, 2, 4, 13, 4, 62, 3};
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(EntryPointCount(groups[i]), groupSizes[i]) << "group " << i;

    std::vector<std::string> expected;
    if (engine.hasMultitexture)
    {
        expected.push_back("> multitexturing supported");
        expected.push_back("  " + std::to_string(units) + " texture unit");
    }
    if (engine.hasEdgeClamp)
        expected.push_back("> texture egde clamping supported");
    if (engine.hasCompiledVertexArray)
        expected.push_back("> compiled vertex array supported");
    if (engine.hasVertexArrayRange)
        expected.push_back("> vertex array range extension supported");
    if (engine.hasVertexArrayRange2)
        expected.push_back("> vertex array range 2 extension supported");
    if (engine.hasRegisterCombiners)
    {
        expected.push_back("> register combiners extension supported");
        expected.push_back("  " + std::to_string(engine.maxGeneralCombiners) +
                           " max general combiners");
    }
    if (engine.hasTransposeMatrix)
        expected.push_back("> transpose matrix extension supported");
    if (engine.hasTexEnvCombine)
        expected.push_back("> texture environment combine extension supported");
    if (engine.hasTexEnvDot3)
        expected.push_back("> dotproduct3 texture extension supported");
    if (engine.hasGenerateMipmap)
        expected.push_back("> sgis generate mimap extension supported");
    if (engine.hasVertexProgram)
        expected.push_back("> arb vertex program supported");
    if (engine.hasTexture3D)
        expected.push_back("> 3d texture supported");
    EXPECT_EQ(ConsoleLines(static_cast<Console*>(engine.console)), expected);
}

// A driver with a doctored extension list. The probes go through the
// virtual test; the word test itself is the engine's.
class DoctoredEngine : public Engine
{
public:
    explicit DoctoredEngine(const char* list) : list(list) {}
    bool ExtensionSupported(const char* name) override { return ExtensionListContains(list, name); }
    const char* list;
};

TEST_F(EngineGl, MissingExtensionsAreToldInTheLogAndInBoxes)
{
    MessageBoxCapture boxes;
    std::string log = dir->path + "/tessimo2.log";
    std::string before = ReadText(log);
    // Only the second vertex array range: the first is not found by prefix.
    DoctoredEngine engine("GL_EXT_texture_edge_clamp GL_NV_vertex_array_range2");
    CurrentEngine current(&engine);
    EXPECT_TRUE(engine.Init());

    EXPECT_FALSE(engine.hasMultitexture);
    EXPECT_TRUE(engine.hasEdgeClamp);
    EXPECT_FALSE(engine.hasVertexArrayRange);
    EXPECT_TRUE(engine.hasVertexArrayRange2);
    EXPECT_FALSE(engine.hasTexEnvCombine);
    EXPECT_EQ(engine.maxTextureUnits, 1);
    EXPECT_EQ(engine.maxProgramInstructions, 0);

    // The five texts follow each other with no line feed between them.
    std::string texts;
    for (const testsupport::RequiredExtension& r : testsupport::kRequiredExtensions)
        texts += r.logText;
    EXPECT_EQ(ReadText(log), before + texts);
    ASSERT_EQ(boxes.boxes.size(), 5u);
    for (int i = 0; i < 5; ++i)
    {
        EXPECT_EQ(boxes.boxes[i].text, testsupport::kRequiredExtensions[i].boxText);
        EXPECT_EQ(boxes.boxes[i].caption, testsupport::kRequiredExtensions[i].caption);
        EXPECT_EQ(boxes.boxes[i].style, 0u);
    }
    EXPECT_EQ(ConsoleLines(static_cast<Console*>(engine.console)),
              (std::vector<std::string>{"> texture egde clamping supported",
                                        "> vertex array range 2 extension supported"}));
    // Put the log back for the other tests of the suite.
    testsupport::WriteText(log, before);
}

TEST_F(EngineGl, InitGLLogsTheDriverAndSetsTheDefaults)
{
    std::string log = dir->path + "/tessimo2.log";
    std::string before = ReadText(log);
    // Move every state InitGL sets away from its value first, as a context
    // used for a while would have it.
    glClearColor(0, 1, 1, 1);
    glClearDepth(0.25);
    glClearStencil(3);
    glDisable(GL_DEPTH_TEST);
    glDepthFunc(GL_ALWAYS);
    glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_FASTEST);
    glDisable(GL_TEXTURE_2D);
    glShadeModel(GL_FLAT);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, 1);
    glDisable(GL_LIGHTING);
    EXPECT_TRUE(InitGL());
    auto str = [](GLenum e) { return std::string(reinterpret_cast<const char*>(glGetString(e))); };
    EXPECT_EQ(ReadText(log), before + "- init openGL engine :\n    + vendor   : " + str(GL_VENDOR) +
                                 "\n    + renderer : " + str(GL_RENDERER) +
                                 "\n    + version  : " + str(GL_VERSION) +
                                 "\n    + listing all extensions : " + str(GL_EXTENSIONS) + "\n");
    GLfloat clear[4];
    glGetFloatv(GL_COLOR_CLEAR_VALUE, clear);
    EXPECT_FLOAT_EQ(clear[0], 0.5f);
    EXPECT_FLOAT_EQ(clear[1], 0);
    EXPECT_FLOAT_EQ(clear[2], 0);
    EXPECT_FLOAT_EQ(clear[3], 0);
    GLfloat depthClear = 0;
    glGetFloatv(GL_DEPTH_CLEAR_VALUE, &depthClear);
    EXPECT_FLOAT_EQ(depthClear, 1.0f);
    GLint stencilClear = -1, hint = 0, twoSide = -1;
    glGetIntegerv(GL_STENCIL_CLEAR_VALUE, &stencilClear);
    glGetIntegerv(GL_PERSPECTIVE_CORRECTION_HINT, &hint);
    glGetIntegerv(GL_LIGHT_MODEL_TWO_SIDE, &twoSide);
    EXPECT_EQ(stencilClear, 0);
    EXPECT_EQ(hint, GL_NICEST);
    EXPECT_EQ(twoSide, 0);
    EXPECT_TRUE(glIsEnabled(GL_DEPTH_TEST));
    EXPECT_TRUE(glIsEnabled(GL_LIGHTING));
    EXPECT_TRUE(glIsEnabled(GL_TEXTURE_2D));
    GLint func = 0, shade = 0;
    glGetIntegerv(GL_DEPTH_FUNC, &func);
    glGetIntegerv(GL_SHADE_MODEL, &shade);
    EXPECT_EQ(func, GL_LEQUAL);
    EXPECT_EQ(shade, GL_SMOOTH);
    testsupport::WriteText(log, before);
}

TEST_F(EngineGl, PerspectiveAnd2DModeReadBack)
{
    SetPerspective(200, 0, 0.1f, 1000.0f); // a height of 0 becomes 1
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 200);
    EXPECT_EQ(viewport[3], 1);
    float w, h, n, f;
    GetPerspective(&w, &h, &n, &f);
    EXPECT_EQ(w, 200);
    EXPECT_EQ(h, 1);

    SetPerspective(128, 96, 0.1f, 1000.0f);
    GLfloat projection[16];
    glGetFloatv(GL_PROJECTION_MATRIX, projection);
    float focal = 1.0f / std::tan(45.0 * M_PI / 360.0);
    EXPECT_NEAR(projection[5], focal, 1e-5);
    EXPECT_NEAR(projection[0], focal / (128.0f / 96.0f), 1e-5);

    Engine engine;
    glEnable(GL_LIGHTING);
    glEnable(GL_DEPTH_TEST);
    engine.Begin2D(128, 96);
    GLfloat ortho[16];
    glGetFloatv(GL_PROJECTION_MATRIX, ortho);
    EXPECT_FLOAT_EQ(ortho[0], 2.0f / 128);
    EXPECT_FLOAT_EQ(ortho[5], -2.0f / 96); // y grows downwards
    EXPECT_FLOAT_EQ(ortho[13], 1.0f);
    EXPECT_FALSE(glIsEnabled(GL_LIGHTING));
    EXPECT_FALSE(glIsEnabled(GL_DEPTH_TEST));
    GLint mode = 0;
    glGetIntegerv(GL_MATRIX_MODE, &mode);
    EXPECT_EQ(mode, GL_MODELVIEW);
    engine.End2D();
    glGetFloatv(GL_PROJECTION_MATRIX, ortho);
    EXPECT_FLOAT_EQ(ortho[5], projection[5]);
    // The depth test stays off until something asks for it.
    EXPECT_FALSE(glIsEnabled(GL_DEPTH_TEST));
    EXPECT_EQ(engine.depthTestEnabled, 0);
}

TEST_F(EngineGl, DemoDrawsOnWhitePaperAndStopsOnEscape)
{
    HatchingDemo demo;
    g_engine = &demo;
    ASSERT_TRUE(demo.Init());
    EXPECT_STREQ(demo.archiveName, "data.rar");
    EXPECT_STREQ(demo.archivePassword, "mirodune");
    EXPECT_EQ(demo.clearMask, 0x4500u);
    EXPECT_TRUE(demo.Frame());
    GLubyte pixel[4] = {};
    glReadPixels(10, 10, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
    EXPECT_EQ(pixel[0], 255);
    EXPECT_EQ(pixel[1], 255);
    EXPECT_EQ(pixel[2], 255);

    g_input->keys[VK_ESCAPE] = 1;
    float before = demo.renderSeconds;
    EXPECT_FALSE(demo.Frame());
    EXPECT_EQ(demo.renderSeconds, before); // no EndFrame on that frame
    g_input->keys[VK_ESCAPE] = 0;
    g_engine = nullptr;
}

// Row 3 of the overlay against known values: the integer product scaled by
// the float constant. At 1272 polygons ten frame rates up to 20000 print
// otherwise when the scaling is done in double precision (625, 4375, ...
// 19375); the product of large counts must not wrap.
TEST_F(EngineGl, OverlayRateScalesTheIntegerProductInSinglePrecision)
{
    auto row3 = [](int32_t fps, int32_t polygons)
    {
        char text[64];
        snprintf(text, sizeof text, "%.2f MPoly/s",
                 HatchingDemo::MegaPolygonsPerSecond(fps, polygons));
        return std::string(text);
    };
    EXPECT_EQ(row3(625, 1272), "0.80 MPoly/s");
    EXPECT_EQ(row3(4375, 1272), "5.57 MPoly/s");
    EXPECT_EQ(row3(19375, 1272), "24.65 MPoly/s");
    EXPECT_EQ(row3(624, 1272), "0.79 MPoly/s");
    EXPECT_EQ(row3(1, 0), "0.00 MPoly/s");
    EXPECT_EQ(row3(20000, 1000000), "20000.00 MPoly/s");
}

// Teardown reports the three registries in the console and saves its text
// to console.log in the current directory, the probe lines before them.
TEST_F(EngineGl, TeardownReportsAndSavesTheConsole)
{
    std::string saved = dir->path + "/console.log";
    std::remove(saved.c_str());
    {
        Engine engine;
        CurrentEngine current(&engine);
        ASSERT_TRUE(engine.Init());
        engine.console->Printf("> last line of the run");
    }
    std::string text = ReadText(saved);
    EXPECT_EQ(text.find("> multitexturing supported\n"), 0u);
    const std::string tail = "> last line of the run\n"
                             "> 1 shaders have been deleted\n"
                             "> 0 textures have been deleted\n"
                             "> 0 vertex program have been deleted\n";
    ASSERT_GE(text.size(), tail.size());
    EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
    std::remove(saved.c_str());
}

// The shared buffer: a null format leaves it alone, long results are cut
// to 255 characters, each call overwrites the last.
TEST_F(EngineGl, FormatStringSharesOneBoundedBuffer)
{
    const char* first = FormatString("%s-%d", "tick", 60);
    EXPECT_STREQ(first, "tick-60");
    EXPECT_EQ(FormatString(nullptr), nullptr);
    EXPECT_STREQ(first, "tick-60");
    std::string longText(600, 'x');
    const char* second = FormatString("%s", longText.c_str());
    EXPECT_EQ(second, first);
    EXPECT_EQ(std::strlen(second), 255u);
}

// Debug lines go through the cache: unit 0, lighting and texturing off,
// culling off for a line, and no shader current afterwards.
TEST_F(EngineGl, DebugLinesLeaveTheCacheAndGlInStep)
{
    Engine engine;
    CurrentEngine current(&engine);
    ASSERT_TRUE(engine.Init());
    glEnable(GL_LIGHTING);
    glEnable(GL_TEXTURE_2D);
    glEnable(GL_CULL_FACE);
    engine.cullFaceEnabled = 1;
    glActiveTextureARB(GL_TEXTURE1_ARB);
    engine.activeTextureUnit = GL_TEXTURE1_ARB;

    SetPerspective(128, 96, 0.1f, 1000.0f);
    glClearColor(0, 0, 0, 0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glColor3f(1, 1, 1);
    Vec4 ray[2] = {Vec4(-1, 0, -5), Vec4(0, 0, 0)};
    engine.DrawRay(ray);
    EXPECT_EQ(engine.activeTextureUnit, static_cast<GLenum>(GL_TEXTURE0_ARB));
    GLint active = 0;
    glGetIntegerv(GL_ACTIVE_TEXTURE_ARB, &active);
    EXPECT_EQ(active, GL_TEXTURE0_ARB);
    EXPECT_FALSE(glIsEnabled(GL_LIGHTING));
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
    EXPECT_TRUE(glIsEnabled(GL_CULL_FACE)); // only DrawLine turns it off
    EXPECT_EQ(engine.currentShader, nullptr);

    // A horizontal line across the middle of the view is read back white.
    engine.DrawLine(Vec4(-10, 0, -5), Vec4(10, 0, -5));
    EXPECT_FALSE(glIsEnabled(GL_CULL_FACE));
    EXPECT_EQ(engine.cullFaceEnabled, 0);
    std::vector<GLubyte> column(96 * 4);
    glReadPixels(64, 0, 1, 96, GL_RGBA, GL_UNSIGNED_BYTE, column.data());
    int lit = 0;
    for (int y = 0; y < 96; ++y)
        lit += column[y * 4] == 255;
    EXPECT_GE(lit, 1);
    EXPECT_LE(lit, 2);
    glClearColor(0.5f, 0, 0, 0);
}

} // namespace
