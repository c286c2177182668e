// The engine on a real GL context: the frame driver, InitGL, 2D mode, debug
// lines, the demo's end, the render state cache.
#include <gtest/gtest.h>

#include <cmath>

#include "app/format_string.h"
#include "app/input.h"
#include "demo/hatching_demo.h"
#include "platform/counter.h"
#include "platform/keys.h"
#include "resources/vertex_array_pool.h"
#include "support/engine_gl.h"
#include "support/model_file.h"

namespace
{

using namespace testsupport;

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

// The frame driver's ticks, stalls, backlog and percentages; the states
// InitGL owns and 2D mode; debug lines; Escape ending the demo; the render
// state cache sending a change only where its mirror differs.
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

} // namespace
