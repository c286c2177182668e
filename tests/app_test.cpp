// The application shell without GL: the settings reader with its shared
// buffer, the window procedure, the sound start-up's log text, and the
// vectors and matrices with the exact floats of the fast normalisation, and
// the report path's destinations.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "app/ini_file.h"
#include "app/input.h"
#include "app/log.h"
#include "app/math.h"
#include "app/report.h"
#include "app/sound_startup.h"
#include "app/window.h"
#include "platform/keys.h"
#include "platform/messages.h"
#include "platform/sound.h"
#include "support/files.h"
#include "support/process.h"
#include "support/report_capture.h"

namespace
{

using testsupport::ReadText;

class App : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(temp.path.empty());
        mkdir("ini", 0755);
        ClearMessageQueue();
    }
    testsupport::TempDir temp;
};

TEST_F(App, IniTypedReadsAndTheSharedBuffer)
{
    testsupport::WriteText("ini/tessimo2.ini", "[3D engine]\nfullscreen = TRUE\nyes=yes\none=1\n"
                                               "width=1024px\nletters=abc\nhex=1F\n"
                                               "hexneg=FFFFFFFF\nf=2.5\nlong=" +
                                                   std::string(200, 'x') +
                                                   "\n[Other]\nname=second\n");
    IniFile ini;
    ini.SetFile((temp.path + "\\ini\\tessimo2.ini").c_str());
    ini.SetSection("3D engine");
    EXPECT_TRUE(ini.GetBool("fullscreen", false));
    EXPECT_FALSE(ini.GetBool("yes", true));
    EXPECT_FALSE(ini.GetBool("one", true));
    EXPECT_TRUE(ini.GetBool("missing", true)); // the default text "true" compares
    EXPECT_FALSE(ini.GetBool("missing", false));
    EXPECT_EQ(ini.GetInt("width", 800), 1024);
    EXPECT_EQ(ini.GetInt("letters", 800), 800);
    EXPECT_EQ(ini.GetInt("missing", -5), -5);
    EXPECT_EQ(ini.GetHex("hex", -1), 0x1F);
    EXPECT_EQ(ini.GetHex("hexneg", 0), -1);
    EXPECT_EQ(ini.GetHex("missing", -1), -1);
    EXPECT_EQ(ini.GetHex("letters", -1), 0xABC);
    EXPECT_FLOAT_EQ(ini.GetFloat("f", 1.0f), 2.5f);
    EXPECT_FLOAT_EQ(ini.GetFloat("missing", 0.1f), 0.1f);
    EXPECT_EQ(strlen(ini.GetString("long", "")), 127u);

    // One buffer for every read and every IniFile; a new IniFile empties it.
    const char* first = ini.GetString("width", "");
    EXPECT_EQ(first, ini.GetString("letters", ""));
    EXPECT_STREQ(first, "abc");
    IniFile other;
    other.SetFile(ini.fileName);
    other.SetSection("other");
    EXPECT_STREQ(other.GetString("name", ""), "second");
    EXPECT_EQ(other.GetString("name", ""), first);
    IniFile fresh;
    EXPECT_STREQ(first, "");

    ini.SetFile("/no/such/file.ini");
    EXPECT_EQ(ini.GetInt("width", 800), 800);
    EXPECT_STREQ(ini.GetString("width", "dflt"), "dflt");

    // A path deeper than any the system opens is refused and logged, not cut
    // to the name of another file; one just below that depth is kept whole.
    std::string deep = temp.path + "/" + std::string(kMaxPath, 'd');
    ini.SetFile(deep.c_str());
    EXPECT_STREQ(ini.fileName, "");
    EXPECT_NE(ReadText(TESSIMO_LOG_FILE).find("## path too long: <" + deep + "> ##\n"),
              std::string::npos);
    deep.resize(kMaxPath - 1);
    ini.SetFile(deep.c_str());
    EXPECT_EQ(ini.fileName, deep);
}

TEST_F(App, IniTokenLookupThroughTheSharedBuffer)
{
    // The start-up's way: a text from the settings used at once as the key
    // into the token table, with the files the build installs.
    std::string src = testsupport::Env("TESSIMO_SOURCE_DIR");
    IniFile settings, tokens;
    settings.SetFile((src + "\\data\\ini\\tessimo2.ini").c_str());
    settings.SetSection("Sound");
    tokens.SetFile((src + "\\data\\Ini\\TOKENS.ini").c_str());
    tokens.SetSection("FMOD");
    EXPECT_EQ(tokens.GetHex(settings.GetString("output", "FSOUND_OUTPUT_DSOUND"), -1), 2);
    EXPECT_EQ(tokens.GetHex(settings.GetString("mixer", "FSOUND_MIXER_AUTODETECT"), -1), 0);
    EXPECT_EQ(tokens.GetHex("FSOUND_OUTPUT_NOSOUND", -1), 0);
    EXPECT_EQ(tokens.GetHex("FSOUND_OUTPUT_PULSEAUDIO", -1), 10);
    tokens.SetSection("OpenGL");
    const std::pair<const char*, int> gl[] = {
        {"GL_LESS", 0x201},      {"GL_ONE", 1},           {"GL_ZERO", 0},
        {"GL_LINEAR", 0x2601},   {"GL_REPEAT", 0x2901},   {"GL_LINEAR_MIPMAP_NEAREST", 0x2701},
        {"GL_TEXTURE", 0x1702},  {"GL_PREVIOUS", 0x8578}, {"GL_SRC_COLOR", 0x300},
        {"GL_SRC_ALPHA", 0x302}, {"GL_MODULATE", 0x2100}};
    for (const auto& [name, value] : gl)
        EXPECT_EQ(tokens.GetHex(name, -1), value) << name;
    tokens.SetFile("/no/such/tokens.ini");
    tokens.SetSection("FMOD");
    EXPECT_EQ(tokens.GetHex(settings.GetString("output", "FSOUND_OUTPUT_DSOUND"), -1), -1);
}

TEST_F(App, WindowProcKeysActivationCloseAndSystemCommands)
{
    ASSERT_NE(g_window, nullptr);
    ASSERT_NE(g_input, nullptr);
    SetWindowProc(WindowProc);
    auto send = [](uint32_t message, uintptr_t wParam)
    {
        MSG m = {message, wParam, 0};
        return DispatchMessage(&m);
    };
    EXPECT_EQ(send(WM_KEYDOWN, VK_ESCAPE), 0);
    EXPECT_EQ(g_input->keys[VK_ESCAPE], 1);
    send(WM_KEYUP, VK_ESCAPE);
    EXPECT_EQ(g_input->keys[VK_ESCAPE], 0);
    send(WM_KEYDOWN, 0x1DE); // above 255: wraps through the mask
    EXPECT_EQ(g_input->keys[0xDE], 1);
    send(WM_KEYUP, 0x3DE);
    EXPECT_EQ(g_input->keys[0xDE], 0);

    // Deactivation leaves held keys down; an unknown state changes nothing;
    // active but minimised is inactive.
    send(WM_KEYDOWN, VK_ADD);
    g_window->active = 1;
    const std::pair<uintptr_t, int> states[] = {{WA_INACTIVE, 0}, {WA_CLICKACTIVE, 1},
                                                {3, 1},           {WA_ACTIVE | 0x10000, 0},
                                                {3, 0},           {WA_ACTIVE, 1}};
    for (const auto& [state, active] : states)
    {
        send(WM_ACTIVATE, state);
        EXPECT_EQ(g_window->active, active) << state;
    }
    EXPECT_EQ(g_input->keys[VK_ADD], 1);

    for (auto [message, wParam] : {std::pair<uint32_t, uintptr_t>{WM_SYSCOMMAND, SC_SCREENSAVE},
                                   {WM_SYSCOMMAND, SC_MONITORPOWER},
                                   {WM_SIZE, 0},
                                   {WM_TIMER, 1}})
        EXPECT_EQ(send(message, wParam), 0);
    MSG m;
    EXPECT_FALSE(PeekMessage(&m));
    EXPECT_EQ(send(WM_CLOSE, 0), 0);
    ASSERT_TRUE(PeekMessage(&m));
    EXPECT_EQ(m.message, WM_QUIT);
    EXPECT_EQ(m.wParam, 0u);
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

TEST_F(App, SoundStartupLogTextOfEachWayThrough)
{
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    ASSERT_TRUE(FSOUND_SetOutput(0));
    const std::string driver = FSOUND_GetDriverName(0);
    FSOUND_Close();
    const std::string fmod = "- initializing fmod\n    + init output ";
    const std::string rest = "ok!\n    + init driver " + driver +
                             " ok!\n    + init mixer ok!\n    + init fsound with 32 channels "
                             "at 44100 hz ";
    EXPECT_EQ(RunSoundStartup(0), fmod + rest + " ok!\n");
    EXPECT_EQ(RunSoundStartup(2), fmod + "Direct Sound " + rest + " ok!\n");
    EXPECT_EQ(RunSoundStartup(1), fmod + "Windows Multimedia Waveout " + rest + " ok!\n");
    EXPECT_EQ(RunSoundStartup(-1), fmod + rest + " ok!\n"); // no token file
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

uint32_t Bits(float f)
{
    uint32_t u;
    memcpy(&u, &f, sizeof u);
    return u;
}

TEST(Math, ConstantsAndTheFastNormalisation)
{
    EXPECT_EQ(Bits(Pi), 0x40490FDBu);
    EXPECT_EQ(Bits(TwoPi), 0x40C90FDBu);
    EXPECT_EQ(Bits(HalfPi), 0x3FC90FDBu);
    EXPECT_EQ(Bits(QuarterPi), 0x3F490FDBu);
    EXPECT_EQ(Bits(RadToDeg), 0x42652EE0u);
    EXPECT_EQ(Bits(DegToRad), 0x3C8EFA36u); // one ulp above the float nearest pi / 180

    // One Newton step: always a little short, never long.
    EXPECT_EQ(FastInvSqrt(1.0f), 0.99830715f);
    EXPECT_LT(FastInvSqrt(4.0f), 0.5f);
    EXPECT_NEAR(FastInvSqrt(4.0f), 0.5f, 0.5f * 0.0018f);
    EXPECT_NEAR(FastInvSqrt(1e-6f), 1000.0f, 1000.0f * 0.0018f);
    Vec4 v(3.0f, 4.0f, 0.0f, 7.0f);
    EXPECT_NEAR(v.Normalize(), 0.19968977f, 2e-8f);
    EXPECT_NEAR(v.x, 0.59907f, 1e-5f);
    EXPECT_NEAR(v.y, 0.79876f, 1e-5f);
    EXPECT_EQ(v.z, 0.0f);
    EXPECT_EQ(v.w, 7.0f);
    Vec4 zero;
    zero.Normalize();
    EXPECT_EQ(zero.x + zero.y + zero.z, 0.0f);
}

TEST(Math, VectorsRowMajorProductsRotationsAndLookAt)
{
    Vec4 a(1.0f, 2.0f, 3.0f, 5.0f), b(4.0f, -1.0f, 0.5f, 9.0f);
    Vec4 d = a - b;
    EXPECT_EQ(std::make_tuple(d.x, d.y, d.z, d.w), std::make_tuple(-3.0f, 3.0f, 2.5f, 0.0f));
    Vec4 c = Vec4(1, 2, 3, 4).Cross(Vec4(4, 5, 6, 7));
    EXPECT_EQ(std::make_tuple(c.x, c.y, c.z, c.w), std::make_tuple(-3.0f, 6.0f, -3.0f, 0.0f));
    Vec4 t(0, 0, 0, 8);
    t.SetXYZ(a);
    EXPECT_EQ(std::make_tuple(t.z, t.w), std::make_tuple(3.0f, 8.0f));

    // ry * move: the move first, then the turn, on a column vector; the
    // origin goes to ry * (1, 2, 3) = (3, 2, -1).
    Matrix4 ry, move;
    ry.RotationY(HalfPi);
    move.m[3] = 1.0f, move.m[7] = 2.0f, move.m[11] = 3.0f;
    Matrix4 p = ry * move;
    EXPECT_NEAR(p.m[3], 3.0f, 1e-6f);
    EXPECT_NEAR(p.m[7], 2.0f, 1e-6f);
    EXPECT_NEAR(p.m[11], -1.0f, 1e-6f);
    EXPECT_EQ(p.m[15], 1.0f);
    Matrix4 rx, rz;
    rx.RotationX(0.5f);
    rz.RotationZ(0.5f);
    EXPECT_EQ(rx.m[6], -std::sin(0.5f));
    EXPECT_EQ(rx.m[9], std::sin(0.5f));
    EXPECT_EQ(rz.m[1], -std::sin(0.5f));
    EXPECT_EQ(rz.m[4], std::sin(0.5f));
    EXPECT_EQ(ry.m[8], -std::sin(HalfPi));

    // The derived up matches the world up. Straight down the y axis from a
    // unit distance dir.y is not exactly 1 after the fast normalisation, so
    // the general branch runs and its side and up rows collapse to zero;
    // from 138.75 dir.y is exactly 1 and the horizontal up gives a frame.
    Vec4 eye(3.0f, 2.0f, -7.0f), target(-1.0f, 0.5f, 2.0f);
    Matrix4 derived, given, general, special;
    derived.LookAt(eye, target);
    given.LookAt(eye, target, VecUnitY);
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(derived.m[i], given.m[i], 0.01f * (1.0f + std::fabs(given.m[i]))) << i;
    general.LookAt(Vec4(0, 1, 0), Vec4(0, 0, 0));
    special.LookAt(Vec4(0, 138.75f, 0), Vec4(0, 0, 0));
    for (int i : {0, 1, 2, 4, 5, 6})
        EXPECT_EQ(general.m[i], 0.0f) << i;
    EXPECT_NEAR(special.m[0], 1.0f, 0.01f);
    EXPECT_NEAR(special.m[6], -1.0f, 0.01f);
    EXPECT_EQ(special.m[9], 1.0f);
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

    EXPECT_EQ(testsupport::ReadText(TESSIMO_LOG_FILE),
              "- step 1\n## can't read 'x' ##\n## a ! #### b ! ##");
    EXPECT_EQ(console, (std::vector<std::string>{"> can't read 'x'", "> 2 left"}));
    EXPECT_EQ(capture.To(ReportDestination::Console),
              (std::vector<std::string>{"> unheard", "> can't read 'x'", "> 2 left", "gone"}));
    ASSERT_EQ(capture.boxes.size(), 1u);
    EXPECT_EQ(capture.boxes[0].text, "## no memory ##");
    EXPECT_EQ(capture.boxes[0].caption, "Fatal");
}

} // namespace
