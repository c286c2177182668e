// The shell without GL: the window procedure, the sound start-up's log
// text, math, reports.
#include <gtest/gtest.h>

#include <SDL.h>

#include "app/input.h"
#include "app/log.h"
#include "app/math.h"
#include "app/sound_startup.h"
#include "app/window.h"
#include "platform/keys.h"
#include "platform/messages.h"
#include "platform/sound.h"
#include "support/files.h"
#include "support/report_capture.h"

namespace
{

using testsupport::ReadText;

struct App : ::testing::Test
{
    void SetUp() override { ClearMessageQueue(); }
    testsupport::TempDir temp;
};

TEST_F(App, WindowProcKeysActivationCloseAndSystemCommands)
{
    SetWindowProc(WindowProc);
    auto send = [](uint32_t message, uintptr_t wParam)
    {
        MSG m = {message, wParam, 0};
        return DispatchMessage(&m);
    };
    // Keys above 255 wrap through the mask; deactivation leaves held keys
    // down; an unknown state changes nothing; active but minimised is not.
    send(WM_KEYDOWN, VK_ESCAPE);
    send(WM_KEYDOWN, 0x1DE);
    send(WM_KEYUP, VK_ESCAPE);
    const std::pair<uintptr_t, int> states[] = {{WA_INACTIVE, 0}, {WA_CLICKACTIVE, 1},
                                                {3, 1},           {WA_ACTIVE | 0x10000, 0},
                                                {3, 0},           {WA_ACTIVE, 1}};
    for (const auto& [state, active] : states)
        EXPECT_EQ((send(WM_ACTIVATE, state), g_window->active), active) << state;
    EXPECT_EQ(std::make_tuple(g_input->keys[VK_ESCAPE], g_input->keys[0xDE]),
              std::make_tuple(0, 1));

    // The screen saver is kept off; a close posts the quit.
    EXPECT_EQ(send(WM_SYSCOMMAND, SC_SCREENSAVE) + send(WM_CLOSE, 0), 0);
    MSG m;
    ASSERT_TRUE(PeekMessage(&m));
    EXPECT_EQ(std::make_pair(m.message, m.wParam), std::make_pair(WM_QUIT, uintptr_t(0)));
    EXPECT_FALSE(PeekMessage(&m));
    SetWindowProc(nullptr);
}

// The start-up's log text, then "(quit N)" for the quit message it left.
std::string RunSoundStartup(int output)
{
    remove(TESSIMO_LOG_FILE);
    ClearMessageQueue();
    SoundStartup(output, 0, 0, 44100, 32);
    MSG m;
    bool quit = PeekMessage(&m) && m.message == WM_QUIT;
    FSOUND_Close();
    return ReadText(TESSIMO_LOG_FILE) + (quit ? "(quit " + std::to_string(m.wParam) + ")" : "");
}

// Output 0 is SDL's dummy driver, whatever SDL_AUDIODRIVER says; then the
// start-up's log text of each way through.
TEST_F(App, SoundStandInAndTheStartupsLogText)
{
    setenv("SDL_AUDIODRIVER", "no-such-driver", 1);
    ASSERT_TRUE(FSOUND_SetOutput(0));
    const std::string driver = FSOUND_GetDriverName(0);
    ASSERT_TRUE(FSOUND_SetDriver(0) && FSOUND_Init(44100, 32, 0));
    EXPECT_STREQ(SDL_GetCurrentAudioDriver(), "dummy");
    FSOUND_Close();
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    const std::string fmod = "- initializing fmod\n    + init output ",
                      rest = "ok!\n    + init driver " + driver +
                             " ok!\n    + init mixer ok!\n    + init fsound with 32 channels "
                             "at 44100 hz ";
    EXPECT_EQ(RunSoundStartup(2), fmod + "Direct Sound " + rest + " ok!\n");
    EXPECT_EQ(RunSoundStartup(99), fmod + "failed!\n(quit 1)");
    FSOUND_TestFailStage(SoundStage::SetDriver);
    EXPECT_EQ(RunSoundStartup(3),
              fmod + "A3D ok!\n    + init driver " + driver + " failed!\n(quit 1)");
    FSOUND_TestFailStage(SoundStage::Init);
    EXPECT_EQ(RunSoundStartup(0), fmod + rest + "failed\n(quit 1)");
    FSOUND_TestFailStage(SoundStage::None);
    // Only a version below 3.3 is refused; exactly 3.3 passes.
    FSOUND_TestSetVersion(std::nextafter(3.3f, 0.0f));
    EXPECT_EQ(RunSoundStartup(0), "- initializing fmod : wrong DLL version!\n(quit 1)");
    FSOUND_TestSetVersion(3.3f);
    EXPECT_EQ(RunSoundStartup(0), fmod + rest + " ok!\n");
    FSOUND_TestSetVersion(0.0f);
}

TEST(Math, FastNormalisationProductsAndRotations)
{
    // One Newton step: a little short.
    Vec4 v(3.0f, 4.0f, 0.0f, 7.0f), zero, c = Vec4(1, 2, 3, 4).Cross(Vec4(4, 5, 6, 7));
    const float r = v.Normalize();
    zero.Normalize();
    EXPECT_NEAR(r, 0.19968977f, 2e-8f);
    EXPECT_EQ(std::make_tuple(FastInvSqrt(1.0f), v.x, v.y, v.w, zero.x + zero.y + zero.z),
              std::make_tuple(0.99830715f, 3 * r, 4 * r, 7.0f, 0.0f));
    EXPECT_EQ(std::make_tuple(c.x, c.y, c.z, c.w), std::make_tuple(-3.0f, 6.0f, -3.0f, 0.0f));

    // ry * move moves first, then turns: the origin goes to (3, 2, -1).
    Matrix4 ry, move, rx;
    ry.RotationY(HalfPi);
    move.m[3] = 1.0f, move.m[7] = 2.0f, move.m[11] = 3.0f;
    Matrix4 p = ry * move;
    for (auto [i, want] : {std::pair{3, 3.0f}, {7, 2.0f}, {11, -1.0f}, {15, 1.0f}})
        EXPECT_NEAR(p.m[i], want, 1e-6f) << i;
    rx.RotationX(0.5f);
    EXPECT_EQ(std::make_tuple(rx.m[6], rx.m[9]), std::make_tuple(-std::sin(0.5f), std::sin(0.5f)));
}

// One problem text framed for each destination; the console hears only
// while attached and only its owner detaches it; the hook sees everything.
TEST_F(App, ReportEachDestinationFramesTheProblem)
{
    std::vector<std::string> console;
    auto sink = [](const char* line, void* user)
    { static_cast<std::vector<std::string>*>(user)->push_back(line); };
    testsupport::ReportCapture capture;
    capture.answer = IDNO;
    LogBlock(LogBlock::Fresh).Write(Frame::None, "- step %d\n", 1);
    Report(ToConsole, Frame::Problem, "unheard");
    AttachConsole(sink, &console);
    Report(ToLog | ToConsole, Frame::Problem, "can't read '%s'", "x");
    Report(ToLog, Frame::InlineProblem, "a !");
    Report(ToLog, Frame::InlineProblem, "b !");
    DetachConsole(&capture);
    Report(ToConsole, Frame::None, "> %d left", 2);
    DetachConsole(&console);
    Report(ToConsole, Frame::None, "gone");
    EXPECT_EQ(ReportBox(Frame::Problem, "no memory", "Fatal", MB_YESNO), IDNO);

    EXPECT_EQ(ReadText(TESSIMO_LOG_FILE), "- step 1\n## can't read 'x' ##\n## a ! #### b ! ##");
    EXPECT_EQ(console, (std::vector<std::string>{"> can't read 'x'", "> 2 left"}));
    EXPECT_EQ(capture.To(ReportDestination::Console),
              (std::vector<std::string>{"> unheard", "> can't read 'x'", "> 2 left", "gone"}));
    ASSERT_EQ(capture.boxes.size(), 1u);
    EXPECT_EQ(capture.boxes[0].text + "|" + capture.boxes[0].caption, "## no memory ##|Fatal");
}

} // namespace
