// Window::Create and Destroy on a real GL context (SDL's offscreen driver):
// the log text, the pixel format the driver gave, the failure table with
// its boxes and lines, the fullscreen fallback question, and the view
// matrix of LookAt read back against gluLookAt.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <GL/glu.h>
#include <SDL.h>
#include <cmath>
#include <regex>
#include <sstream>
#include <string>

#include "app/input.h"
#include "app/log.h"
#include "app/math.h"
#include "app/window.h"
#include "platform/gl_window.h"
#include "platform/messages.h"
#include "support/files.h"
#include "support/report_capture.h"

namespace
{

std::vector<std::string> LogLines()
{
    std::vector<std::string> lines;
    std::stringstream s(testsupport::ReadText(TESSIMO_LOG_FILE));
    for (std::string line; std::getline(s, line);)
        lines.push_back(line);
    return lines;
}

const char* const kCreated = R"(log created the \d+/\d+/\d+ at \d+h \d+m \d+s)";
const char* const kDrawn = R"(- tessimo has drawn (\d+) frames in (\d+) seconds, average FPS : )"
                           R"((inf|-?nan|\d+\.\d{6}))";
const char* const kShutdown = R"(- shutting down at \d+h \d+m \d+s)";

void ExpectLines(const std::vector<std::string>& patterns)
{
    std::vector<std::string> lines = LogLines();
    ASSERT_EQ(lines.size(), patterns.size()) << testsupport::ReadText(TESSIMO_LOG_FILE);
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_TRUE(std::regex_match(lines[i], std::regex(patterns[i])))
            << "line " << i + 1 << ": " << lines[i] << "\n expected: " << patterns[i];
}

std::string Trying(const char* mode, const char* rest)
{
    return std::string("- trying to create ") + mode + " application <Test> in " + rest;
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
    EXPECT_EQ(g_window->frameCount, 0);
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

    // A frame drawn (read back before it is presented, as what a swap
    // leaves in the back buffer is undefined), then presented twice.
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
}

TEST_F(WindowGl, ADeeperDepthBufferThanTheDriverHasTakesTheDeepestOne)
{
    ASSERT_TRUE(g_window->Create("Test", 64, 64, 32, 8, 32, 1));
    GLint depth = 0, stencil = 0;
    glGetIntegerv(GL_DEPTH_BITS, &depth);
    glGetIntegerv(GL_STENCIL_BITS, &stencil);
    EXPECT_GE(depth, 24);
    EXPECT_EQ(stencil, 8);
    EXPECT_TRUE(boxes.boxes.empty());
    // Sizes no pixel format has are refused with their box.
    g_window->Destroy();
    EXPECT_FALSE(g_window->Create("Test", 64, 64, 16, 0, 64, 1));
    ASSERT_EQ(boxes.boxes.size(), 1u);
    EXPECT_EQ(boxes.boxes[0].text, "Can't Find A Suitable PixelFormat.");
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

struct FailureCase
{
    GlStep step;
    const char* box;
    const char* logLine; // null: none
    bool destroyFirst;
};

TEST_F(WindowGl, EachFailingStepShowsItsBoxAndLogsItsLine)
{
    const FailureCase cases[] = {
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
    for (const FailureCase& c : cases)
    {
        SCOPED_TRACE(c.box);
        boxes.boxes.clear();
        SetGlStepFailure(c.step);
        EXPECT_FALSE(g_window->Create("Test", 320, 240, 16, 0, 16, 1));
        SetGlStepFailure(GlStep::None);
        ASSERT_EQ(boxes.boxes.size(), 1u);
        EXPECT_EQ(boxes.boxes[0].text, c.box);
        EXPECT_EQ(boxes.boxes[0].caption, "ERROR");
        EXPECT_EQ(boxes.boxes[0].style, 0x30u);
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
            EXPECT_EQ(boxes.boxes[1].text, "Could Not Unregister Class.");
            EXPECT_EQ(boxes.boxes[1].caption, "SHUTDOWN ERROR");
        }
        ExpectLines(expected);
        g_window->Destroy(); // now nothing is left to release
        EXPECT_LE(boxes.boxes.size(), 2u);
    }
    // A size no driver here gives is refused at window creation.
    boxes.boxes.clear();
    EXPECT_FALSE(g_window->Create("Test", 100000, 100000, 16, 0, 16, 1));
    ASSERT_EQ(boxes.boxes.size(), 1u);
    EXPECT_EQ(boxes.boxes[0].text, "Window Creation Error.");
    // The platform works again afterwards.
    EXPECT_TRUE(g_window->Create("Test", 64, 64, 16, 0, 16, 1));
}

TEST_F(WindowGl, ReleaseFailuresInDestroyAreReportedAndPassed)
{
    const FailureCase cases[] = {
        {GlStep::ReleaseCurrent, "Release Of DC And RC Failed.",
         "## release of DC and RC failed ##", false},
        {GlStep::DeleteContext, "Release Rendering Context Failed.",
         "## release of rendering context failed ##", false},
        {GlStep::ReleaseDC, "Release Device Context Failed.", "## release device context failed ##",
         false},
        {GlStep::DestroyWindow, "Could Not Release hWnd.", "## could not release HWND ##", false},
        {GlStep::UnregisterClass, "Could Not Unregister Class.", "## could not unregister class ##",
         false},
    };
    for (const FailureCase& c : cases)
    {
        SCOPED_TRACE(c.box);
        boxes.boxes.clear();
        ASSERT_TRUE(g_window->Create("Test", 64, 64, 16, 0, 16, 1));
        SetGlStepFailure(c.step);
        g_window->Destroy();
        SetGlStepFailure(GlStep::None);
        ASSERT_EQ(boxes.boxes.size(), 1u);
        EXPECT_EQ(boxes.boxes[0].text, c.box);
        EXPECT_EQ(boxes.boxes[0].caption, "SHUTDOWN ERROR");
        EXPECT_EQ(boxes.boxes[0].style, 0x40u);
        std::vector<std::string> lines = LogLines();
        ASSERT_EQ(lines.size(), 10u);
        EXPECT_EQ(lines[9], c.logLine);
        // The handles are forgotten: a second Destroy reports nothing more.
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
    EXPECT_EQ(boxes.boxes[0].text,
              "The Requested Fullscreen Mode Is Not Supported By\nYour Video Card. Use Windowed "
              "Mode Instead?");
    EXPECT_EQ(boxes.boxes[0].caption, "Ruvo GL");
    EXPECT_EQ(boxes.boxes[0].style, 0x34u);
    EXPECT_EQ(g_window->windowed, 0);
    EXPECT_EQ(LogLines().at(3),
              Trying("fullscreen", "333x222@16 with a 0 bit(s) stencil buffer and "
                                   "a 16 bits z-buffer"));
    g_window->Destroy();

    boxes.boxes.clear();
    boxes.answer = IDNO;
    EXPECT_FALSE(g_window->Create("Test", 333, 222, 16, 0, 16, 0));
    ASSERT_EQ(boxes.boxes.size(), 2u);
    EXPECT_EQ(boxes.boxes[1].text, "Program Will Now Close.");
    EXPECT_EQ(boxes.boxes[1].caption, "ERROR");
    EXPECT_EQ(boxes.boxes[1].style, 0x10u);
    EXPECT_EQ(LogLines().size(), 4u);
    g_window->Destroy();

    // The mode the display has: no question.
    boxes.boxes.clear();
    boxes.answer = IDYES;
    SDL_DisplayMode desktop;
    ASSERT_EQ(SDL_InitSubSystem(SDL_INIT_VIDEO), 0);
    ASSERT_EQ(SDL_GetDesktopDisplayMode(0, &desktop), 0);
    EXPECT_TRUE(g_window->Create("Test", desktop.w, desktop.h, 32, 0, 16, 0));
    EXPECT_TRUE(boxes.boxes.empty());
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

void ExpectSameView(const Vec4& eye, const Vec4& target, const Vec4& up)
{
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    gluLookAt(eye.x, eye.y, eye.z, target.x, target.y, target.z, up.x, up.y, up.z);
    float gl[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, gl);
    Matrix4 ours;
    ours.LookAt(eye, target, up);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
        {
            float g = gl[4 * c + r]; // GL's order is column-major
            // The fast inverse square root is up to 0.18% short, twice over.
            EXPECT_NEAR(ours.m[4 * r + c], g, 0.004f * (1.0f + std::fabs(g)))
                << "row " << r << " column " << c;
        }
}

TEST_F(WindowGl, LookAtMatchesGluLookAt)
{
    ASSERT_TRUE(g_window->Create("Test", 64, 64, 16, 0, 16, 1));
    ExpectSameView(Vec4(0, 0, 5), Vec4(0, 0, 0), Vec4(0, 1, 0));
    ExpectSameView(Vec4(3, 2, -7), Vec4(-1, 0.5f, 2), Vec4(0, 1, 0));
    ExpectSameView(Vec4(10, 20, 30), Vec4(1, 2, 3), Vec4(0.3f, 0.9f, -0.1f));
    ExpectSameView(Vec4(-4, 1, 0), Vec4(0, 0, 0), Vec4(0, 0, 2));
}

} // namespace
