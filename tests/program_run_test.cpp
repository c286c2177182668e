// The real program, run on the X server this test was started under
// (xvfb-run), ended in each of the ways a user ends it: the window's close
// button, the Escape key, and SIGTERM. Each run leaves tessimo2.log; its
// text is checked line by line, with the driver's own strings, and the three
// runs must give the same text but for times and numbers.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <SDL.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/display_lost.h"
#include "platform/path_map.h"
#include "support/files.h"
#include "support/private_x_server.h"
#include "support/process.h"
#include "support/program_window.h"

namespace
{

using testsupport::Env;
using testsupport::ReadText;
using testsupport::StartProgram;
using testsupport::WaitExit;
using testsupport::WaitFor;
using testsupport::WriteText;

const char* kTitle = "Tessimo 2 Engine";

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::stringstream s(text);
    for (std::string line; std::getline(s, line);)
        lines.push_back(line);
    return lines;
}

// What the driver says about itself, read from a context of our own on the
// same display: the program must log exactly these strings.
struct DriverStrings
{
    std::string vendor, renderer, version, extensions;
};

DriverStrings ReadDriverStrings()
{
    DriverStrings d;
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0)
        return d;
    SDL_Window* w = SDL_CreateWindow("probe", 0, 0, 64, 64, SDL_WINDOW_OPENGL | SDL_WINDOW_HIDDEN);
    SDL_GLContext c = w ? SDL_GL_CreateContext(w) : nullptr;
    if (c)
    {
        auto str = [](GLenum e)
        {
            const GLubyte* s = glGetString(e);
            return std::string(s ? reinterpret_cast<const char*>(s) : "");
        };
        d = {str(GL_VENDOR), str(GL_RENDERER), str(GL_VERSION), str(GL_EXTENSIONS)};
        SDL_GL_DeleteContext(c);
    }
    if (w)
        SDL_DestroyWindow(w);
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    return d;
}

// The run directories of the test that runs now; kept when it fails.
std::vector<std::string> runDirs;

// A fresh run directory: the built ini/ and data.rar, unless told otherwise.
std::string MakeRunDir(bool withIni)
{
    std::string dir = testsupport::MakeRunDir(withIni);
    if (!dir.empty())
        runDirs.push_back(dir);
    return dir;
}

enum class Ending
{
    CloseButton,
    EscapeKey,
    Terminate,
};

void EndProgram(pid_t pid, Ending how)
{
    if (how == Ending::Terminate)
    {
        kill(pid, SIGTERM);
        return;
    }
    Display* dpy = XOpenDisplay(nullptr);
    ASSERT_NE(dpy, nullptr);
    Window win = 0;
    ASSERT_TRUE(WaitFor(
        [&] {
            return (win = testsupport::FindWindowByTitle(dpy, DefaultRootWindow(dpy), kTitle)) != 0;
        },
        10))
        << "the program's window never appeared";
    if (how == Ending::CloseButton)
    {
        // What a window manager sends when the close button is clicked.
        XEvent e{};
        e.xclient.type = ClientMessage;
        e.xclient.window = win;
        e.xclient.message_type = XInternAtom(dpy, "WM_PROTOCOLS", False);
        e.xclient.format = 32;
        e.xclient.data.l[0] = static_cast<long>(XInternAtom(dpy, "WM_DELETE_WINDOW", False));
        e.xclient.data.l[1] = CurrentTime;
        XSendEvent(dpy, win, False, NoEventMask, &e);
    }
    else
    {
        XSetInputFocus(dpy, win, RevertToParent, CurrentTime);
        XSync(dpy, False);
        KeyCode esc = XKeysymToKeycode(dpy, XK_Escape);
        XTestFakeKeyEvent(dpy, esc, True, 0);
        XSync(dpy, False);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        XTestFakeKeyEvent(dpy, esc, False, 0);
    }
    XSync(dpy, False);
    XCloseDisplay(dpy);
}

// One run: start, let it draw for a while, end it, return the log.
std::string RunProgram(const std::string& dir, Ending how)
{
    pid_t pid = StartProgram(dir, "dummy");
    EXPECT_GT(pid, 0);
    std::string log = dir + "/tessimo2.log";
    EXPECT_TRUE(WaitFor(
        [&] { return ReadText(log).find("- init openGL engine") != std::string::npos; }, 30))
        << "the program never got its GL context";
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EndProgram(pid, how);
    EXPECT_EQ(WaitExit(pid, 30), 0);
    return ReadText(log);
}

std::string Quote(const std::string& s)
{
    static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
    return std::regex_replace(s, special, R"(\$&)");
}

// The lines of a normal windowed run, as patterns.
std::vector<std::string> ExpectedLines(const DriverStrings& d, const std::string& tryingLine)
{
    const std::string n = R"(\d+)";
    return {
        "TESSIMO 2 engine log file",
        "log created the " + n + "/" + n + "/" + n + " at " + n + "h " + n + "m " + n + "s",
        "",
        Quote(tryingLine),
        "- showing the window",
        "- setting up perspective and GL variables",
        "- that's running!",
        "- init openGL engine :",
        Quote("    + vendor   : " + d.vendor),
        Quote("    + renderer : " + d.renderer),
        Quote("    + version  : " + d.version),
        Quote("    + listing all extensions : " + d.extensions),
        "- initializing fmod",
        R"(    \+ init output (Windows Multimedia Waveout |Direct Sound |A3D )?ok!)",
        R"(    \+ init driver .* ok!)",
        R"(    \+ init mixer ok!)",
        R"(    \+ init fsound with \d+ channels at \d+ hz  ok!)",
        "- tessimo has drawn " + n + " frames in " + n +
            R"( seconds, average FPS : (\d+\.\d+|inf|nan|-nan))",
        "- shutting down at " + n + "h " + n + "m " + n + "s",
    };
}

void ExpectLog(const std::string& log, const std::vector<std::string>& patterns)
{
    std::vector<std::string> lines = Lines(log);
    ASSERT_EQ(lines.size(), patterns.size()) << log;
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_TRUE(std::regex_match(lines[i], std::regex(patterns[i])))
            << "line " << i + 1 << ": \"" << lines[i] << "\"\n  expected: " << patterns[i];
    EXPECT_EQ(log.back(), '\n');
}

std::string WithoutNumbers(const std::string& s)
{
    return std::regex_replace(s, std::regex(R"(\d+(\.\d+)?)"), "#");
}

class ProgramRun : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (Env("DISPLAY").empty())
            GTEST_SKIP() << "no X display";
        driver = ReadDriverStrings();
        ASSERT_FALSE(driver.renderer.empty());
    }
    void TearDown() override
    {
        std::error_code ec;
        if (!HasFailure())
            for (const std::string& dir : runDirs)
                std::filesystem::remove_all(dir, ec);
        runDirs.clear();
    }
    DriverStrings driver;
};

const char* kDefaultTrying =
    "- trying to create windowed application <Tessimo 2 Engine> in 800x600@16 with a 0 "
    "bit(s) stencil buffer and a 16 bits z-buffer";

TEST_F(ProgramRun, ThreeWaysToEndGiveTheSameLog)
{
    std::vector<std::string> logs;
    for (Ending how : {Ending::CloseButton, Ending::EscapeKey, Ending::Terminate})
    {
        std::string dir = MakeRunDir(true);
        ASSERT_FALSE(dir.empty());
        std::string log = RunProgram(dir, how);
        std::vector<std::string> lines = Lines(log);
        ASSERT_GE(lines.size(), 4u) << log;
        ExpectLog(log, ExpectedLines(driver, lines[3]));
        logs.push_back(WithoutNumbers(log));
    }
    EXPECT_EQ(logs[0], logs[1]);
    EXPECT_EQ(logs[0], logs[2]);
}

TEST_F(ProgramRun, WithoutSettingsTheDefaultsApply)
{
    // No tessimo2.ini; the materials and the token table are there, so the
    // demo finds all it needs and the log is that of a normal run.
    std::string dir = MakeRunDir(false);
    ASSERT_FALSE(dir.empty());
    mkdir((dir + "/ini").c_str(), 0755);
    for (const char* name : {"Shaders.ini", "tokens.ini"})
        WriteText(dir + "/ini/" + name, ReadText(Env("TESSIMO_RUN_DIR") + "/ini/" + name));
    ExpectLog(RunProgram(dir, Ending::EscapeKey), ExpectedLines(driver, kDefaultTrying));
}

TEST_F(ProgramRun, FullscreenInAnyLetterCaseAsksForFullscreen)
{
    std::string dir = MakeRunDir(false);
    ASSERT_FALSE(dir.empty());
    mkdir((dir + "/ini").c_str(), 0755);
    WriteText(dir + "/ini/tessimo2.ini",
              "[3D engine]\nfullscreen = TrUe\nwindow_width=640\nwindow_height=480\n");
    std::string log = RunProgram(dir, Ending::Terminate);
    std::vector<std::string> lines = Lines(log);
    ASSERT_GE(lines.size(), 4u) << log;
    EXPECT_EQ(lines[3],
              "- trying to create fullscreen application <Tessimo 2 Engine> in 640x480@16 with a 0 "
              "bit(s) stencil buffer and a 16 bits z-buffer");
    EXPECT_NE(log.find("- that's running!"), std::string::npos) << log;
}

TEST_F(ProgramRun, RefusedWindowExitsWithStatusOne)
{
    // A window far beyond what any driver gives: Create fails, shows its box
    // (on standard error here), logs its line and the program exits with 1.
    std::string dir = MakeRunDir(false);
    ASSERT_FALSE(dir.empty());
    mkdir((dir + "/ini").c_str(), 0755);
    WriteText(dir + "/ini/tessimo2.ini",
              "[3D engine]\nwindow_width=100000\nwindow_height=100000\n");
    pid_t pid = StartProgram(dir, "dummy");
    int status = WaitExit(pid, 60);
    std::string log = ReadText(dir + "/tessimo2.log");
    EXPECT_EQ(status, 1) << log;
    EXPECT_NE(
        log.find("- trying to create windowed application <Tessimo 2 Engine> in 100000x100000@16"),
        std::string::npos)
        << log;
    EXPECT_EQ(log.find("- that's running!"), std::string::npos) << log;
}

// Runs unattended: from a script, over SSH, in CI.

void ExpectClosingLines(const std::string& log)
{
    std::vector<std::string> lines = Lines(log);
    ASSERT_GE(lines.size(), 2u) << log;
    EXPECT_TRUE(
        std::regex_match(lines[lines.size() - 2],
                         std::regex(R"(- tessimo has drawn \d+ frames in \d+ seconds, .*)")))
        << log;
    EXPECT_TRUE(std::regex_match(lines.back(), std::regex(R"(- shutting down at \d+h \d+m \d+s)")))
        << log;
}

TEST_F(ProgramRun, SigtermClosesAnOpenBoxWithItsDefaultAnswer)
{
    // A fullscreen mode the virtual screen does not offer: the question box
    // opens on the display. SIGTERM takes its default (windowed) and the run
    // ends in order, the console's text saved.
    std::string dir = MakeRunDir(true);
    ASSERT_FALSE(dir.empty());
    WriteText(dir + "/ini/tessimo2.ini",
              "[3D engine]\nfullscreen=true\nwindow_width=640\nwindow_height=480\n");
    pid_t pid = StartProgram(dir, "dummy", {{"TESSIMO_HEADLESS", ""}});
    Display* dpy = XOpenDisplay(nullptr);
    ASSERT_NE(dpy, nullptr);
    EXPECT_TRUE(WaitFor(
        [&] { return testsupport::FindWindowByTitle(dpy, DefaultRootWindow(dpy), "Ruvo GL") != 0; },
        30))
        << "the box never appeared";
    XCloseDisplay(dpy);
    kill(pid, SIGTERM);
    EXPECT_EQ(WaitExit(pid, 10), 0);
    std::string log = ReadText(dir + "/tessimo2.log");
    EXPECT_NE(log.find("- that's running!"), std::string::npos) << log;
    ExpectClosingLines(log);
    EXPECT_FALSE(ReadText(dir + "/console.log").empty());
}

TEST_F(ProgramRun, LostDisplayEndsTheRunWithItsClosingLines)
{
    testsupport::PrivateXServer server;
    ASSERT_FALSE(server.display.empty()) << "Xvfb did not start";
    std::string dir = MakeRunDir(true);
    ASSERT_FALSE(dir.empty());
    pid_t pid = StartProgram(dir, "dummy", {{"DISPLAY", server.display}});
    std::string log = dir + "/tessimo2.log";
    EXPECT_TRUE(WaitFor(
        [&] { return ReadText(log).find("- init openGL engine") != std::string::npos; }, 30));
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    server.Kill();
    EXPECT_EQ(WaitExit(pid, 10), kDisplayLostStatus);
    ExpectClosingLines(ReadText(log));
}

TEST_F(ProgramRun, DeepFoldersAndByteOrderMarksKeepTheSettings)
{
    const std::string settings = "[3D engine]\nwindow_width=640\nwindow_height=480\n";
    std::string deep = MakeRunDir(true);
    ASSERT_FALSE(deep.empty());
    while (deep.size() < 300)
        ASSERT_EQ(mkdir((deep += "/" + std::string(60, 'd')).c_str(), 0755), 0);
    ASSERT_EQ(mkdir((deep + "/ini").c_str(), 0755), 0);
    WriteText(deep + "/ini/tessimo2.ini", settings);
    std::string marked = MakeRunDir(false);
    ASSERT_FALSE(marked.empty());
    mkdir((marked + "/ini").c_str(), 0755);
    WriteText(marked + "/ini/tessimo2.ini", "\xEF\xBB\xBF" + settings);
    for (const std::string& dir : {deep, marked})
    {
        std::vector<std::string> lines = Lines(RunProgram(dir, Ending::Terminate));
        ASSERT_GE(lines.size(), 4u) << dir;
        EXPECT_NE(lines[3].find(" in 640x480@16 "), std::string::npos) << lines[3];
    }

    // Deeper than any path the system opens: the run says so and stops
    // instead of reading settings from another folder.
    std::string top = MakeRunDir(false);
    ASSERT_FALSE(top.empty());
    std::filesystem::path back = std::filesystem::current_path();
    ASSERT_EQ(chdir(top.c_str()), 0);
    for (size_t depth = top.size(); depth <= kMaxPath; depth += 201)
        ASSERT_TRUE(mkdir(std::string(200, 'd').c_str(), 0755) == 0 &&
                    chdir(std::string(200, 'd').c_str()) == 0);
    int status = WaitExit(StartProgram("", "dummy"), 20);
    std::string log = ReadText("tessimo2.log");
    std::filesystem::current_path(back);
    EXPECT_EQ(status, 1);
    EXPECT_NE(log.find("## cannot read the working directory"), std::string::npos) << log;
    EXPECT_EQ(log.find("- trying"), std::string::npos) << log;
    EXPECT_EQ(system(("rm -rf '" + top + "'").c_str()), 0);
}

// The demo's screenshot is what a person sees: the paper white, not the
// colours of the window's own visual.
TEST_F(ProgramRun, ScreenshotShowsWhitePaper)
{
    std::string dir = MakeRunDir(true);
    ASSERT_FALSE(dir.empty());
    pid_t pid = StartProgram(dir, "dummy");
    EXPECT_TRUE(WaitFor(
        [&] { return ReadText(dir + "/tessimo2.log").find("+ init fsound") != std::string::npos; },
        30));
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    std::string shot = dir + "/screenshot.png";
    std::string cmd = "bash '" + Env("TESSIMO_SOURCE_DIR") + "/scripts/screenshot' '" + kTitle +
                      "' '" + shot + "'";
    EXPECT_EQ(system(cmd.c_str()), 0);
    kill(pid, SIGTERM);
    EXPECT_EQ(WaitExit(pid, 30), 0);

    FILE* pipe = popen(("pngtopnm '" + shot + "' 2>/dev/null | ppmtoppm").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    int width = 0, height = 0, maxval = 0;
    int fields = fscanf(pipe, "P6 %d %d %d", &width, &height, &maxval);
    fgetc(pipe);
    std::vector<unsigned char> rgb(size_t(std::max(width, 0)) * std::max(height, 0) * 3);
    size_t got = fread(rgb.data(), 1, rgb.size(), pipe);
    pclose(pipe);
    ASSERT_EQ(fields, 3);
    EXPECT_EQ(width, 800);
    EXPECT_EQ(height, 600);
    ASSERT_EQ(got, rgb.size());
    size_t white = 0;
    for (size_t i = 0; i + 2 < rgb.size(); i += 3)
        white += rgb[i] == 255 && rgb[i + 1] == 255 && rgb[i + 2] == 255;
    EXPECT_GT(white, rgb.size() / 3 / 2) << "paper pixels of " << rgb.size() / 3;
}

} // namespace
