// The platform layer: messages, signals and key codes, profile reads and
// paths, clocks, headless boxes.
#include <gtest/gtest.h>

#include <SDL.h>

#include "app/ini_file.h"
#include "app/log.h"
#include "platform/counter.h"
#include "platform/keys.h"
#include "platform/messages.h"
#include "platform/profile.h"
#include "platform/system_time.h"
#include "support/files.h"
#include "support/report_capture.h"

namespace
{

// The queue's messages and wParams, one after the other; lParams apart.
std::vector<uint64_t> Drain(std::vector<intptr_t>* lParams = nullptr)
{
    std::vector<uint64_t> all;
    for (MSG m; PeekMessage(&m); lParams ? lParams->push_back(m.lParam) : void())
        all.insert(all.end(), {m.message, m.wParam});
    return all;
}
using Got = std::vector<uint64_t>;

// In order, the quit status kept; SIGTERM and SIGINT end the program the
// orderly way, one WM_CLOSE while one waits, and the process lives on.
TEST(Messages, FifoQuitStatusSignalsSdlEventsAndKeyCodes)
{
    ClearMessageQueue();
    PostMessage(WM_KEYDOWN, 0x41, 7);
    PostQuitMessage(0x8570);
    std::vector<intptr_t> lParams;
    EXPECT_EQ(Drain(&lParams), (Got{WM_KEYDOWN, 0x41, WM_QUIT, 0x8570}));
    EXPECT_EQ(lParams[0], 7);
    raise(SIGTERM);
    EXPECT_EQ(Drain(), (Got{WM_CLOSE, 0}));
    raise(SIGINT);
    raise(SIGINT);
    EXPECT_EQ(Drain(), (Got{WM_CLOSE, 0}));
    // SDL's events become window messages; AltGr is Control and Alt.
    setenv("SDL_VIDEODRIVER", "dummy", 1);
    ASSERT_EQ(SDL_InitSubSystem(SDL_INIT_VIDEO), 0) << SDL_GetError();
    Drain(); // whatever SDL says at start-up
    for (auto [type, code] : {std::pair<Uint32, int>{SDL_KEYDOWN, SDL_SCANCODE_KP_PLUS},
                              {SDL_KEYUP, SDL_SCANCODE_KP_PLUS},
                              {SDL_KEYDOWN, SDL_SCANCODE_RALT},
                              {SDL_WINDOWEVENT, SDL_WINDOWEVENT_FOCUS_LOST},
                              {SDL_WINDOWEVENT, SDL_WINDOWEVENT_MINIMIZED},
                              {SDL_WINDOWEVENT, SDL_WINDOWEVENT_FOCUS_GAINED},
                              {SDL_WINDOWEVENT, SDL_WINDOWEVENT_SIZE_CHANGED}})
    {
        SDL_Event e = {};
        e.key = {type, 0, 0, 0, 0, 0, 0, {static_cast<SDL_Scancode>(code), 0, 0, 0}};
        e.key.keysym.sym = SDL_GetKeyFromScancode(e.key.keysym.scancode);
        if (type == SDL_WINDOWEVENT)
            e.window = {type, 0, 0, static_cast<Uint8>(code), 0, 0, 0, 640, 480};
        SDL_PushEvent(&e);
    }
    lParams.clear();
    EXPECT_EQ(Drain(&lParams), (Got{WM_KEYDOWN, VK_ADD, WM_KEYUP, VK_ADD, WM_KEYDOWN, VK_CONTROL,
                                    WM_KEYDOWN, VK_MENU, WM_ACTIVATE, WA_INACTIVE, WM_ACTIVATE,
                                    0x10000, WM_ACTIVATE, WA_ACTIVE, WM_SIZE, 0}));
    EXPECT_EQ(lParams.at(7), 640 | (480 << 16));
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    // By position: the key below Escape, keypad keys, brackets and digits (not
    // '&' or 0xE0); letters by layout. The console suite types the rest.
    const std::tuple<SDL_Scancode, SDL_Keycode, uint32_t> cases[] = {
        {SDL_SCANCODE_GRAVE, SDLK_BACKQUOTE, VK_OEM_7},
        {SDL_SCANCODE_KP_PLUS, SDLK_KP_PLUS, VK_ADD},
        {SDL_SCANCODE_KP_MINUS, SDLK_KP_MINUS, VK_SUBTRACT},
        {SDL_SCANCODE_MINUS, ')', VK_OEM_4}, // the bracket key on a French map
        {SDL_SCANCODE_1, '&', 0x31},
        {SDL_SCANCODE_0, 0xE0, 0x30},
        {SDL_SCANCODE_Q, SDLK_a, 0x41},
        {SDL_SCANCODE_Z, SDLK_UNKNOWN, 0x5A},
        {SDL_SCANCODE_M, SDLK_COMMA, VK_OEM_COMMA},
        {SDL_SCANCODE_KP_ENTER, SDLK_KP_ENTER, VK_RETURN},
        {SDL_SCANCODE_MUTE, SDLK_MUTE, 0}};
    for (const auto& [scancode, sym, key] : cases)
        EXPECT_EQ(VirtualKeyFromSdl(scancode, sym), key) << SDL_GetScancodeName(scancode);
}

using testsupport::ReadText;

struct InTempDir : ::testing::Test
{
    void SetUp() override { ClearMessageQueue(); }
    testsupport::TempDir temp;
};

// Profile reads through a name written with '\' and the folder's other
// case (hostile files are the fuzz target's); IniFile's typed reads.
TEST_F(InTempDir, ProfileAndTypedReadsCaselessNamesDefaultsCutAndPaths)
{
    mkdir("Ini", 0755);
    const char* file = "ini\\test.ini";
    auto read = [&](const char* section, const char* key, const char* def, uint32_t size = 128)
    {
        char out[512];
        uint32_t n = GetPrivateProfileString(section, key, def, out, size, file);
        EXPECT_EQ(n, strlen(out));
        return std::string(out);
    };
    testsupport::WriteText(
        "Ini/test.ini", "; comment\r\ngarbage line without equals\norphan=before any section\n"
                        "[ 3D Engine ]\r\n  Window_Width =  1024  \r\ntitle = \"quoted text\"\n"
                        "quotes=\"\"\nempty=\nfullscreen = TRUE\nyes=yes\nwidth=1024px\n"
                        "letters=abc\nhexneg=FFFFFFFF\nf=2.5\n[unterminated\nlong=" +
                            std::string(300, 'v') + "\n[Sound]\nwindow_width=7\nlast=no newline");
    // A malformed header line is skipped: its keys stay in the section
    // above. Values and defaults are cut to the buffer, terminator included.
    const std::tuple<const char*, const char*, const char*, uint32_t, std::string> reads[] = {
        {"3d engine", "WINDOW_WIDTH", "800", 128, "1024"},
        {"3D engine", "title", "", 128, "quoted text"},
        {"3D engine", "quotes", "dflt", 128, ""},
        {"3D engine", "empty", "dflt", 128, ""},
        {"3D engine", "missing", "dflt", 128, "dflt"},
        {"3D engine", "missing", nullptr, 128, ""},
        {"3D engine", "orphan", "none", 128, "none"},
        {"3D engine", "last", "none", 128, "none"}, // the section has ended
        {"nosection", "window_width", "800", 128, "800"},
        {"sound", "window_width", "800", 128, "7"},
        {"sound", "last", "", 128, "no newline"},
        {"3D engine", "long", "", 128, std::string(127, 'v')},
        {"3D engine", "window_width", "", 4, "102"},
        {"3D engine", "missing", "default text", 8, "default"}};
    for (const auto& [section, key, def, size, value] : reads)
        EXPECT_EQ(read(section, key, def, size), value) << section << "/" << key;
    IniFile ini;
    ini.SetFile((temp.path + "\\ini\\test.ini").c_str());
    ini.SetSection("3D engine");
    // The default text "true" compares as true; the result is cut to 127.
    EXPECT_EQ(std::make_tuple(ini.GetBool("fullscreen", false), ini.GetBool("yes", true),
                              ini.GetBool("missing", true), ini.GetInt("width", 800),
                              ini.GetInt("letters", 800), ini.GetHex("hexneg", 0),
                              ini.GetHex("missing", -1), ini.GetHex("letters", -1),
                              ini.GetFloat("f", 1.0f), ini.GetFloat("missing", 0.1f),
                              strlen(ini.GetString("long", ""))),
              std::make_tuple(true, false, true, 1024, 800, -1, -1, 0xABC, 2.5f, 0.1f, 127ul));
    // A path too deep to open is refused and logged, not cut; one below, kept.
    std::string deep = temp.path + "/" + std::string(kMaxPath, 'd');
    ini.SetFile(deep.c_str());
    EXPECT_STREQ(ini.fileName, "");
    EXPECT_EQ(ini.GetInt("width", 800), 800);
    EXPECT_NE(ReadText(TESSIMO_LOG_FILE).find("## path too long: <" + deep + "> ##\n"),
              std::string::npos);
    deep.resize(kMaxPath - 1);
    ini.SetFile(deep.c_str());
    EXPECT_EQ(ini.fileName, deep);
    char out[32] = "x";
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", out, 0, file), 0u);
    EXPECT_STREQ(out, "x");
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", out, sizeof out, "no/such/file.ini"), 1u);
    EXPECT_STREQ(out, "d");
    // A byte order mark before the first section; the key in the output.
    testsupport::WriteText("Ini/test.ini", "\xEF\xBB\xBF[FMOD]\nFSOUND_OUTPUT_DSOUND=2\n");
    char buffer[128] = "fsound_output_dsound";
    GetPrivateProfileString("FMOD", buffer, "-1", buffer, sizeof buffer, file);
    EXPECT_STREQ(buffer, "2");
    // A folder where the file should be reads as a missing file.
    EXPECT_EQ(GetPrivateProfileString("s", "k", "d", nullptr, 0, "Ini"), 0u);
    // Paths map to the names on disk in any case; the terminator must fit.
    mkdir("Ini/Sub", 0755);
    testsupport::WriteText("Ini/Sub/File.txt", "");
    ASSERT_TRUE(MapPath("INI\\sub\\file.TXT", out, sizeof out));
    EXPECT_STREQ(out, "Ini/Sub/File.txt");
    ASSERT_TRUE(MapPath("ini\\none\\file.txt", out, sizeof out));
    EXPECT_STREQ(out, "Ini/none/file.txt");
    EXPECT_TRUE(MapPath("abcdefg", out, 8));
    EXPECT_FALSE(MapPath("abcdefgh", out, 8));
    EXPECT_STREQ(out, "");
}

// The counter never goes back; the system time is UTC, to the second;
// headless boxes without a hook go to standard error and answer at once.
TEST(Platform, ClocksInUtcAndHeadlessBoxes)
{
    UseSystemCounter();
    const int64_t before = QueryPerformanceCounter();
    EXPECT_LE(before, QueryPerformanceCounter());
    SYSTEMTIME st;
    GetSystemTime(&st);
    tm utc = {};
    utc.tm_year = st.wYear - 1900, utc.tm_mon = st.wMonth - 1, utc.tm_mday = st.wDay;
    utc.tm_hour = st.wHour, utc.tm_min = st.wMinute, utc.tm_sec = st.wSecond;
    EXPECT_LE(std::abs(timegm(&utc) - time(nullptr)), 1);
    setenv("TESSIMO_HEADLESS", "1", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(MessageBox("Use Windowed Mode Instead?", "Ruvo GL", MB_YESNO), IDYES);
    EXPECT_EQ(MessageBox("Window Creation Error.", "ERROR", MB_ICONEXCLAMATION), IDOK);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(err.find("Use Windowed Mode Instead?") < err.find("Window Creation Error.") &&
                err.find("Window Creation Error.") != std::string::npos)
        << err;
}

} // namespace
