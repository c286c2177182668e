// The application shell without GL: the settings reader with its shared
// buffer, the window procedure, the sound start-up's log text, and the
// report path's destinations.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "app/ini_file.h"
#include "app/input.h"
#include "app/log.h"
#include "app/report.h"
#include "app/sound_startup.h"
#include "app/window.h"
#include "platform/keys.h"
#include "platform/messages.h"
#include "platform/sound.h"
#include "support/files.h"
#include "support/report_capture.h"

namespace
{

class AppTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        dir = temp.path;
        ASSERT_FALSE(dir.empty());
        mkdir("ini", 0755);
        ClearMessageQueue();
    }
    testsupport::TempDir temp;
    std::string dir;
};

using IniFileTest = AppTest;

TEST_F(IniFileTest, TypedReadsAndTheSharedBuffer)
{
    testsupport::WriteText("ini/tessimo2.ini", "[3D engine]\n"
                                               "fullscreen = TRUE\n"
                                               "yes=yes\n"
                                               "one=1\n"
                                               "width=1024px\n"
                                               "letters=abc\n"
                                               "hex=1F\n"
                                               "hexneg=FFFFFFFF\n"
                                               "f=2.5\n"
                                               "long=" +
                                                   std::string(200, 'x') +
                                                   "\n"
                                                   "[Other]\nname=second\n");
    IniFile ini;
    ini.SetFile((dir + "\\ini\\tessimo2.ini").c_str());
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
    EXPECT_EQ(ini.GetHex("letters", -1), 0xABC); // hex digits are digits here
    EXPECT_FLOAT_EQ(ini.GetFloat("f", 1.0f), 2.5f);
    EXPECT_FLOAT_EQ(ini.GetFloat("missing", 0.1f), 0.1f);
    EXPECT_EQ(strlen(ini.GetString("long", "")), 127u);

    // One buffer for every read and every IniFile.
    const char* first = ini.GetString("width", "");
    const char* second = ini.GetString("letters", "");
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "abc");
    IniFile other;
    other.SetFile(ini.fileName);
    other.SetSection("other");
    EXPECT_STREQ(other.GetString("name", ""), "second");
    EXPECT_EQ(other.GetString("name", ""), first);
    const char* text = ini.GetString("width", "");
    IniFile fresh; // construction empties the shared result
    EXPECT_STREQ(text, "");

    // Changing file and section at any time; a missing file gives defaults.
    ini.SetFile("/no/such/file.ini");
    EXPECT_EQ(ini.GetInt("width", 800), 800);
    EXPECT_STREQ(ini.GetString("width", "dflt"), "dflt");

    // A path deeper than any the system opens is refused and logged, not cut
    // to the name of another file; one just below that depth is kept whole.
    std::string deep = dir + "/" + std::string(kMaxPath, 'd');
    ini.SetFile(deep.c_str());
    EXPECT_STREQ(ini.fileName, "");
    EXPECT_EQ(ini.GetInt("width", 800), 800);
    EXPECT_NE(testsupport::ReadText(TESSIMO_LOG_FILE).find("## path too long: <" + deep + "> ##\n"),
              std::string::npos);
    deep.resize(kMaxPath - 1);
    ini.SetFile(deep.c_str());
    EXPECT_EQ(ini.fileName, deep);
}

TEST_F(IniFileTest, TokenLookupThroughTheSharedBuffer)
{
    // The start-up's way: a text from the settings used at once as the key
    // into the token table, with the files the build installs.
    std::string src = getenv("TESSIMO_SOURCE_DIR") ? getenv("TESSIMO_SOURCE_DIR") : "";
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
    const char* names[] = {
        "GL_LESS",    "GL_ONE",     "GL_ZERO",     "GL_LINEAR",    "GL_LINEAR_MIPMAP_NEAREST",
        "GL_REPEAT",  "GL_TEXTURE", "GL_PREVIOUS", "GL_SRC_COLOR", "GL_SRC_ALPHA",
        "GL_MODULATE"};
    int values[] = {0x201, 1, 0, 0x2601, 0x2701, 0x2901, 0x1702, 0x8578, 0x300, 0x302, 0x2100};
    for (size_t i = 0; i < sizeof names / sizeof names[0]; ++i)
        EXPECT_EQ(tokens.GetHex(names[i], -1), values[i]) << names[i];

    // Without a token file the sound numbers arrive as -1.
    tokens.SetFile("/no/such/tokens.ini");
    tokens.SetSection("FMOD");
    EXPECT_EQ(tokens.GetHex(settings.GetString("output", "FSOUND_OUTPUT_DSOUND"), -1), -1);
}

using WindowProcTest = AppTest;

TEST_F(WindowProcTest, KeysActivationCloseAndSystemCommands)
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
    send(WM_KEYDOWN, VK_ESCAPE); // auto-repeat writes 1 again
    EXPECT_EQ(g_input->keys[VK_ESCAPE], 1);
    send(WM_KEYUP, VK_ESCAPE);
    EXPECT_EQ(g_input->keys[VK_ESCAPE], 0);
    send(WM_KEYDOWN, 0x1DE); // above 255: wraps through the mask
    EXPECT_EQ(g_input->keys[0xDE], 1);
    send(WM_KEYUP, 0x3DE);
    EXPECT_EQ(g_input->keys[0xDE], 0);

    // Deactivation leaves held keys down.
    send(WM_KEYDOWN, VK_ADD);
    g_window->active = 1;
    send(WM_ACTIVATE, WA_INACTIVE);
    EXPECT_EQ(g_window->active, 0);
    EXPECT_EQ(g_input->keys[VK_ADD], 1);
    send(WM_ACTIVATE, WA_CLICKACTIVE);
    EXPECT_EQ(g_window->active, 1);
    send(WM_ACTIVATE, 3); // unknown state: unchanged
    EXPECT_EQ(g_window->active, 1);
    send(WM_ACTIVATE, WA_ACTIVE | 0x10000); // active and minimised
    EXPECT_EQ(g_window->active, 0);
    send(WM_ACTIVATE, 3);
    EXPECT_EQ(g_window->active, 0);
    send(WM_ACTIVATE, WA_ACTIVE);
    EXPECT_EQ(g_window->active, 1);

    EXPECT_EQ(send(WM_SYSCOMMAND, SC_SCREENSAVE), 0);
    EXPECT_EQ(send(WM_SYSCOMMAND, SC_MONITORPOWER), 0);
    EXPECT_EQ(send(WM_SIZE, 0), 0);
    EXPECT_EQ(send(WM_TIMER, 1), 0);
    MSG m;
    EXPECT_FALSE(PeekMessage(&m));

    EXPECT_EQ(send(WM_CLOSE, 0), 0);
    ASSERT_TRUE(PeekMessage(&m));
    EXPECT_EQ(m.message, WM_QUIT);
    EXPECT_EQ(m.wParam, 0u);
    SetWindowProc(nullptr);
}

using SoundStartupTest = AppTest;

const char* const kSoundOk = "- initializing fmod\n"
                             "    + init output %sok!\n"
                             "    + init driver %s ok!\n"
                             "    + init mixer ok!\n"
                             "    + init fsound with 32 channels at 44100 hz  ok!\n";

std::string Format(const char* format, const std::string& a, const std::string& b)
{
    char buf[1024];
    snprintf(buf, sizeof buf, format, a.c_str(), b.c_str());
    return buf;
}

// The start-up's log text, and the status of the quit message it left
// (-1: none).
std::pair<std::string, int> RunStartup(int output)
{
    remove(TESSIMO_LOG_FILE);
    ClearMessageQueue();
    SoundStartup(output, 0, 0, 44100, 32);
    MSG m;
    int status = -1;
    if (PeekMessage(&m) && m.message == WM_QUIT)
        status = static_cast<int>(m.wParam);
    FSOUND_Close();
    return {testsupport::ReadText(TESSIMO_LOG_FILE), status};
}

TEST_F(SoundStartupTest, LogTextOfEachWayThrough)
{
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    ASSERT_TRUE(FSOUND_SetOutput(0));
    std::string driverName = FSOUND_GetDriverName(0);
    FSOUND_Close();

    auto [log, status] = RunStartup(0);
    EXPECT_EQ(log, Format(kSoundOk, "", driverName));
    EXPECT_EQ(status, -1);
    std::tie(log, status) = RunStartup(2);
    EXPECT_EQ(log, Format(kSoundOk, "Direct Sound ", driverName));
    std::tie(log, status) = RunStartup(1);
    EXPECT_EQ(log, Format(kSoundOk, "Windows Multimedia Waveout ", driverName));
    std::tie(log, status) = RunStartup(-1); // no token file
    EXPECT_EQ(log, Format(kSoundOk, "", driverName));

    std::tie(log, status) = RunStartup(99); // an output nobody knows
    EXPECT_EQ(log, "- initializing fmod\n    + init output failed!\n");
    EXPECT_EQ(status, 1);

    FSOUND_TestFailStage(SoundStage::SetDriver);
    std::tie(log, status) = RunStartup(3);
    EXPECT_EQ(log, "- initializing fmod\n    + init output A3D ok!\n    + init driver " +
                       driverName + " failed!\n");
    EXPECT_EQ(status, 1);

    FSOUND_TestFailStage(SoundStage::Init);
    std::tie(log, status) = RunStartup(0);
    EXPECT_EQ(log, "- initializing fmod\n    + init output ok!\n    + init driver " + driverName +
                       " ok!\n    + init mixer ok!\n    + init fsound with 32 channels at 44100 hz "
                       "failed\n");
    EXPECT_EQ(status, 1);
    FSOUND_TestFailStage(SoundStage::None);

    // Only a version below 3.3 is refused; exactly 3.3 passes.
    FSOUND_TestSetVersion(std::nextafter(3.3f, 0.0f));
    std::tie(log, status) = RunStartup(0);
    EXPECT_EQ(log, "- initializing fmod : wrong DLL version!\n");
    EXPECT_EQ(status, 1);
    FSOUND_TestSetVersion(3.3f);
    std::tie(log, status) = RunStartup(0);
    EXPECT_EQ(log, Format(kSoundOk, "", driverName));
    EXPECT_EQ(status, -1);
    FSOUND_TestSetVersion(0.0f);
}

} // namespace

using ReportTest = AppTest;

// One problem text framed for each destination; the console hears only
// while attached and only its owner detaches it; the hook sees everything.
TEST_F(ReportTest, EachDestinationFramesTheProblem)
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
