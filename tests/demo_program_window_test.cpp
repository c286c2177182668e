// The real program under xvfb-run: its endings, a box, a lost display, folders.
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <regex>
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

using namespace testsupport;

const char* kTitle = "Tessimo 2 Engine";

bool LogHas(const std::string& dir, const char* text)
{
    return ReadText(dir + "/tessimo2.log").find(text) != std::string::npos;
}

// One run in `dir` ended, once its sound is up and `meanwhile` has run, by the
// close button ('c'), the Escape key ('e') or SIGTERM ('t'); the log.
std::string RunProgram(const std::string& dir, char how, const std::function<void()>& meanwhile)
{
    pid_t pid = StartProgram(dir, "dummy");
    EXPECT_TRUE(WaitFor([&] { return LogHas(dir, "+ init fsound"); }, 30)) << "no sound";
    if (meanwhile)
        meanwhile();
    Display* dpy = XOpenDisplay(nullptr);
    Window win = 0;
    auto found = [&]
    { return (win = testsupport::FindWindowByTitle(dpy, DefaultRootWindow(dpy), kTitle)) != 0; };
    EXPECT_TRUE(dpy && WaitFor(found, 10)) << "the program's window never appeared";
    if (how == 't' || !win)
        kill(pid, SIGTERM);
    else if (how == 'c')
    {
        // What a window manager sends when the close button is clicked.
        XEvent e{};
        e.xclient = {
            ClientMessage, 0, False, dpy, win, XInternAtom(dpy, "WM_PROTOCOLS", False), 32, {}};
        e.xclient.data.l[0] = static_cast<long>(XInternAtom(dpy, "WM_DELETE_WINDOW", False));
        XSendEvent(dpy, win, False, NoEventMask, &e);
    }
    else
    {
        // Held down until the program has seen it and ends.
        XSetInputFocus(dpy, win, RevertToParent, CurrentTime);
        XTestFakeKeyEvent(dpy, XKeysymToKeycode(dpy, XK_Escape), True, 0);
        XSync(dpy, False);
        EXPECT_TRUE(WaitFor([&] { return LogHas(dir, "- tessimo has drawn "); }, 10));
        XTestFakeKeyEvent(dpy, XKeysymToKeycode(dpy, XK_Escape), False, 0);
    }
    if (dpy)
        XCloseDisplay(dpy);
    EXPECT_EQ(WaitExit(pid, 30), 0);
    return ReadText(dir + "/tessimo2.log");
}

const std::string kClosing = // the lines that end a log
    R"(- tessimo has drawn \d+ frames in \d+ seconds, average FPS : (\d+\.\d+|inf|nan|-nan)
- shutting down at \d+h \d+m \d+s
$)";

using DemoProgram = testsupport::RunDirTest;

// Three runs ended three ways give every line of a normal run, the same but
// for numbers: settings in a folder deeper than 300 characters, none (the
// defaults), and behind a byte order mark (its window shows white paper).
TEST_F(DemoProgram, ThreeWaysToEndGiveTheSameLog)
{
    const std::string settings = "[3D engine]\nwindow_width=640\nwindow_height=480\n";
    std::string top = RunDir(), deep = top;
    while (deep.size() < 300)
        ASSERT_EQ(mkdir((deep += "/" + std::string(60, 'd')).c_str(), 0755), 0);
    for (const char* f : {"/ini", "/data.rar"})
        std::filesystem::rename(top + f, deep + f);
    WriteText(deep + "/ini/tessimo2.ini", settings);
    std::string defaults = RunDir(), marked = RunDir();
    unlink((defaults + "/ini/tessimo2.ini").c_str());
    WriteText(marked + "/ini/tessimo2.ini", "\xEF\xBB\xBF" + settings);
    const std::string expected = R"(TESSIMO 2 engine log file
log created the \d+/\d+/\d+ at \d+h \d+m \d+s

- trying to create windowed application <Tessimo 2 Engine> in SIZE@16 with a 0 bit\(s\) stencil buffer and a 16 bits z-buffer
- showing the window
- setting up perspective and GL variables
- that's running!
- init openGL engine :
    \+ vendor   : .+
    \+ renderer : .+
    \+ version  : .+
    \+ listing all extensions : .+
- initializing fmod
    \+ init output (Windows Multimedia Waveout |Direct Sound |A3D )?ok!
    \+ init driver .* ok!
    \+ init mixer ok!
    \+ init fsound with \d+ channels at \d+ hz  ok!
)" + kClosing;
    // The screenshot shows what a person sees: white paper.
    std::string shot = marked + "/screenshot.png";
    testsupport::Picture picture;
    auto grab = [&]
    {
        std::string cmd = "bash '" + Env("TESSIMO_SOURCE_DIR") + "/scripts/screenshot' '" + kTitle +
                          "' '" + shot + "' > /dev/null 2>&1";
        EXPECT_TRUE(WaitFor(
            [&]
            {
                return system(cmd.c_str()) == 0 && testsupport::ReadPng(shot, &picture) &&
                       std::count(picture.rgb.begin(), picture.rgb.end(), 255) >
                           long(picture.rgb.size()) / 2;
            },
            20))
            << "no white paper in " << shot;
        EXPECT_TRUE(picture.width == 640 && picture.height == 480);
    };
    std::vector<std::string> logs;
    for (const auto& [dir, how] : {std::pair{deep, 'c'}, {defaults, 'e'}, {marked, 't'}})
    {
        SCOPED_TRACE(dir);
        std::string log = RunProgram(dir, how, how == 't' ? std::function<void()>(grab) : nullptr);
        std::string size = dir == defaults ? "800x600" : "640x480";
        EXPECT_TRUE(std::regex_match(
            log, std::regex(std::regex_replace(expected, std::regex("SIZE"), size))))
            << log;
        logs.push_back(
            std::regex_replace(log, std::regex(R"(-?\bnan\b|\binf\b|\d+(\.\d+)?)"), "#"));
    }
    EXPECT_TRUE(logs[0] == logs[1] && logs[0] == logs[2]) << logs[0] << "\n" << logs[1];
}

// A box open at SIGTERM (a fullscreen mode Xvfb lacks) takes its default and
// the run ends in order, the console saved; so does a lost display. A folder
// deeper than any path the system opens is told, no settings read elsewhere.
TEST_F(DemoProgram, SigtermOpenBoxLostDisplayAndUnnamableFolderEndInOrder)
{
    std::string dir = RunDir();
    WriteText(dir + "/ini/tessimo2.ini",
              "[3D engine]\nfullscreen=TrUe\nwindow_width=640\nwindow_height=480\n");
    pid_t pid = StartProgram(dir, "dummy", {{"TESSIMO_HEADLESS", ""}});
    Display* dpy = XOpenDisplay(nullptr);
    ASSERT_NE(dpy, nullptr);
    auto box = [&]
    { return testsupport::FindWindowByTitle(dpy, DefaultRootWindow(dpy), "Ruvo GL"); };
    EXPECT_TRUE(WaitFor([&] { return box() != 0; }, 30)) << "the box never appeared";
    XCloseDisplay(dpy);
    kill(pid, SIGTERM);
    EXPECT_EQ(WaitExit(pid, 10), 0);
    std::string log = ReadText(dir + "/tessimo2.log");
    EXPECT_NE(log.find("\n\n- trying to create fullscreen application <Tessimo 2 Engine> in "
                       "640x480@16 with a 0 bit(s) stencil buffer and a 16 bits z-buffer\n"),
              std::string::npos);
    EXPECT_NE(log.find("\n- that's running!\n"), std::string::npos);
    EXPECT_TRUE(std::regex_search(log, std::regex(kClosing))) << log;
    EXPECT_FALSE(ReadText(dir + "/console.log").empty());

    testsupport::PrivateXServer server;
    ASSERT_FALSE(server.display.empty()) << "Xvfb did not start";
    dir = RunDir();
    pid = StartProgram(dir, "dummy", {{"DISPLAY", server.display}});
    EXPECT_TRUE(WaitFor([&] { return LogHas(dir, "+ init fsound"); }, 30));
    server.Kill();
    EXPECT_EQ(WaitExit(pid, 10), kDisplayLostStatus);
    EXPECT_TRUE(std::regex_search(ReadText(dir + "/tessimo2.log"), std::regex(kClosing)));

    std::string top = RunDir(false);
    std::filesystem::path back = std::filesystem::current_path();
    ASSERT_EQ(chdir(top.c_str()), 0);
    for (size_t depth = top.size(); depth <= kMaxPath; depth += 201)
        ASSERT_TRUE(mkdir(std::string(200, 'd').c_str(), 0755) == 0 &&
                    chdir(std::string(200, 'd').c_str()) == 0);
    int status = WaitExit(StartProgram("", "dummy"), 20);
    log = ReadText("tessimo2.log");
    std::filesystem::current_path(back);
    EXPECT_EQ(status, 1);
    EXPECT_NE(log.find("## cannot read the working directory"), std::string::npos) << log;
    EXPECT_EQ(log.find("- trying"), std::string::npos) << log;
    EXPECT_EQ(system(("rm -rf '" + top + "'").c_str()), 0);
}

} // namespace
