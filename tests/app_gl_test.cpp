// On a real GL context (SDL's offscreen driver): the window, its log and
// boxes, LookAt against gluLookAt, the real program.
#include <gtest/gtest.h>

#include <SDL.h>
#include <regex>

#include "app/gl_entry_points.h"
#include "app/log.h"
#include "platform/gl_window.h"
#include "resources/shader.h"
#include "support/gl_context.h"
#include "support/material_files.h"
#include "support/process.h"
#include "support/report_capture.h"

namespace
{

using namespace testsupport;

const char* const kDrawn = R"(- tessimo has drawn \d+ frames in \d+ seconds, average FPS : .+)";
const char* const kNoFrames =
    R"(- tessimo has drawn 0 frames in [0-9] seconds, average FPS : (-?nan|0\.000000))";
const char* const kShutdown = R"(- shutting down at \d+h \d+m \d+s)";

// The log up to the attempt to open a `mode` window, and the opening.
std::vector<std::string> Opening(const std::string& mode, bool opened, int stencil = 0,
                                 int depth = 16, const char* title = "Test")
{
    std::vector<std::string> log = {
        "TESSIMO 2 engine log file", R"(log created the \d+/\d+/\d+ at \d+h \d+m \d+s)", "",
        "- trying to create windowed application <" + std::string(title) + "> in " + mode +
            " with a " + std::to_string(stencil) + R"( bit\(s\) stencil buffer and a )" +
            std::to_string(depth) + " bits z-buffer"};
    if (opened)
        log.insert(log.end(), {"- showing the window", "- setting up perspective and GL variables",
                               "- that's running!"});
    return log;
}

void ExpectLines(const std::vector<std::string>& patterns)
{
    std::vector<std::string> lines = Lines(ReadText(TESSIMO_LOG_FILE));
    ASSERT_EQ(lines.size(), patterns.size()) << ReadText(TESSIMO_LOG_FILE);
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_TRUE(std::regex_match(lines[i], std::regex(patterns[i])))
            << "line " << i + 1 << ": " << lines[i] << "\n expected: " << patterns[i];
}

struct WindowGl : ::testing::Test
{
    void SetUp() override { g_window->frameCount = 0; }
    void TearDown() override
    {
        SetGlStepFailure(GlStep::None);
        g_window->Destroy();
    }
    // "text|caption|style" of each box shown.
    std::vector<std::string> Shown()
    {
        std::vector<std::string> shown;
        for (const auto& b : boxes.boxes)
            shown.push_back(b.text + "|" + b.caption + "|" + std::to_string(b.style));
        return shown;
    }
    testsupport::TempDir temp;
    testsupport::ReportCapture boxes;
};

TEST_F(WindowGl, CreateLookAtRecreateAndDestroyWithTheirLog)
{
    ASSERT_TRUE(g_window->Create("Test", 320, 240, 32, 8, 24, 1));
    std::vector<std::string> log = Opening("320x240@32", true, 8, 24);
    GLint depth = 0, stencil = 0, viewport[4] = {};
    glGetIntegerv(GL_DEPTH_BITS, &depth);
    glGetIntegerv(GL_STENCIL_BITS, &stencil);
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_TRUE(depth >= 24 && stencil >= 8) << depth << " " << stencil;
    EXPECT_EQ(viewport[2] * 1000 + viewport[3], 320240);
    // LookAt as gluLookAt has it (column-major); the first and last derive
    // their up: the world's, or from straight above (where the fast inverse
    // square root, up to 0.18% short, must give exactly 1) a horizontal one.
    const Vec4 views[][3] = {{{3, 2, -7}, {-1, 0.5f, 2}, {0, 1, 0}},
                             {{10, 20, 30}, {1, 2, 3}, {0.3f, 0.9f, -0.1f}},
                             {{-4, 1, 0}, {0, 0, 0}, {0, 0, 2}},
                             {{0, 138.75f, 0}, {0, 0, 0}, {0, 0, -1}}};
    glMatrixMode(GL_MODELVIEW);
    for (const auto& [e, t, u] : views)
    {
        float gl[16];
        glLoadIdentity();
        gluLookAt(e.x, e.y, e.z, t.x, t.y, t.z, u.x, u.y, u.z);
        glGetFloatv(GL_MODELVIEW_MATRIX, gl);
        Matrix4 ours;
        &e == &views[0][0] || &e == &views[3][0] ? ours.LookAt(e, t) : ours.LookAt(e, t, u);
        for (int i = 0; i < 16; ++i)
            EXPECT_NEAR(ours.m[i], gl[4 * (i % 4) + i / 4], 0.004f * (1 + std::fabs(ours.m[i])))
                << i;
    }
    g_window->Swap();
    g_window->Swap();
    EXPECT_EQ(g_window->frameCount, 2);

    // Destroy twice: its two lines each time; two frames in no time are a
    // float division by 0.
    g_window->Destroy();
    g_window->Destroy();
    log.insert(log.end(), {R"(- tessimo has drawn 2 frames in (0 seconds, average FPS : inf|)"
                           R"([1-9]\d* seconds, average FPS : \d+\.\d{6}))",
                           kShutdown, kDrawn, kShutdown});
    ExpectLines(log);

    // A deeper depth buffer than the driver has takes the deepest one; a
    // Recreate starts the log again and keeps counting frames.
    ASSERT_TRUE(g_window->Create("Test", 200, 100, 16, 0, 32, 1));
    g_window->Swap();
    ASSERT_TRUE(g_window->Recreate(1));
    EXPECT_EQ(g_window->frameCount, 3);
    ExpectLines(Opening("200x100@16", true, 0, 32));
    EXPECT_TRUE(boxes.boxes.empty());
}

// Each step that fails: its box and its log line, in the order of the steps.
const char* const kFailures =
    R"(Failed To Register The Window Class.|failed to register the window class
Window Creation Error.|
Can't Create A GL Device Context.|can' create a GL device context
Can't Find A Suitable PixelFormat.|can't find a suitable pixelformat
Can't Set The PixelFormat.|can't set the pixelformat
Can't Create A GL Rendering Context.|can't create a GL rendering context
Can't Activate The GL Rendering Context.|can't activate the GL rendering context
Release Of DC And RC Failed.|release of DC and RC failed
Release Rendering Context Failed.|release of rendering context failed
Release Device Context Failed.|release device context failed
Could Not Release hWnd.|could not release HWND
Could Not Unregister Class.|could not unregister class)";

TEST_F(WindowGl, EachFailingStepShowsItsBoxAndLogsItsLine)
{
    for (int i = 0; i < 12; ++i)
    {
        const auto step = static_cast<GlStep>(i ? i + 2 : 1); // all but ChangeDisplayMode
        const std::string texts = Lines(kFailures).at(i), box = texts.substr(0, texts.find('|')),
                          line = texts.substr(box.size() + 1);
        SCOPED_TRACE(texts);
        const bool release = step >= GlStep::ReleaseCurrent,
                   refused = step == GlStep::RegisterClass;
        // Create, the entry's Destroy (or the one that fails), and one more.
        boxes.boxes.clear();
        SetGlStepFailure(step);
        EXPECT_EQ(g_window->Create("Test", 320, 240, 16, 0, 16, 1), release);
        g_window->Destroy();
        SetGlStepFailure(GlStep::None);
        g_window->Destroy();
        // D: a Destroy's lines (Create's own first), #: the step's, u: no class.
        std::vector<std::string> log = Opening("320x240@16", release);
        for (char c : std::string(refused        ? "#DuD"
                                  : release      ? "D#D"
                                  : line.empty() ? "DDD"
                                                 : "D#DD"))
            if (c == 'D')
                log.insert(log.end(), {kDrawn, kShutdown});
            else
                log.push_back(c == '#' ? "## " + line + " ##" : "## could not unregister class ##");
        ExpectLines(log);
        std::vector<std::string> shown = {box + (release ? "|SHUTDOWN ERROR|64" : "|ERROR|48")};
        if (refused)
            shown.push_back("Could Not Unregister Class.|SHUTDOWN ERROR|64");
        EXPECT_EQ(Shown(), shown);
    }
    // Sizes no driver or pixel format here has are refused with their box;
    // a fullscreen mode no display offers asks, No closes, Yes goes on in a
    // window and the log keeps the mode asked for.
    boxes.boxes.clear();
    boxes.answer = IDNO;
    EXPECT_FALSE(g_window->Create("Test", 333, 222, 16, 0, 16, 0));
    EXPECT_EQ(Lines(ReadText(TESSIMO_LOG_FILE)).size(), 4u);
    g_window->Destroy();
    EXPECT_FALSE(g_window->Create("Test", 100000, 100000, 16, 0, 16, 1));
    EXPECT_FALSE(g_window->Create("Test", 64, 64, 16, 0, 64, 1));
    boxes.answer = IDYES;
    ASSERT_TRUE(g_window->Create("Test", 333, 222, 16, 0, 16, 0));
    EXPECT_EQ(g_window->windowed, 0);
    EXPECT_EQ(Lines(ReadText(TESSIMO_LOG_FILE)).at(3),
              "- trying to create fullscreen application <Test> in 333x222@16 with a 0 bit(s) "
              "stencil buffer and a 16 bits z-buffer");
    g_window->Destroy();
    const std::string question = "The Requested Fullscreen Mode Is Not Supported By\nYour Video "
                                 "Card. Use Windowed Mode Instead?|Ruvo GL|52";
    EXPECT_EQ(Shown(),
              (std::vector<std::string>{question, "Program Will Now Close.|ERROR|16",
                                        "Window Creation Error.|ERROR|48",
                                        "Can't Find A Suitable PixelFormat.|ERROR|48", question}));
    // The mode the display has: no question.
    SDL_DisplayMode desktop;
    ASSERT_EQ(SDL_InitSubSystem(SDL_INIT_VIDEO), 0);
    ASSERT_EQ(SDL_GetDesktopDisplayMode(0, &desktop), 0);
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    EXPECT_TRUE(g_window->Create("Test", desktop.w, desktop.h, 32, 0, 16, 0));
    EXPECT_EQ(boxes.boxes.size(), 5u);
}

// The real program with the built data: too wide, or no width, ends with
// status 1, and Create's Destroy, the entry's and ExitCleanup each close the
// log with the time of a run without frames.
TEST_F(WindowGl, ProgramEndedByARefusedWindow)
{
    const std::string run = testsupport::Env("TESSIMO_RUN_DIR");
    ASSERT_EQ(system(("cp -r '" + run + "/ini' '" + run + "/data.rar' .").c_str()), 0);
    for (const std::string width : {"100000", "0"})
    {
        remove(TESSIMO_LOG_FILE);
        testsupport::WriteText("ini/tessimo2.ini", "[3D engine]\nwindow_width=" + width);
        EXPECT_EQ(testsupport::WaitExit(testsupport::StartProgram("", "dummy"), 30), 1);
        std::vector<std::string> lines = Opening(width + "x600@16", 0, 0, 16, "Tessimo 2 Engine");
        for (int i = 0; i < 3; ++i)
            lines.insert(lines.end(), {kNoFrames, kShutdown});
        ExpectLines(lines);
    }
}

} // namespace
