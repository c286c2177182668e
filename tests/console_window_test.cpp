// The console of the real program, used as a person uses it: keys pressed
// and held for a few frames through the X test extension (xdotool), lines
// typed through the French key map, Tab, F3, Backspace, Return; the box
// read back from the screen; then an orderly end, after which console.log
// must hold every typed line followed by exactly its result lines.
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "app_test_util.h"
#include "support/program_process.h"

namespace
{

using testsupport::Env;

const char* const kTitle = "Tessimo 2 Engine";

// The keys that type `c` on the console's French map: the digit row types
// symbols alone, digits with Shift and a third level with AltGr (Control).
std::vector<std::string> KeysFor(char c)
{
    static const std::string kRow = "\xE0&\xE9\"'(-\xE8_\xE7";
    static const std::string kAltGr = "@`~#{[|\x20\\^";
    if (c >= 'a' && c <= 'z')
        return {std::string(1, c)};
    if (c >= 'A' && c <= 'Z')
        return {"Shift_L", std::string(1, static_cast<char>(c + 32))};
    if (c >= '0' && c <= '9')
        return {"Shift_L", std::string(1, c)};
    if (c == ' ')
        return {"space"};
    if (c == '.')
        return {"KP_Delete"};
    if (c == '/')
        return {"KP_Divide"};
    if (c == ']')
        return {"Control_L", "minus"};
    if (c == '}')
        return {"Control_L", "equal"};
    size_t k = kRow.find(c);
    if (k != std::string::npos)
        return {std::string(1, static_cast<char>('0' + k))};
    k = kAltGr.find(c);
    if (k != std::string::npos)
        return {"Control_L", std::string(1, static_cast<char>('0' + k))};
    ADD_FAILURE() << "no key types '" << c << "'";
    return {};
}

// Presses keys into the program's window (found anew each time, since a
// display mode switch makes a new one). A press is held long enough for a
// few frames to see it, since the console reads the key array once a frame.
class Typist
{
public:
    void Keys(const std::vector<std::vector<std::string>>& presses)
    {
        // Focus first, in a command of its own: keys sent after a search
        // would go to the window found, and fail once a mode switch has
        // destroyed it. These go to whatever has the focus, as a person's do.
        std::string focus = "xdotool search --sync --name '^" + std::string(kTitle) +
                            "$' windowfocus --sync >/dev/null 2>&1";
        EXPECT_EQ(system(focus.c_str()), 0) << focus;
        std::string cmd = "xdotool";
        for (const auto& chord : presses)
        {
            for (const std::string& key : chord)
                cmd += " keydown " + key;
            cmd += " sleep 0.08";
            for (auto key = chord.rbegin(); key != chord.rend(); ++key)
                cmd += " keyup " + *key;
            cmd += " sleep 0.04";
        }
        EXPECT_EQ(system((cmd + " >/dev/null 2>&1").c_str()), 0) << cmd;
    }
    void Key(const std::string& key) { Keys({{key}}); }
    // Types `text`, then Return.
    void Line(const std::string& text)
    {
        std::vector<std::vector<std::string>> presses;
        for (char c : text)
            presses.push_back(KeysFor(c));
        presses.push_back({"Return"});
        Keys(presses);
    }
};

// Rows from the top of the window's right edge that aren't white paper: the
// console's box there runs from yellow to red, and no text reaches it.
int BoxHeight()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    Display* dpy = XOpenDisplay(nullptr);
    if (!dpy)
        return -1;
    ::Window root = DefaultRootWindow(dpy);
    ::Window win = testsupport::FindWindowByTitle(dpy, root, kTitle);
    XWindowAttributes attributes{};
    int x = 0, y = 0;
    ::Window child;
    int rows = -1;
    if (win && XGetWindowAttributes(dpy, win, &attributes) &&
        XTranslateCoordinates(dpy, win, root, 0, 0, &x, &y, &child))
    {
        XImage* image = XGetImage(dpy, root, x + attributes.width - 3, y, 1, attributes.height,
                                  AllPlanes, ZPixmap);
        if (image)
        {
            unsigned long white = image->red_mask | image->green_mask | image->blue_mask;
            rows = 0;
            while (rows < attributes.height && (XGetPixel(image, 0, rows) & white) != white)
                ++rows;
            XDestroyImage(image);
        }
    }
    XCloseDisplay(dpy);
    return rows;
}

// The lines of console.log from the first typed one to the end.
std::vector<std::string> Session(const std::string& log, const std::string& first)
{
    std::vector<std::string> lines;
    std::stringstream s(log);
    bool in = false;
    for (std::string line; std::getline(s, line);)
    {
        in = in || line == first;
        if (in)
            lines.push_back(line);
    }
    return lines;
}

std::string Quote(const std::string& s)
{
    static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
    return std::regex_replace(s, special, R"(\$&)");
}

// What one stretch of the log must show: a line given literally, a line
// pattern, or a listing (names, one a line, then "> N <what> listed" with N
// their count).
struct Expect
{
    std::string pattern;
    std::string listing;
};

Expect Is(const std::string& line)
{
    return {Quote(line), ""};
}
Expect Like(const std::string& pattern)
{
    return {pattern, ""};
}
Expect Listing(const std::string& what)
{
    return {"", what};
}

// Matches `expected` against `log` from line `i` on, which it advances;
// the names of listings go to `names`.
void ExpectLines(const std::vector<std::string>& log, size_t& i,
                 const std::vector<Expect>& expected,
                 std::vector<std::vector<std::string>>* names = nullptr)
{
    for (const Expect& e : expected)
    {
        ASSERT_LT(i, log.size()) << "the log ends before " << e.pattern << e.listing;
        if (e.listing.empty())
        {
            ASSERT_TRUE(std::regex_match(log[i], std::regex(e.pattern)))
                << "line " << i << ": \"" << log[i] << "\"\n  expected: " << e.pattern;
            ++i;
            continue;
        }
        std::regex summary("> (\\d+) " + e.listing + " listed");
        std::smatch m;
        size_t start = i;
        while (i < log.size() && !std::regex_match(log[i], m, summary))
            ++i;
        ASSERT_LT(i, log.size()) << "no summary of " << e.listing;
        EXPECT_EQ(std::stoul(m[1]), i - start) << log[i];
        if (names)
            names->emplace_back(log.begin() + static_cast<long>(start),
                                log.begin() + static_cast<long>(i));
        ++i;
    }
}

class ConsoleWindow : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (Env("DISPLAY").empty())
            GTEST_SKIP() << "no X display";
        ASSERT_EQ(system("command -v xdotool >/dev/null"), 0) << "xdotool is missing";
        dir = testsupport::MakeRunDir(true);
        ASSERT_FALSE(dir.empty());
        pid = testsupport::StartProgram(dir);
        ASSERT_GT(pid, 0);
        ASSERT_TRUE(testsupport::WaitFor(
            [&]
            {
                return apptest::ReadText(dir + "/tessimo2.log").find("- init openGL engine") !=
                       std::string::npos;
            },
            30));
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    void TearDown() override
    {
        if (pid > 0 && testsupport::WaitExit(pid, 0) == -1)
            ADD_FAILURE() << "the program was still running";
        std::error_code ec;
        if (!HasFailure() && !dir.empty())
            std::filesystem::remove_all(dir, ec);
    }
    void TypeLines(const std::vector<std::string>& lines)
    {
        for (const std::string& line : lines)
            typist.Line(line);
    }
    std::vector<std::string> ConsoleLog()
    {
        return Session(apptest::ReadText(dir + "/console.log"), "c_aperture 5");
    }

    std::string dir;
    pid_t pid = -1;
    Typist typist;
};

const char* const kCommandNames[] = {
    "quit",           "r_polygonemode",   "r_flatshading",   "r_smoothshading",  "gl_version",
    "gl_renderer",    "gl_vendor",        "gl_extension",    "gl_checkerror",    "r_fov",
    "r_addtexture",   "r_deltexture",     "r_removetexture", "r_fullscreenmode", "r_windowedmode",
    "r_addshader",    "r_delshader",      "r_removeshader",  "r_listshaders",    "r_reloadshaders",
    "r_listtextures", "r_reloadtextures",
};

TEST_F(ConsoleWindow, TypedLinesResultsAndTheBox)
{
    typist.Key("grave"); // the key below Escape opens the console
    EXPECT_EQ(BoxHeight(), 14 * 12);
    typist.Line("c_aperture 5");
    EXPECT_EQ(BoxHeight(), 7 * 12);
    typist.Line("c_aperture 0");
    EXPECT_EQ(BoxHeight(), 2 * 12);
    TypeLines({"c_aperture", "gl_extension GL_ARB_multitexture", "gl_extension GL_ARB_multi",
               "gl_extension", "r_fov 10", "r_fov 90", "r_fov 200", "r_polygonemode line",
               "r_polygonemode", "QUIT", "gl_checkerror", "gl_renderer"});
    // "R_F" completed, a word put right with Backspace, F3, an empty line.
    typist.Keys({{"Shift_L", "r"}, {"8"}, {"Shift_L", "f"}, {"Tab"}, {"Return"}});
    typist.Keys({{"g"},
                 {"l"},
                 {"8"},
                 {"v"},
                 {"e"},
                 {"n"},
                 {"d"},
                 {"o"},
                 {"r"},
                 {"z"},
                 {"BackSpace"},
                 {"Return"},
                 {"F3"},
                 {"Return"},
                 {"Return"}});
    TypeLines({"r_smoothshading", "r_drawnormals TRUE", "r_drawnormals true", "r_drawnormals false",
               "r_freeVAmemory 5", "r_listtextures", "savelog"});

    std::vector<Expect> start = {
        Is("c_aperture 5"),
        Is("> c_aperture is equal to 5"),
        Is("c_aperture 0"),
        Is("> c_aperture is equal to 0"),
        Is("c_aperture"),
        Is("> c_aperture is equal to 0"),
        Is("gl_extension GL_ARB_multitexture"),
        Is("> GL_ARB_multitexture extension found"),
        Is("gl_extension GL_ARB_multi"),
        Is("> GL_ARB_multi extension not found"),
        Is("gl_extension"),
        Is("> nothing extension not found"),
        Is("r_fov 10"),
        Is("> fov set to 30.000000"),
        Is("r_fov 90"),
        Is("> fov set to 90.000000"),
        Is("r_fov 200"),
        Is("> fov set to 150.000000"),
        Is("r_polygonemode line"),
        Is("> polygone mode : line"),
        Is("r_polygonemode"),
        Is("> polygone mode : nothing"),
        Is("QUIT"),
        Is("> command or variable unknown."),
        Is("gl_checkerror"), // no error pending: no line
        Is("gl_renderer"),
        Like("> .+"),
        Is("r_flatshading"),
        Is("> flat shading lighting"),
        Is("gl_vendor"),
        Like("> .+"),
        Is("gl_vendor"),
        Like("> .+"),
        Is(""),
        Is("r_smoothshading"),
        Is("> smooth shading lighting"),
        Is("r_drawnormals TRUE"),
        Is("> r_drawnormals is equal to false"),
        Is("r_drawnormals true"),
        Is("> r_drawnormals is equal to true"),
        Is("r_drawnormals false"),
        Is("> r_drawnormals is equal to false"),
        Is("r_freeVAmemory 5"),
        Like("> r_freeVAmemory is equal to (?!5$)\\d+"),
        Is("r_listtextures"),
        Listing("textures"),
        Is("savelog"),
    };
    // The log saved mid-run gives the names of this run's textures, so that
    // a present one can be typed.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::vector<std::string> saved = ConsoleLog();
    std::vector<std::vector<std::string>> listed;
    size_t i = 0;
    ExpectLines(saved, i, start, &listed);
    ASSERT_EQ(listed.size(), 1u);
    ASSERT_FALSE(listed[0].empty()) << "no texture to work on";
    const std::string present = listed[0][0];
    const std::string missing = "tga\\missing.tga";

    // Taken off the list, a texture lives on for its shader; its name then
    // loads a second one, which can be deleted and loaded once more.
    TypeLines({"r_addtexture " + missing,
               "r_deltexture " + missing,
               "r_removetexture " + missing,
               "r_removetexture " + present,
               "r_listtextures",
               "r_addtexture " + present,
               "r_deltexture " + present,
               "r_addtexture " + present,
               "r_reloadtextures",
               "r_addshader Paper",
               "r_listshaders",
               "r_removeshader Paper",
               "r_delshader Paper",
               "r_addshader Paper",
               "r_delshader Paper",
               "r_removeshader Paper",
               "r_reloadshaders",
               "help",
               "savelog",
               "r_windowedmode"});
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    typist.Line("gl_renderer");
    typist.Key("Escape");
    ASSERT_EQ(testsupport::WaitExit(pid, 30), 0);
    pid = -1;

    const size_t textureCount = listed[0].size();
    std::vector<Expect> rest = {
        Is("> console log saved into file <console.log>"),
        Is("r_addtexture " + missing),
        Is("> can't add texture <" + missing + "> to the list"),
        Is("r_deltexture " + missing),
        Is("> texture <" + missing + "> not found"),
        Is("r_removetexture " + missing),
        Is("> texture <" + missing + "> not found"),
        Is("r_removetexture " + present),
        Is("> texture <" + present + "> has been removed from list"),
        Is("r_listtextures"),
        Listing("textures"),
        Is("r_addtexture " + present),
        Is("> texture <" + present + "> added to the list"),
        Is("r_deltexture " + present),
        Is("> texture <" + present + "> deleted"),
        Is("r_addtexture " + present),
        Is("> texture <" + present + "> added to the list"),
        Is("r_reloadtextures"),
        Is("> " + std::to_string(textureCount) + " textures reloaded"),
        Is("r_addshader Paper"),
        Is("> shader <Paper> has been added to the list"),
        Is("r_listshaders"),
        Listing("shaders"),
        Is("r_removeshader Paper"),
        Is("> shader <Paper> has been removed from list"),
        Is("r_delshader Paper"),
        Is("> shader <Paper> not found"),
        Is("r_addshader Paper"),
        Is("> shader <Paper> has been added to the list"),
        Is("r_delshader Paper"),
        Is("> shader <Paper> deleted"),
        Is("r_removeshader Paper"),
        Is("> shader <Paper> not found"),
        Is("r_reloadshaders"),
        Like("> \\d+ shaders reloaded"),
        Is("help"),
    };
    for (const char* name : kCommandNames)
        rest.push_back(Is(std::string("> ") + name));
    for (const char* line : {"> c_aperture", "> r_drawnormals", "> r_freeVAmemory", "savelog",
                             "> console log saved into file <console.log>", "r_windowedmode"})
        rest.push_back(Is(line));
    // Whatever textures the reloaded shaders asked for come back too.
    rest.push_back(Like("> \\d+ textures reloaded"));
    rest.push_back(Is("> switching to windowed screen mode"));
    rest.push_back(Is("gl_renderer"));
    rest.push_back(Like("> .+"));
    rest.push_back(Like("> \\d+ shaders have been deleted"));
    rest.push_back(Like("> \\d+ textures have been deleted"));
    rest.push_back(Like("> \\d+ vertex program have been deleted"));

    std::vector<std::string> log = ConsoleLog();
    i = 0;
    listed.clear();
    ExpectLines(log, i, start, &listed);
    ExpectLines(log, i, rest, &listed);
    EXPECT_EQ(i, log.size()) << "more lines than expected";
    ASSERT_EQ(listed.size(), 3u);
    // One texture fewer while it was off the list; the shader list held Paper.
    EXPECT_EQ(listed[1].size(), textureCount - 1);
    EXPECT_NE(std::find(listed[2].begin(), listed[2].end(), "Paper"), listed[2].end());
    // The renderer answers the same before and after the window was made anew.
    EXPECT_EQ(log[26], log[i - 4]);
}

} // namespace
