// The application shell on a real GL context (SDL's offscreen driver):
// Window::Create and Destroy with their log text, the pixel format, the
// failure table with its boxes and lines, the fullscreen question, LookAt
// against gluLookAt; then the real program, headless, ended by a signal,
// by its failed sound start-up and by a refused window.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <GL/glu.h>
#include <SDL.h>
#include <cmath>
#include <csignal>
#include <cstring>
#include <regex>
#include <string>

#include "app/log.h"
#include "app/math.h"
#include "app/window.h"
#include "platform/gl_window.h"
#include "platform/messages.h"
#include "support/files.h"
#include "support/process.h"
#include "support/report_capture.h"

namespace
{

using testsupport::Env;
using testsupport::ReadText;
using testsupport::WriteText;

std::vector<std::string> LogLines()
{
    return testsupport::Lines(ReadText(TESSIMO_LOG_FILE));
}

const char* const kCreated = R"(log created the \d+/\d+/\d+ at \d+h \d+m \d+s)";
const char* const kDrawn = R"(- tessimo has drawn (\d+) frames in (\d+) seconds, average FPS : )"
                           R"((inf|-?nan|\d+\.\d{6}))";
const char* const kShutdown = R"(- shutting down at \d+h \d+m \d+s)";

void ExpectLines(const std::vector<std::string>& patterns)
{
    std::vector<std::string> lines = LogLines();
    ASSERT_EQ(lines.size(), patterns.size()) << ReadText(TESSIMO_LOG_FILE);
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_TRUE(std::regex_match(lines[i], std::regex(patterns[i])))
            << "line " << i + 1 << ": " << lines[i] << "\n expected: " << patterns[i];
}

std::string Trying(const char* mode, const char* rest)
{
    return std::string("- trying to create ") + mode + " application <Test> in " + rest;
}

void ExpectBox(const testsupport::CapturedBox& box, const char* text, const char* caption,
               unsigned style)
{
    EXPECT_EQ(box.text, text);
    EXPECT_EQ(box.caption, caption);
    EXPECT_EQ(box.style, style);
}

class WindowGl : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(temp.path.empty());
        ClearMessageQueue();
        SetGlStepFailure(GlStep::None);
        g_window->frameCount = 0;
    }
    void TearDown() override
    {
        SetGlStepFailure(GlStep::None);
        g_window->Destroy();
    }
    testsupport::TempDir temp;
    testsupport::ReportCapture boxes;
};

TEST_F(WindowGl, CreateGivesTheFormatAskedForAndWritesTheLog)
{
    ASSERT_TRUE(g_window->Create("Test", 320, 240, 32, 8, 24, 1));
    EXPECT_STREQ(g_window->title, "Test");
    EXPECT_EQ(g_window->width, 320);
    EXPECT_EQ(g_window->active, 1);
    EXPECT_EQ(g_window->windowed, 1);
    ExpectLines({"TESSIMO 2 engine log file", kCreated, "",
                 Trying("windowed",
                        R"(320x240@32 with a 8 bit\(s\) stencil buffer and a 24 bits z-buffer)"),
                 "- showing the window", "- setting up perspective and GL variables",
                 "- that's running!"});
    GLint depth = 0, stencil = 0, red = 0, viewport[4] = {};
    glGetIntegerv(GL_DEPTH_BITS, &depth);
    glGetIntegerv(GL_STENCIL_BITS, &stencil);
    glGetIntegerv(GL_RED_BITS, &red);
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_GE(depth, 24);
    EXPECT_GE(stencil, 8);
    EXPECT_GE(red, 8);
    EXPECT_EQ(viewport[2], 320);
    EXPECT_EQ(viewport[3], 240);

    // A frame drawn (read back before it is presented: what a swap leaves in
    // the back buffer is undefined), then presented twice.
    glClearColor(0.0f, 1.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    unsigned char pixel[4] = {};
    glReadPixels(10, 10, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
    EXPECT_EQ(pixel[0], 0);
    EXPECT_EQ(pixel[1], 255);
    g_window->Swap();
    g_window->Swap();
    EXPECT_EQ(g_window->frameCount, 2);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    g_window->Destroy();
    g_window->Destroy(); // again: only its two lines
    std::vector<std::string> lines = LogLines();
    ASSERT_EQ(lines.size(), 11u);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(lines[7], m, std::regex(kDrawn))) << lines[7];
    EXPECT_EQ(m[1], "2");
    if (m[2] == "0")
    {
        EXPECT_EQ(m[3], "inf"); // two frames in no time: a float division by 0
    }
    EXPECT_TRUE(std::regex_match(lines[8], std::regex(kShutdown)));
    EXPECT_TRUE(std::regex_match(lines[9], std::regex(kDrawn)));
    EXPECT_TRUE(boxes.boxes.empty());

    // A deeper depth buffer than the driver has takes the deepest one.
    ASSERT_TRUE(g_window->Create("Test", 64, 64, 32, 8, 32, 1));
    glGetIntegerv(GL_DEPTH_BITS, &depth);
    glGetIntegerv(GL_STENCIL_BITS, &stencil);
    EXPECT_GE(depth, 24);
    EXPECT_EQ(stencil, 8);
    EXPECT_TRUE(boxes.boxes.empty());
}

TEST_F(WindowGl, RecreateStartsTheLogAgainAndKeepsCounting)
{
    ASSERT_TRUE(g_window->Create("Test", 200, 100, 16, 0, 16, 1));
    g_window->Swap();
    ASSERT_TRUE(g_window->Recreate(1));
    EXPECT_EQ(g_window->frameCount, 1);
    EXPECT_NE(glGetString(GL_VERSION), nullptr);
    std::vector<std::string> lines = LogLines();
    ASSERT_EQ(lines.size(), 7u);
    EXPECT_EQ(lines[3], Trying("windowed", "200x100@16 with a 0 bit(s) stencil buffer and a 16 "
                                           "bits z-buffer"));
}

TEST_F(WindowGl, EachFailingStepShowsItsBoxAndLogsItsLine)
{
    struct
    {
        GlStep step;
        const char* box;
        const char* logLine; // null: none
        bool destroyFirst;
    } const cases[] = {
        {GlStep::RegisterClass, "Failed To Register The Window Class.",
         "## failed to register the window class ##", false},
        {GlStep::CreateWindow, "Window Creation Error.", nullptr, true},
        {GlStep::GetDC, "Can't Create A GL Device Context.",
         "## can' create a GL device context ##", true},
        {GlStep::ChoosePixelFormat, "Can't Find A Suitable PixelFormat.",
         "## can't find a suitable pixelformat ##", true},
        {GlStep::SetPixelFormat, "Can't Set The PixelFormat.", "## can't set the pixelformat ##",
         true},
        {GlStep::CreateContext, "Can't Create A GL Rendering Context.",
         "## can't create a GL rendering context ##", true},
        {GlStep::MakeCurrent, "Can't Activate The GL Rendering Context.",
         "## can't activate the GL rendering context ##", true},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.box);
        boxes.boxes.clear();
        SetGlStepFailure(c.step);
        EXPECT_FALSE(g_window->Create("Test", 320, 240, 16, 0, 16, 1));
        SetGlStepFailure(GlStep::None);
        ASSERT_EQ(boxes.boxes.size(), 1u);
        ExpectBox(boxes.boxes[0], c.box, "ERROR", 0x30);
        std::vector<std::string> expected = {
            "TESSIMO 2 engine log file", kCreated, "",
            Trying("windowed",
                   R"(320x240@16 with a 0 bit\(s\) stencil buffer and a 16 bits z-buffer)")};
        if (c.destroyFirst)
            expected.insert(expected.end(), {kDrawn, kShutdown});
        if (c.logLine)
            expected.push_back(c.logLine);
        ExpectLines(expected);
        // What the entry does next: Destroy, whose lines follow. After a
        // refused class it finds no class to unregister, and says so.
        g_window->Destroy();
        expected.insert(expected.end(), {kDrawn, kShutdown});
        if (c.step == GlStep::RegisterClass)
        {
            expected.push_back("## could not unregister class ##");
            ASSERT_EQ(boxes.boxes.size(), 2u);
            ExpectBox(boxes.boxes[1], "Could Not Unregister Class.", "SHUTDOWN ERROR", 0x40);
        }
        ExpectLines(expected);
        g_window->Destroy(); // now nothing is left to release
        EXPECT_LE(boxes.boxes.size(), 2u);
    }
    // Sizes no driver or pixel format here has are refused with their box.
    boxes.boxes.clear();
    EXPECT_FALSE(g_window->Create("Test", 100000, 100000, 16, 0, 16, 1));
    EXPECT_FALSE(g_window->Create("Test", 64, 64, 16, 0, 64, 1));
    ASSERT_EQ(boxes.boxes.size(), 2u);
    EXPECT_EQ(boxes.boxes[0].text, "Window Creation Error.");
    EXPECT_EQ(boxes.boxes[1].text, "Can't Find A Suitable PixelFormat.");

    // Each release failure in Destroy is reported and passed; the handles
    // are forgotten, so a second Destroy reports nothing more.
    const std::pair<GlStep, const char*> releases[] = {
        {GlStep::ReleaseCurrent, "Release Of DC And RC Failed.|release of DC and RC failed"},
        {GlStep::DeleteContext,
         "Release Rendering Context Failed.|release of rendering context failed"},
        {GlStep::ReleaseDC, "Release Device Context Failed.|release device context failed"},
        {GlStep::DestroyWindow, "Could Not Release hWnd.|could not release HWND"},
        {GlStep::UnregisterClass, "Could Not Unregister Class.|could not unregister class"},
    };
    for (const auto& [step, texts] : releases)
    {
        SCOPED_TRACE(texts);
        std::string box(texts, strchr(texts, '|'));
        EXPECT_TRUE(g_window->Create("Test", 64, 64, 16, 0, 16, 1));
        boxes.boxes.clear();
        SetGlStepFailure(step);
        g_window->Destroy();
        SetGlStepFailure(GlStep::None);
        ASSERT_EQ(boxes.boxes.size(), 1u);
        ExpectBox(boxes.boxes[0], box.c_str(), "SHUTDOWN ERROR", 0x40);
        std::vector<std::string> lines = LogLines();
        ASSERT_EQ(lines.size(), 10u);
        EXPECT_EQ(lines[9], "## " + std::string(strchr(texts, '|') + 1) + " ##");
        g_window->Destroy();
        EXPECT_EQ(boxes.boxes.size(), 1u);
    }
    // The class that stayed registered still holds SDL's video part.
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    EXPECT_TRUE(g_window->Create("Test", 64, 64, 16, 0, 16, 1));
}

TEST_F(WindowGl, FullscreenFallsBackToAWindowOnYesAndClosesOnNo)
{
    // No display offers 333x222: the question comes, and Yes opens a window
    // while the log keeps the mode asked for.
    ASSERT_TRUE(g_window->Create("Test", 333, 222, 16, 0, 16, 0));
    ASSERT_EQ(boxes.boxes.size(), 1u);
    ExpectBox(boxes.boxes[0],
              "The Requested Fullscreen Mode Is Not Supported By\nYour Video Card. Use Windowed "
              "Mode Instead?",
              "Ruvo GL", 0x34);
    EXPECT_EQ(g_window->windowed, 0);
    EXPECT_EQ(LogLines().at(3), Trying("fullscreen", "333x222@16 with a 0 bit(s) stencil buffer "
                                                     "and a 16 bits z-buffer"));
    g_window->Destroy();

    boxes.boxes.clear();
    boxes.answer = IDNO;
    EXPECT_FALSE(g_window->Create("Test", 333, 222, 16, 0, 16, 0));
    ASSERT_EQ(boxes.boxes.size(), 2u);
    ExpectBox(boxes.boxes[1], "Program Will Now Close.", "ERROR", 0x10);
    EXPECT_EQ(LogLines().size(), 4u);
    g_window->Destroy();

    // The mode the display has: no question.
    boxes.boxes.clear();
    SDL_DisplayMode desktop;
    ASSERT_EQ(SDL_InitSubSystem(SDL_INIT_VIDEO), 0);
    ASSERT_EQ(SDL_GetDesktopDisplayMode(0, &desktop), 0);
    EXPECT_TRUE(g_window->Create("Test", desktop.w, desktop.h, 32, 0, 16, 0));
    EXPECT_TRUE(boxes.boxes.empty());
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

TEST_F(WindowGl, LookAtMatchesGluLookAt)
{
    ASSERT_TRUE(g_window->Create("Test", 64, 64, 16, 0, 16, 1));
    const Vec4 views[][3] = {{{0, 0, 5}, {0, 0, 0}, {0, 1, 0}},
                             {{3, 2, -7}, {-1, 0.5f, 2}, {0, 1, 0}},
                             {{10, 20, 30}, {1, 2, 3}, {0.3f, 0.9f, -0.1f}},
                             {{-4, 1, 0}, {0, 0, 0}, {0, 0, 2}}};
    for (const auto& [eye, target, up] : views)
    {
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        gluLookAt(eye.x, eye.y, eye.z, target.x, target.y, target.z, up.x, up.y, up.z);
        float gl[16];
        glGetFloatv(GL_MODELVIEW_MATRIX, gl);
        Matrix4 ours;
        ours.LookAt(eye, target, up);
        // GL's order is column-major; the fast inverse square root is up to
        // 0.18% short, twice over.
        for (int i = 0; i < 16; ++i)
        {
            float g = gl[4 * (i % 4) + i / 4];
            EXPECT_NEAR(ours.m[i], g, 0.004f * (1.0f + std::fabs(g))) << eye.x << ", " << i;
        }
    }
}

// The real program in the test's folder with these settings, the built
// token table, materials and data; the log starts empty, so a wait for a
// line sees this run's.
pid_t StartProgram(const std::string& settings, const char* audioDriver)
{
    mkdir("ini", 0755);
    remove(TESSIMO_LOG_FILE);
    WriteText("ini/tessimo2.ini", settings);
    for (const char* name : {"tokens.ini", "Shaders.ini"})
        WriteText(std::string("ini/") + name,
                  ReadText(Env("TESSIMO_SOURCE_DIR") + "/data/ini/" + name));
    if (std::string data = ReadText(Env("TESSIMO_RUN_DIR") + "/data.rar"); !data.empty())
        WriteText("data.rar", data);
    return testsupport::StartProgram("", audioDriver);
}

TEST(Program, EndedBySignalByFailedSoundAndByARefusedWindow)
{
    testsupport::TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    // "No sound" needs no driver; SIGTERM comes while the demo loads, and
    // the close waits for the loop.
    pid_t pid = StartProgram("[3D engine]\nwindow_width=320\nwindow_height=200\n"
                             "[Sound]\noutput=FSOUND_OUTPUT_NOSOUND\n",
                             "no-such-driver");
    ASSERT_TRUE(testsupport::WaitFor(
        [] { return ReadText(TESSIMO_LOG_FILE).find("- initializing fmod") != std::string::npos; },
        30));
    kill(pid, SIGTERM);
    EXPECT_EQ(testsupport::WaitExit(pid, 120), 0);
    std::string log = ReadText(TESSIMO_LOG_FILE);
    EXPECT_TRUE(std::regex_search(log, std::regex(R"(- initializing fmod
    \+ init output ok!
    \+ init driver .* ok!
    \+ init mixer ok!
    \+ init fsound with 32 channels at 44100 hz  ok!
- tessimo has drawn \d+ frames in \d+ seconds, average FPS : .*
- shutting down at \d+h \d+m \d+s\n$)")))
        << log;

    // The default output opens SDL's default driver, here one that does not
    // exist: the driver stage fails, Init runs, and no frame is drawn.
    pid = StartProgram("[3D engine]\nwindow_width=320\nwindow_height=200\n", "no-such-driver");
    EXPECT_EQ(testsupport::WaitExit(pid, 120), 0);
    log = ReadText(TESSIMO_LOG_FILE);
    size_t sound = log.find("- initializing fmod\n    + init output Direct Sound ok!\n    + init "
                            "driver  failed!\n");
    EXPECT_NE(sound, std::string::npos) << log;
    EXPECT_NE(log.find("- tessimo has drawn 0 frames", sound), std::string::npos) << log;

    // Too wide for the driver, or no width: Create fails, and its own
    // Destroy, the entry's and ExitCleanup's each close the log with the
    // true time of the run, which never saw a window; the status is 1.
    const std::string closing = R"(- tessimo has drawn 0 frames in [0-9] seconds, )"
                                R"(average FPS : (-?nan|0\.000000)\n)"
                                R"(- shutting down at \d+h \d+m \d+s\n)";
    for (const std::string width : {"100000", "0"})
    {
        EXPECT_EQ(
            testsupport::WaitExit(StartProgram("[3D engine]\nwindow_width=" + width, "dummy"), 30),
            1);
        log = ReadText(TESSIMO_LOG_FILE);
        EXPECT_TRUE(std::regex_match(
            log, std::regex(R"(TESSIMO 2 engine log file\n)"
                            R"(log created the \d+/\d+/\d+ at \d+h \d+m \d+s\n\n)"
                            R"(- trying to create windowed application <Tessimo 2 Engine> in )" +
                            width +
                            R"(x600@16 with a 0 bit\(s\) stencil buffer and a 16 bits z-buffer\n)" +
                            closing + closing + closing)))
            << log;
    }
}

} // namespace
