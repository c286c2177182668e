// The shell, its platform layer and the console without GL: messages, keys,
// profile reads, paths, clocks, boxes, sound, the window procedure, math,
// reports; the console's corners the window suite's typing can't reach.
#include <gtest/gtest.h>

#include <SDL.h>
#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <vector>

#include "app/ini_file.h"
#include "app/input.h"
#include "app/log.h"
#include "app/math.h"
#include "app/report.h"
#include "app/sound_startup.h"
#include "app/window.h"
#include "console/console.h"
#include "platform/counter.h"
#include "platform/keys.h"
#include "platform/message_box.h"
#include "platform/messages.h"
#include "platform/path_map.h"
#include "platform/profile.h"
#include "platform/sound.h"
#include "platform/system_time.h"
#include "support/console_stand_in.h"
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

struct App : ::testing::Test
{
    void SetUp() override { ClearMessageQueue(); }
    testsupport::TempDir temp;
};

// Profile reads through a name written with '\' and the folder's other
// case (hostile files are the fuzz target's); IniFile's typed reads.
TEST_F(App, ProfileAndTypedReadsCaselessNamesDefaultsCutAndPaths)
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

struct ConsoleKeys : ::testing::Test
{
    void SetUp() override
    {
        testsupport::StandInCommands(console);
        Frame({VK_OEM_7}); // open
    }
    // One frame with these keys down (and whatever is still held).
    void Frame(std::initializer_list<uint32_t> down)
    {
        for (uint32_t key : down)
            input.keys[key] = 1;
        console.Update(&input);
    }
    std::string Last(uint32_t back = 0) { return console.Line(console.HeldLines() - 1 - back); }

    Console console{nullptr, 800, 600, 1024, 256, 12};
    Input input;
};

TEST_F(ConsoleKeys, EditingCornersExecuteAndTheFrenchMap)
{
    // Recall and Backspace on nothing, completing nothing and a variable, a full line.
    const std::pair<std::vector<uint32_t>, const char*> steps[] = {
        {{VK_F3, VK_BACK}, ""},
        {{VK_TAB}, "quit"},
        {{VK_BACK, VK_BACK, VK_BACK, VK_BACK, 'C', '8', VK_TAB}, "c_aperture"},
        {{'Z', VK_TAB}, "c_aperturez"}};
    for (const auto& [keys, after] : steps)
    {
        for (uint32_t key : keys)
            Frame({key});
        EXPECT_STREQ(console.input, after);
    }
    for (int i = 0; i < 300; ++i)
        Frame({static_cast<uint32_t>('A' + i % 26)});
    EXPECT_EQ(std::make_tuple(console.cursor, strlen(console.input)), std::make_tuple(255u, 255ul));
    Frame({VK_RETURN});
    EXPECT_EQ(std::make_tuple(Last(1).size(), Last(), console.cursor),
              std::make_tuple(255ul, std::string("> command or variable unknown."), 0u));
    int32_t fixed = 77;
    float scale = 1.5f;
    const std::string longest = "t_" + std::string(29, 'n'); // the longest name there is
    console.AddVariable("t_scale", VariableFloat, &scale, false);
    console.AddVariable(longest.c_str(), VariableInt, &fixed, true);
    console.Execute("c_aperture -3");
    EXPECT_EQ(Last() + " " + std::to_string(console.ShownLines()), "> c_aperture is equal to -3 0");
    // A line, and the last line it leaves; a word too long is unknown.
    const std::pair<std::string, std::string> runs[] = {
        {"r_polygonemodexxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx line", "> command or variable unknown."},
        {"r_polygonemode   two  words ", "> string <  two  words > <  two  words >"},
        {"r_fov abc", "> float 0.000000"},
        {"\tr_fov\t1e3", "> float 1000.000000"},
        {"c_aperture 99999999999", "> c_aperture is equal to 2147483647"},
        {"c_aperture seven", "> c_aperture is equal to 2147483647"}, // no number: it stays
        {longest, "> " + longest + " is equal to 77"},
        {longest + " 5", "> " + longest + " is equal to 77"}, // read only
        {"t_scale 0.25", "> t_scale is equal to 0.250000"}};
    for (const auto& [line, last] : runs)
        EXPECT_EQ((console.Execute(line.c_str()), Last()), last) << line;
    EXPECT_EQ(std::make_tuple(fixed, console.ShownLines()), std::make_tuple(77, 1024u));
    // Several keys in one frame enter in the order of the steps: letters,
    // digit row, blank, slash, point, then the AltGr brackets.
    Frame({VK_DECIMAL, '8', 'Z', VK_SPACE, VK_DIVIDE, 'A'});
    input.keys[VK_SHIFT] = 1;
    Frame({'Q', '5', VK_OEM_4, VK_OEM_PLUS});
    // Without Control the two bracket keys are neither read nor consumed.
    EXPECT_EQ(std::make_tuple(input.keys[VK_OEM_4], input.keys[VK_OEM_PLUS]),
              std::make_tuple(1, 1));
    // AltGr comes as Control (with Shift still down, Control wins).
    input.keys[VK_CONTROL] = 1;
    Frame({'0', '2', '8'});
    EXPECT_EQ(std::make_tuple(input.keys[VK_SHIFT], input.keys[VK_CONTROL], input.keys[VK_OEM_4]),
              std::make_tuple(1, 1, 0));
    input.keys[VK_SHIFT] = input.keys[VK_CONTROL] = 0;
    for (uint32_t key : {'1', '2', '7', '9', '0'})
        Frame({key});
    // Keys the console doesn't name are left alone; closed, it takes none.
    Frame({VK_ESCAPE, VK_F1});
    Frame({VK_OEM_7});
    Frame({'B', VK_RETURN, VK_TAB, VK_BACK});
    int held = 0;
    for (uint32_t key : {VK_ESCAPE, VK_F1, uint32_t('B'), VK_RETURN, VK_TAB, VK_BACK})
        held += input.keys[key];
    EXPECT_EQ(std::make_tuple(held, input.keys[VK_OEM_7]), std::make_tuple(6, 0));
    EXPECT_STREQ(console.input, "az_ /.Q5@~\\]}&\xE9\xE8\xE7\xE0");
}

TEST_F(App, ConsoleRingKeepsTheNewest1024LinesAndCutsLongOnes)
{
    Console console(nullptr, 800, 600, 1000, 200, 12); // rounded up to 1024 and 256
    for (int i = 0; i < 1030; ++i)
        console.Printf("line %d", i);
    EXPECT_STREQ(console.Line(0), "line 6");
    console.Printf("%0400d", 1);
    EXPECT_EQ(strlen(console.Line(1023)), 255u);
    console.Printf(nullptr); // nothing
    console.Execute("savelog");
    std::string saved = ReadText(temp.path + "/console.log");
    EXPECT_EQ(saved.rfind("line 7\n", 0), 0u);
    EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 1024);
    EXPECT_EQ(console.logCount, 1032u);            // savelog's line is the last
    console.SaveLog("no/such/folder/console.log"); // writes nothing, and goes on
}

} // namespace
