// The console of the real program, used as a person uses it: keys pressed
// and held for a few frames through the X test extension (xdotool), lines
// typed through the French key map with Tab, F3 and Backspace; the box read
// back from the screen; then an orderly end, after which console.log must
// hold every typed line followed by exactly its result lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/window_screen.h"

namespace
{

using testsupport::Lines;

const char* const kTitle = "Tessimo 2 Engine";

// The xdotool keys for one character on the console's French map: the digit
// row types symbols alone, digits with Shift, a third level with AltGr,
// which the console takes as Control. "<Key>" names a key of its own.
std::string KeysFor(char c)
{
    static const std::string kRow = "\xE0&\xE9\"'(-\xE8_\xE7";
    static const std::string kAltGr = "@`~#{[|\x20\\^";
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return std::string(c >= 'a' ? "" : "Shift_L ") + static_cast<char>(c | (c >= 'A' ? 32 : 0));
    if (c == ' ' || c == '.')
        return c == ' ' ? "space" : "KP_Delete";
    if (size_t k = kRow.find(c); k != std::string::npos)
        return std::string(1, static_cast<char>('0' + k));
    if (size_t k = kAltGr.find(c); k != std::string::npos)
        return "Control_L " + std::string(1, static_cast<char>('0' + k));
    ADD_FAILURE() << "no key types '" << c << "'";
    return "";
}

// Types `text` and then Return into the program's window. Each press is
// held for a few frames, even on a busy machine: the console reads the key
// array once a frame, and a press that comes and goes between two is lost.
void Type(const std::string& text, bool thenReturn = true)
{
    std::string cmd;
    for (size_t i = 0; i <= text.size(); ++i)
    {
        size_t close = text.find('>', i);
        bool named = i < text.size() && text[i] == '<' && close != std::string::npos;
        std::string chord = named             ? text.substr(i + 1, close - i - 1)
                            : i < text.size() ? KeysFor(text[i])
                            : thenReturn      ? "Return"
                                              : "";
        i = named ? close : i;
        std::stringstream keys(chord);
        std::string up;
        for (std::string key; keys >> key; up = " keyup " + key + up)
            cmd += " keydown " + key;
        cmd += chord.empty() ? "" : " sleep 0.15" + up + " sleep 0.03";
    }
    EXPECT_EQ(testsupport::SendKeys(kTitle, cmd), 0) << text;
}

// Rows from the top of the window's right edge that aren't white paper: the
// console's box there runs from yellow to red, and no text reaches it.
int BoxHeight()
{
    testsupport::Picture p = testsupport::GrabWindow(kTitle);
    int rows = 0;
    while (rows < p.height &&
           p.At(p.width - 3, rows)[0] + p.At(p.width - 3, rows)[1] + p.At(p.width - 3, rows)[2] !=
               3 * 255)
        ++rows;
    return p.width ? rows : -1;
}

// Waits for the box to take its height; the height it has then.
int BoxHeightOf(int rows)
{
    testsupport::WaitFor([&] { return BoxHeight() == rows; }, 10);
    return BoxHeight();
}

// The session: the lines typed, each followed by what console.log holds
// after it. A line typed otherwise than it reads says how after a "|"
// (<Tab>, <BackSpace>, <F3> are those keys). "~" begins a pattern of a
// result; "{what}" a listing: names, one a line, then "> N what listed"
// with N their count; "* a b" the lines "> a" and "> b". The font's glyphs are the one texture
// every run loads. A texture taken off the list lives on for its shader, and its name then loads a
// second one, which can be deleted and loaded again; whatever the shaders asked for comes back
// after the mode switch. The font's shader taken off the list keeps drawing after its texture is
// deleted, and the model's material deleted and added again is taken up by the meshes.
const char* const kTranscript = R"(c_aperture 5
> c_aperture is equal to 5
c_aperture 0
> c_aperture is equal to 0
c_aperture
> c_aperture is equal to 0
gl_extension GL_ARB_multitexture
> GL_ARB_multitexture extension found
gl_extension GL_ARB_multi
> GL_ARB_multi extension not found
gl_extension
> nothing extension not found
r_fov 10
> fov set to 30.000000
r_fov 90
> fov set to 90.000000
r_fov 200
> fov set to 150.000000
r_polygonemode line
> polygone mode : line
r_polygonemode
> polygone mode : nothing
QUIT
> command or variable unknown.
gl_checkerror
gl_renderer
~> .+
r_flatshading|R_F<Tab>
> flat shading lighting
gl_vendor|gl_vendorz<BackSpace>
~> .+
gl_vendor|<F3>
~> .+

r_smoothshading
> smooth shading lighting
r_drawnormals TRUE
> r_drawnormals is equal to false
r_drawnormals true
> r_drawnormals is equal to true
r_drawnormals false
> r_drawnormals is equal to false
r_freeVAmemory 5
~> r_freeVAmemory is equal to (?!5$)\d+
r_listtextures
{textures}
r_addtexture tga\missing.tga
> can't add texture <tga\missing.tga> to the list
r_deltexture tga\missing.tga
> texture <tga\missing.tga> not found
r_removetexture tga\missing.tga
> texture <tga\missing.tga> not found
r_removetexture tga\Font.tga
> texture <tga\Font.tga> has been removed from list
r_listtextures
{textures}
r_addtexture tga\Font.tga
> texture <tga\Font.tga> added to the list
r_deltexture tga\Font.tga
> texture <tga\Font.tga> deleted
r_addtexture tga\Font.tga
> texture <tga\Font.tga> added to the list
r_reloadtextures
~> \d+ textures reloaded
r_addshader Paper
> shader <Paper> has been added to the list
r_listshaders
{shaders}
r_removeshader Paper
> shader <Paper> has been removed from list
r_delshader Paper
> shader <Paper> not found
r_addshader Paper
> shader <Paper> has been added to the list
r_delshader Paper
> shader <Paper> deleted
r_removeshader Paper
> shader <Paper> not found
r_removeshader Font
> shader <Font> has been removed from list
r_deltexture tga\Font.tga
> texture <tga\Font.tga> deleted
r_delshader Hatching
> shader <Hatching> deleted
r_addshader Hatching
> shader <Hatching> has been added to the list
r_reloadshaders
~> \d+ shaders reloaded
help
* quit r_polygonemode r_flatshading r_smoothshading gl_version gl_renderer gl_vendor gl_extension gl_checkerror
* r_fov r_addtexture r_deltexture r_removetexture r_fullscreenmode r_windowedmode r_addshader r_delshader r_removeshader
* r_listshaders r_reloadshaders r_listtextures r_reloadtextures c_aperture r_drawnormals r_freeVAmemory
savelog
> console log saved into file <console.log>
r_windowedmode
~> \d+ textures reloaded
> switching to windowed screen mode
gl_renderer
~> .+
~> \d+ shaders have been deleted
~> \d+ textures have been deleted
~> \d+ vertex program have been deleted
)";

// Matches the log against the transcript; the names of each listing go to
// `listings`.
void ExpectTranscript(const std::vector<std::string>& log,
                      std::vector<std::vector<std::string>>& listings)
{
    std::vector<std::string> wanted;
    for (const std::string& line : Lines(kTranscript))
    {
        std::stringstream names(line[0] == '*' ? line.substr(1) : "");
        for (std::string name; names >> name;)
            wanted.push_back("> " + name);
        if (line[0] != '*')
            wanted.push_back(line);
    }
    size_t i = 0;
    for (std::string want : wanted)
    {
        if (want[0] != '~')
            want = want.substr(0, want.find('|'));
        ASSERT_LT(i, log.size()) << "the log ends before: " << want;
        if (want[0] == '{')
        {
            std::regex summary("> (\\d+) " + want.substr(1, want.size() - 2) + " listed");
            std::smatch m;
            size_t start = i;
            while (i < log.size() && !std::regex_match(log[i], m, summary))
                ++i;
            ASSERT_LT(i, log.size()) << "no summary: " << want;
            EXPECT_EQ(std::stoul(m[1]), i - start) << log[i];
            listings.emplace_back(log.begin() + static_cast<long>(start),
                                  log.begin() + static_cast<long>(i));
        }
        else if (want[0] == '~')
            EXPECT_TRUE(std::regex_match(log[i], std::regex(want.substr(1))))
                << "line " << i << ": " << log[i] << "\n  expected: " << want;
        else
            ASSERT_EQ(log[i], want) << "line " << i;
        ++i;
    }
    EXPECT_EQ(i, log.size()) << "more lines than expected";
}

TEST(ConsoleWindow, TypedLinesTheirResultsAndTheBox)
{
    if (testsupport::Env("DISPLAY").empty())
        GTEST_SKIP() << "no X display";
    ASSERT_EQ(system("command -v xdotool >/dev/null"), 0) << "xdotool is missing";
    std::string dir = testsupport::MakeRunDir(true);
    ASSERT_FALSE(dir.empty());
    testsupport::ChildGuard program{testsupport::StartProgram(dir, "dummy")};
    ASSERT_TRUE(testsupport::WaitFor(
        [&]
        {
            return testsupport::ReadText(dir + "/tessimo2.log").find("- init openGL engine") !=
                   std::string::npos;
        },
        30));

    Type("<grave>", false); // the key below Escape opens the console
    EXPECT_EQ(BoxHeightOf(14 * 12), 14 * 12);
    for (const std::string& line : Lines(kTranscript))
    {
        if (line.rfind("> ", 0) == 0 || line[0] == '~' || line[0] == '{' || line[0] == '*')
            continue;
        size_t bar = line.find('|');
        Type(bar == std::string::npos ? line : line.substr(bar + 1));
        if (line == "c_aperture 5" || line == "c_aperture 0")
        {
            int rows = line == "c_aperture 5" ? 7 * 12 : 2 * 12;
            EXPECT_EQ(BoxHeightOf(rows), rows);
        }
        if (line == "r_windowedmode") // keys go to the new window once it draws
        {
            testsupport::Picture before = testsupport::GrabWindow(kTitle);
            EXPECT_TRUE(testsupport::WaitFor(
                [&] { return testsupport::GrabWindow(kTitle).rgb != before.rgb; }, 30));
        }
    }
    Type("<Escape>", false);
    ASSERT_EQ(testsupport::WaitExit(program.pid, 30), 0);
    program.pid = -1;

    std::vector<std::string> log = Lines(testsupport::ReadText(dir + "/console.log"));
    log.erase(log.begin(), std::find(log.begin(), log.end(), "c_aperture 5"));
    std::vector<std::vector<std::string>> listings;
    ExpectTranscript(log, listings);
    ASSERT_EQ(listings.size(), 3u);
    EXPECT_EQ(listings[1].size() + 1, listings[0].size()); // one off the list
    EXPECT_NE(std::find(listings[2].begin(), listings[2].end(), "Paper"), listings[2].end());
    // The new context answers as the first did.
    EXPECT_EQ(log[26], log[log.size() - 4]);
    std::error_code ec;
    if (!::testing::Test::HasFailure())
        std::filesystem::remove_all(dir, ec);
}

} // namespace
