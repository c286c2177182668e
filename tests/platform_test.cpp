// The platform layer without GL: the message queue fed from SDL events and
// signals, key codes, paths and profile reads, counters, boxes and the
// sound stand-in.
#include <gtest/gtest.h>

#include <SDL.h>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <vector>

#include "platform/counter.h"
#include "platform/keys.h"
#include "platform/message_box.h"
#include "platform/messages.h"
#include "platform/path_map.h"
#include "platform/profile.h"
#include "platform/sound.h"
#include "platform/system_time.h"
#include "support/files.h"

namespace
{

// What the queue holds, as (message, wParam) pairs; it is empty after.
std::vector<std::pair<uint32_t, uintptr_t>> Drain(std::vector<intptr_t>* lParams = nullptr)
{
    std::vector<std::pair<uint32_t, uintptr_t>> all;
    for (MSG m; PeekMessage(&m);)
    {
        all.emplace_back(m.message, m.wParam);
        if (lParams)
            lParams->push_back(m.lParam);
    }
    return all;
}

std::vector<MSG> g_dispatched;

TEST(Messages, FifoQuitStatusDispatchAndCloseSignals)
{
    ClearMessageQueue();
    PostMessage(WM_KEYDOWN, 0x41, 7);
    PostQuitMessage(0x8570);
    std::vector<intptr_t> lParams;
    using Got = std::vector<std::pair<uint32_t, uintptr_t>>;
    EXPECT_EQ(Drain(&lParams), (Got{{WM_KEYDOWN, 0x41}, {WM_QUIT, 0x8570}}));
    EXPECT_EQ(lParams[0], 7);

    SetWindowProc(
        [](uint32_t message, uintptr_t wParam, intptr_t lParam) -> intptr_t
        {
            g_dispatched.push_back({message, wParam, lParam});
            return 42;
        });
    MSG m = {WM_KEYUP, 0x42, 3};
    EXPECT_EQ(DispatchMessage(&m), 42);
    ASSERT_EQ(g_dispatched.size(), 1u);
    EXPECT_EQ(g_dispatched[0].wParam, 0x42u);
    SetWindowProc(nullptr);

    // SIGTERM and SIGINT end the program the orderly way: one WM_CLOSE each
    // time, and the process lives on.
    raise(SIGTERM);
    EXPECT_EQ(Drain(), (Got{{WM_CLOSE, 0}}));
    raise(SIGINT);
    raise(SIGINT);
    EXPECT_EQ(Drain(), (Got{{WM_CLOSE, 0}}));

    // SDL's events become window messages.
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    ASSERT_EQ(SDL_InitSubSystem(SDL_INIT_VIDEO), 0) << SDL_GetError();
    Drain(); // whatever SDL says at start-up
    auto key = [](Uint32 type, SDL_Scancode sc, SDL_Keycode sym)
    {
        SDL_Event e = {};
        e.type = e.key.type = type;
        e.key.keysym.scancode = sc;
        e.key.keysym.sym = sym;
        SDL_PushEvent(&e);
    };
    auto window = [](Uint8 event, int a, int b)
    {
        SDL_Event e = {};
        e.type = SDL_WINDOWEVENT;
        e.window.event = event;
        e.window.data1 = a;
        e.window.data2 = b;
        SDL_PushEvent(&e);
    };
    key(SDL_KEYDOWN, SDL_SCANCODE_KP_PLUS, SDLK_KP_PLUS);
    key(SDL_KEYUP, SDL_SCANCODE_KP_PLUS, SDLK_KP_PLUS);
    key(SDL_KEYDOWN, SDL_SCANCODE_RALT, SDLK_RALT); // AltGr: Ctrl and Alt
    key(SDL_KEYDOWN, SDL_SCANCODE_GRAVE, SDLK_BACKQUOTE);
    window(SDL_WINDOWEVENT_FOCUS_LOST, 0, 0);
    window(SDL_WINDOWEVENT_MINIMIZED, 0, 0);
    window(SDL_WINDOWEVENT_FOCUS_GAINED, 0, 0);
    window(SDL_WINDOWEVENT_SIZE_CHANGED, 640, 480);
    window(SDL_WINDOWEVENT_CLOSE, 0, 0);
    lParams.clear();
    EXPECT_EQ(Drain(&lParams), (Got{{WM_KEYDOWN, VK_ADD},
                                    {WM_KEYUP, VK_ADD},
                                    {WM_KEYDOWN, VK_CONTROL},
                                    {WM_KEYDOWN, VK_MENU},
                                    {WM_KEYDOWN, VK_OEM_7},
                                    {WM_ACTIVATE, WA_INACTIVE},
                                    {WM_ACTIVATE, 0x10000},
                                    {WM_ACTIVATE, WA_ACTIVE},
                                    {WM_SIZE, 0},
                                    {WM_CLOSE, 0}}));
    ASSERT_EQ(lParams.size(), 10u);
    EXPECT_EQ(lParams[8], 640 | (480 << 16));
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

// The key below Escape, keypad plus and minus, the two bracket keys; digits
// by position even where the layout types '&' or 0xE0; letters by layout
// (the AZERTY key in the QWERTY 'Q' place types 'a'); everything else the
// console reads.
TEST(Keys, PositionalKeysLettersByLayoutAndTheConsoleKeys)
{
    const std::tuple<SDL_Scancode, SDL_Keycode, uint32_t> cases[] = {
        {SDL_SCANCODE_GRAVE, SDLK_BACKQUOTE, VK_OEM_7},
        {SDL_SCANCODE_KP_PLUS, SDLK_KP_PLUS, VK_ADD},
        {SDL_SCANCODE_KP_MINUS, SDLK_KP_MINUS, VK_SUBTRACT},
        {SDL_SCANCODE_MINUS, ')', VK_OEM_4},
        {SDL_SCANCODE_EQUALS, '=', VK_OEM_PLUS},
        {SDL_SCANCODE_1, '&', 0x31},
        {SDL_SCANCODE_0, 0xE0, 0x30},
        {SDL_SCANCODE_9, '9', 0x39},
        {SDL_SCANCODE_Q, SDLK_a, 0x41},
        {SDL_SCANCODE_SEMICOLON, SDLK_m, 0x4D},
        {SDL_SCANCODE_Z, SDLK_UNKNOWN, 0x5A},
        {SDL_SCANCODE_M, SDLK_COMMA, VK_OEM_COMMA},
        {SDL_SCANCODE_M, SDLK_m, 0x4D},
        {SDL_SCANCODE_ESCAPE, SDLK_ESCAPE, VK_ESCAPE},
        {SDL_SCANCODE_SPACE, SDLK_SPACE, VK_SPACE},
        {SDL_SCANCODE_KP_DIVIDE, SDLK_KP_DIVIDE, VK_DIVIDE},
        {SDL_SCANCODE_KP_PERIOD, SDLK_KP_PERIOD, VK_DECIMAL},
        {SDL_SCANCODE_F3, SDLK_F3, VK_F3},
        {SDL_SCANCODE_BACKSPACE, SDLK_BACKSPACE, VK_BACK},
        {SDL_SCANCODE_RETURN, SDLK_RETURN, VK_RETURN},
        {SDL_SCANCODE_KP_ENTER, SDLK_KP_ENTER, VK_RETURN},
        {SDL_SCANCODE_TAB, SDLK_TAB, VK_TAB},
        {SDL_SCANCODE_RSHIFT, SDLK_RSHIFT, VK_SHIFT},
        {SDL_SCANCODE_LCTRL, SDLK_LCTRL, VK_CONTROL},
        {SDL_SCANCODE_KP_7, SDLK_KP_7, 0x67},
        {SDL_SCANCODE_MUTE, SDLK_MUTE, 0}};
    for (const auto& [scancode, sym, key] : cases)
        EXPECT_EQ(VirtualKeyFromSdl(scancode, sym), key) << SDL_GetScancodeName(scancode);
}

class Profile : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(temp.path.empty());
        mkdir("Ini", 0755);
    }
    std::string Read(const char* section, const char* key, const char* def, uint32_t size = 128)
    {
        char out[512];
        uint32_t n = GetPrivateProfileString(section, key, def, out, size, file.c_str());
        EXPECT_EQ(n, strlen(out));
        return out;
    }
    testsupport::TempDir temp;
    // Written with '\' and the other letter case of the folder.
    std::string file = "ini\\test.ini";
};

TEST_F(Profile, CaselessNamesTrimmedValuesDefaultsAndCut)
{
    std::string longValue(300, 'v');
    testsupport::WriteText("Ini/test.ini", "; comment\r\n"
                                           "garbage line without equals\n"
                                           "orphan=before any section\n"
                                           "[ 3D Engine ]\r\n"
                                           "  Window_Width =  1024  \r\n"
                                           "title = \"quoted text\"\n"
                                           "quotes=\"\"\n"
                                           "empty=\n"
                                           "[unterminated\n"
                                           "long=" +
                                               longValue +
                                               "\n"
                                               "[Sound]\n"
                                               "window_width=7\n"
                                               "last=no newline");
    EXPECT_EQ(Read("3d engine", "WINDOW_WIDTH", "800"), "1024");
    EXPECT_EQ(Read("3D engine", "title", ""), "quoted text");
    EXPECT_EQ(Read("3D engine", "quotes", "dflt"), "");
    EXPECT_EQ(Read("3D engine", "empty", "dflt"), "");
    EXPECT_EQ(Read("3D engine", "missing", "dflt"), "dflt");
    EXPECT_EQ(Read("3D engine", "missing", nullptr), "");
    EXPECT_EQ(Read("3D engine", "orphan", "none"), "none");
    EXPECT_EQ(Read("3D engine", "last", "none"), "none"); // the section has ended
    EXPECT_EQ(Read("nosection", "window_width", "800"), "800");
    EXPECT_EQ(Read("sound", "window_width", "800"), "7");
    EXPECT_EQ(Read("sound", "last", ""), "no newline");
    // A malformed header line is skipped; its keys stay in the section above.
    // Values and defaults are cut to the buffer, terminator included.
    EXPECT_EQ(Read("3D engine", "long", "", 128), longValue.substr(0, 127));
    EXPECT_EQ(Read("3D engine", "window_width", "", 4), "102");
    EXPECT_EQ(Read("3D engine", "missing", "default text", 8), "default");

    char out[16] = "x";
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", out, 0, file.c_str()), 0u);
    EXPECT_STREQ(out, "x");
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", out, sizeof out, "no/such/file.ini"), 1u);
    EXPECT_STREQ(out, "d");
    // A byte order mark before the first section; the key in the output.
    testsupport::WriteText("Ini/test.ini", "\xEF\xBB\xBF[FMOD]\nFSOUND_OUTPUT_DSOUND=2\n");
    char buffer[128] = "fsound_output_dsound";
    GetPrivateProfileString("FMOD", buffer, "-1", buffer, sizeof buffer, file.c_str());
    EXPECT_STREQ(buffer, "2");
}

TEST_F(Profile, HostileFilesGiveDefaults)
{
    std::string binary;
    for (int i = 0; i < 5000; ++i)
        binary.push_back(static_cast<char>((i * 131) & 0xFF));
    for (const std::string& text :
         {std::string(), std::string("["), std::string("[]\n=\n==\n[x]=y\n"),
          std::string("[s]\nk=a\0b\n", 11), std::string(100000, '['),
          "[s]\n" + std::string(200000, 'k') + "=v\n", binary})
    {
        testsupport::WriteText("Ini/test.ini", text);
        EXPECT_EQ(Read("s", "missing", "d"), "d");
    }
    // A folder where the file should be reads as a missing file.
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", nullptr, 0, "Ini"), 0u);
}

TEST_F(Profile, PathsMapCaselessAndTooLongOnesAreRefused)
{
    mkdir("Ini/Sub", 0755);
    testsupport::WriteText("Ini/Sub/File.txt", "");
    char out[32];
    ASSERT_TRUE(MapPath("INI\\sub\\file.TXT", out, sizeof out));
    EXPECT_STREQ(out, "Ini/Sub/File.txt");
    ASSERT_TRUE(MapPath("ini\\none\\file.txt", out, sizeof out));
    EXPECT_STREQ(out, "Ini/none/file.txt");
    // The terminator must fit as well.
    EXPECT_TRUE(MapPath("abcdefg", out, 8));
    EXPECT_FALSE(MapPath("abcdefgh", out, 8));
    EXPECT_STREQ(out, "");
}

TEST(Clocks, CountersAndTheSystemTimeInUtc)
{
    UseManualCounter(1000, 5, 3);
    EXPECT_EQ(QueryPerformanceFrequency(), 1000);
    EXPECT_EQ(QueryPerformanceCounter(), 5);
    EXPECT_EQ(QueryPerformanceCounter(), 8);
    SetManualCounter(100);
    EXPECT_EQ(QueryPerformanceCounter(), 100);
    UseManualCounter(60, 0, 0);
    EXPECT_EQ(QueryPerformanceCounter(), 0);
    EXPECT_EQ(QueryPerformanceCounter(), 0);
    UseSystemCounter();
    EXPECT_EQ(QueryPerformanceFrequency(), 1000000000);
    int64_t a = QueryPerformanceCounter();
    EXPECT_LE(a, QueryPerformanceCounter());

    // Read between two clock readings of the same minute, so that a minute
    // or an hour turning meanwhile can't make a difference.
    SYSTEMTIME st;
    tm before, after;
    do
    {
        time_t t = time(nullptr);
        gmtime_r(&t, &before);
        GetSystemTime(&st);
        t = time(nullptr);
        gmtime_r(&t, &after);
    } while (before.tm_min != after.tm_min);
    EXPECT_EQ(st.wYear, before.tm_year + 1900);
    EXPECT_EQ(st.wMonth, before.tm_mon + 1);
    EXPECT_EQ(st.wDay, before.tm_mday);
    EXPECT_EQ(st.wHour, before.tm_hour);
    EXPECT_EQ(st.wMinute, before.tm_min);
    EXPECT_LT(st.wMilliseconds, 1000);
}

TEST(Platform, HeadlessBoxesAndTheSoundStandIn)
{
    {
        // The platform's own hook, beneath the report path's.
        std::vector<std::string> seen;
        auto record = [](const char* text, const char* caption, unsigned style, void* user)
        {
            static_cast<std::vector<std::string>*>(user)->push_back(
                std::string(text) + "|" + caption + "|" + std::to_string(style));
            return (style & 0xF) == MB_YESNO ? IDNO : IDOK;
        };
        SetMessageBoxHook(record, &seen);
        EXPECT_EQ(MessageBox("Question?", "Cap", MB_YESNO | MB_ICONEXCLAMATION), IDNO);
        EXPECT_EQ(MessageBox("Note.", "Cap2", MB_ICONSTOP), IDOK);
        SetMessageBoxHook(nullptr, nullptr);
        EXPECT_EQ(seen, (std::vector<std::string>{"Question?|Cap|52", "Note.|Cap2|16"}));
    }
    // No hook, headless: standard error and the default answer, at once.
    // (The recorded boxes and their answers are the window suite's.)
    setenv("TESSIMO_HEADLESS", "1", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(MessageBox("Use Windowed Mode Instead?", "Ruvo GL", MB_YESNO), IDYES);
    EXPECT_EQ(MessageBox("Window Creation Error.", "ERROR", MB_ICONEXCLAMATION), IDOK);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("Use Windowed Mode Instead?"), std::string::npos);
    EXPECT_NE(err.find("Window Creation Error."), std::string::npos);

    // Output 0 is SDL's dummy driver, whatever SDL_AUDIODRIVER says; the
    // log text of the start-up's stages is the app suite's.
    EXPECT_GE(FSOUND_GetVersion(), 3.3f);
    setenv("SDL_AUDIODRIVER", "no-such-driver", 1);
    ASSERT_TRUE(FSOUND_SetOutput(0));
    EXPECT_STRNE(FSOUND_GetDriverName(0), "");
    EXPECT_FALSE(FSOUND_SetDriver(5));
    EXPECT_TRUE(FSOUND_SetDriver(0));
    EXPECT_FALSE(FSOUND_Init(0, 32, 0));
    ASSERT_TRUE(FSOUND_Init(44100, 32, 0));
    EXPECT_STREQ(SDL_GetCurrentAudioDriver(), "dummy");
    EXPECT_FALSE(FSOUND_SetOutput(0)); // not while running
    FSOUND_Close();
    FSOUND_Close(); // twice is harmless
    FSOUND_TestFailStage(SoundStage::SetOutput);
    EXPECT_FALSE(FSOUND_SetOutput(0));
    FSOUND_TestFailStage(SoundStage::None);
}

} // namespace
