// The real program on the X server this test was started under (xvfb-run),
// ended in each of the ways a user ends it: the window's close button, the
// Escape key and SIGTERM; a box open at SIGTERM, a lost display, settings
// in a deep folder or behind a byte order mark, and a folder too deep to
// name. Each run's tessimo2.log is checked line by line, with the driver's
// own strings.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <SDL.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/display_lost.h"
#include "platform/path_map.h"
#include "support/files.h"
#include "support/picture.h"
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

bool LogHas(const std::string& dir, const char* text)
{
    return ReadText(dir + "/tessimo2.log").find(text) != std::string::npos;
}

// What the driver says about itself, read from a context of our own on the
// same display: the program must log exactly these strings.
std::vector<std::string> DriverStrings()
{
    std::vector<std::string> d;
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0)
        return d;
    SDL_Window* w = SDL_CreateWindow("probe", 0, 0, 64, 64, SDL_WINDOW_OPENGL | SDL_WINDOW_HIDDEN);
    if (SDL_GLContext c = w ? SDL_GL_CreateContext(w) : nullptr)
    {
        for (GLenum e : {GL_VENDOR, GL_RENDERER, GL_VERSION, GL_EXTENSIONS})
            d.push_back(reinterpret_cast<const char*>(glGetString(e)));
        SDL_GL_DeleteContext(c);
    }
    if (w)
        SDL_DestroyWindow(w);
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    return d;
}

enum class Ending
{
    CloseButton,
    EscapeKey,
    Terminate,
};

// Ends the program in `dir` the given way once its sound is up, so that
// the log has all its start-up lines; `meanwhile` runs before.
void EndProgram(pid_t pid, const std::string& dir, Ending how,
                const std::function<void()>& meanwhile)
{
    EXPECT_TRUE(WaitFor([&] { return LogHas(dir, "+ init fsound"); }, 30))
        << "the program never started its sound";
    if (meanwhile)
        meanwhile();
    if (how == Ending::Terminate)
    {
        kill(pid, SIGTERM);
        return;
    }
    Display* dpy = XOpenDisplay(nullptr);
    ASSERT_NE(dpy, nullptr);
    Window win = 0;
    ASSERT_TRUE(WaitFor(
        [&] { return (win = testsupport::FindWindowByTitle(dpy, DefaultRootWindow(dpy), kTitle)); },
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
        // Held down until the program has seen it and ends.
        XSetInputFocus(dpy, win, RevertToParent, CurrentTime);
        KeyCode esc = XKeysymToKeycode(dpy, XK_Escape);
        XTestFakeKeyEvent(dpy, esc, True, 0);
        XSync(dpy, False);
        EXPECT_TRUE(WaitFor([&] { return LogHas(dir, "- tessimo has drawn "); }, 10));
        XTestFakeKeyEvent(dpy, esc, False, 0);
    }
    XSync(dpy, False);
    XCloseDisplay(dpy);
}

// One run: start, end it the given way, return the log's lines.
std::vector<std::string> RunProgram(const std::string& dir, Ending how,
                                    const std::function<void()>& meanwhile = nullptr)
{
    pid_t pid = StartProgram(dir, "dummy");
    EXPECT_GT(pid, 0);
    EndProgram(pid, dir, how, meanwhile);
    EXPECT_EQ(WaitExit(pid, 30), 0);
    return Lines(ReadText(dir + "/tessimo2.log"));
}

std::string Quote(const std::string& s)
{
    return std::regex_replace(s, std::regex(R"([.^$|()\[\]{}*+?\\])"), R"(\$&)");
}

const char* const kDefaultTrying =
    "- trying to create windowed application <Tessimo 2 Engine> in 800x600@16 with a 0 "
    "bit(s) stencil buffer and a 16 bits z-buffer";
const char* const kClosing[2] = {
    R"(- tessimo has drawn \d+ frames in \d+ seconds, average FPS : (\d+\.\d+|inf|nan|-nan))",
    R"(- shutting down at \d+h \d+m \d+s)"};

class DemoProgram : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (Env("DISPLAY").empty())
            GTEST_SKIP() << "no X display";
    }
    void TearDown() override
    {
        std::error_code ec;
        for (const std::string& dir : dirs)
            if (!HasFailure())
                std::filesystem::remove_all(dir, ec);
    }
    // A fresh run folder: the built data.rar, and the built ini/ or only
    // the settings given.
    std::string RunDir(const char* settings = nullptr)
    {
        std::string dir = testsupport::MakeRunDir(!settings);
        EXPECT_FALSE(dir.empty());
        dirs.push_back(dir);
        if (settings)
        {
            mkdir((dir + "/ini").c_str(), 0755);
            WriteText(dir + "/ini/tessimo2.ini", settings);
        }
        return dir;
    }
    // The closing lines end the log.
    static void ExpectClosingLines(const std::vector<std::string>& lines)
    {
        ASSERT_GE(lines.size(), 2u);
        EXPECT_TRUE(std::regex_match(lines[lines.size() - 2], std::regex(kClosing[0])))
            << lines[lines.size() - 2];
        EXPECT_TRUE(std::regex_match(lines.back(), std::regex(kClosing[1]))) << lines.back();
    }
    std::vector<std::string> dirs;
};

// Three runs, each ended its own way, give the same log but for times and
// numbers: every line of a normal run, the driver's strings as they are.
// The first reads its settings in a folder deeper than 300 characters, the
// second has no tessimo2.ini (the defaults apply), the third's settings
// start with a byte order mark; its window shows white paper.
TEST_F(DemoProgram, ThreeWaysToEndGiveTheSameLog)
{
    std::vector<std::string> driver = DriverStrings();
    ASSERT_EQ(driver.size(), 4u);
    const std::string settings = "[3D engine]\nwindow_width=640\nwindow_height=480\n";
    std::string deep = RunDir();
    while (deep.size() < 300)
        ASSERT_EQ(mkdir((deep += "/" + std::string(60, 'd')).c_str(), 0755), 0);
    std::string run = Env("TESSIMO_RUN_DIR");
    ASSERT_EQ(system(("cp -r '" + run + "/ini' '" + run + "/data.rar' '" + deep + "/'").c_str()),
              0);
    WriteText(deep + "/ini/tessimo2.ini", settings);
    std::string defaults = RunDir(), marked = RunDir();
    unlink((defaults + "/ini/tessimo2.ini").c_str());
    WriteText(marked + "/ini/tessimo2.ini", "\xEF\xBB\xBF" + settings);

    const std::string n = R"(\d+)";
    const std::vector<std::string> common = {
        "TESSIMO 2 engine log file",
        "log created the " + n + "/" + n + "/" + n + " at " + n + "h " + n + "m " + n + "s",
        "",
        "", // the trying line
        "- showing the window",
        "- setting up perspective and GL variables",
        "- that's running!",
        "- init openGL engine :",
        Quote("    + vendor   : " + driver[0]),
        Quote("    + renderer : " + driver[1]),
        Quote("    + version  : " + driver[2]),
        Quote("    + listing all extensions : " + driver[3]),
        "- initializing fmod",
        R"(    \+ init output (Windows Multimedia Waveout |Direct Sound |A3D )?ok!)",
        R"(    \+ init driver .* ok!)",
        R"(    \+ init mixer ok!)",
        R"(    \+ init fsound with \d+ channels at \d+ hz  ok!)",
        kClosing[0],
        kClosing[1],
    };
    std::string shot = marked + "/screenshot.png";
    testsupport::Picture picture;
    auto grab = [&]
    {
        // The screenshot is what a person sees: white paper, not the colours
        // of the window's own visual.
        std::string cmd = "bash '" + Env("TESSIMO_SOURCE_DIR") + "/scripts/screenshot' '" + kTitle +
                          "' '" + shot + "' > /dev/null 2>&1";
        EXPECT_TRUE(WaitFor(
            [&]
            {
                if (system(cmd.c_str()) != 0 || !testsupport::ReadPng(shot, &picture))
                    return false;
                return std::count(picture.rgb.begin(), picture.rgb.end(), 255) >
                       long(picture.rgb.size()) / 2;
            },
            20))
            << "no white paper in " << shot;
        EXPECT_EQ(picture.width, 640);
        EXPECT_EQ(picture.height, 480);
    };
    const std::vector<std::pair<std::string, Ending>> runs = {
        {deep, Ending::CloseButton}, {defaults, Ending::EscapeKey}, {marked, Ending::Terminate}};
    std::vector<std::string> logs;
    for (const auto& [dir, how] : runs)
    {
        SCOPED_TRACE(dir);
        std::vector<std::string> lines =
            RunProgram(dir, how, how == Ending::Terminate ? std::function<void()>(grab) : nullptr);
        ASSERT_EQ(lines.size(), common.size());
        std::vector<std::string> expected = common;
        expected[3] = Quote(
            dir == defaults ? std::string(kDefaultTrying)
                            : std::regex_replace(kDefaultTrying, std::regex("800x600"), "640x480"));
        std::string log;
        for (size_t i = 0; i < lines.size(); ++i)
        {
            EXPECT_TRUE(std::regex_match(lines[i], std::regex(expected[i])))
                << "line " << i + 1 << ": \"" << lines[i] << "\"\n  expected: " << expected[i];
            log +=
                std::regex_replace(lines[i], std::regex(R"(-?\bnan\b|\binf\b|\d+(\.\d+)?)"), "#") +
                "\n";
        }
        logs.push_back(log);
    }
    EXPECT_EQ(logs[0], logs[1]);
    EXPECT_EQ(logs[0], logs[2]);
}

TEST_F(DemoProgram, SigtermClosesAnOpenBoxWithItsDefaultAnswer)
{
    // A fullscreen mode the virtual screen does not offer: the question box
    // opens on the display. SIGTERM takes its default (windowed) and the run
    // ends in order, the console's text saved.
    std::string dir = RunDir();
    WriteText(dir + "/ini/tessimo2.ini",
              "[3D engine]\nfullscreen=TrUe\nwindow_width=640\nwindow_height=480\n");
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
    std::vector<std::string> lines = Lines(ReadText(dir + "/tessimo2.log"));
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[3], "- trying to create fullscreen application <Tessimo 2 Engine> in "
                        "640x480@16 with a 0 bit(s) stencil buffer and a 16 bits z-buffer");
    EXPECT_TRUE(LogHas(dir, "- that's running!"));
    ExpectClosingLines(lines);
    EXPECT_FALSE(ReadText(dir + "/console.log").empty());
}

TEST_F(DemoProgram, LostDisplayOrUnnamableFolderEndsTheRunInOrder)
{
    testsupport::PrivateXServer server;
    ASSERT_FALSE(server.display.empty()) << "Xvfb did not start";
    std::string dir = RunDir();
    pid_t pid = StartProgram(dir, "dummy", {{"DISPLAY", server.display}});
    EXPECT_TRUE(WaitFor([&] { return LogHas(dir, "+ init fsound"); }, 30));
    server.Kill();
    EXPECT_EQ(WaitExit(pid, 10), kDisplayLostStatus);
    ExpectClosingLines(Lines(ReadText(dir + "/tessimo2.log")));

    // Deeper than any path the system opens: the run says so and stops
    // instead of reading settings from another folder.
    std::string top = RunDir("");
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

} // namespace
