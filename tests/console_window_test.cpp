// The real program's console as a person uses it: lines typed with xdotool,
// the box read back from the screen; after an orderly end console.log holds
// every typed line followed by exactly its result lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>
#include <utility>

#include "support/files.h"
#include "support/window_screen.h"

namespace
{

using testsupport::Lines;

const char* const kTitle = "Tessimo 2 Engine";

// The xdotool keys for a character on the console's French map: the digit
// row types symbols, digits with Shift, a third level with AltGr (Control).
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

// Types `text` and then Return. Each press is held for a few frames, even on
// a busy machine: the console reads the key array once a frame.
void Type(const std::string& text, bool thenReturn = true)
{
    std::string cmd;
    for (size_t i = 0; i <= text.size(); ++i)
    {
        size_t close = text.find('>', i);
        bool named = i < text.size() && text[i] == '<' && close != std::string::npos;
        std::stringstream keys(named             ? text.substr(i + 1, close - i - 1)
                               : i < text.size() ? KeysFor(text[i])
                               : thenReturn      ? "Return"
                                                 : "");
        i = named ? close : i;
        std::string up;
        for (std::string key; keys >> key; up = " keyup " + key + up)
            cmd += " keydown " + key;
        cmd += up.empty() ? "" : " sleep 0.15" + up + " sleep 0.03";
    }
    EXPECT_EQ(testsupport::SendKeys(kTitle, cmd), 0) << text;
}

// Waits for the console's box (yellow to red along the window's right edge,
// where no text reaches) to be `rows` high; the height it has then.
int BoxHeightOf(int rows)
{
    int height = -1;
    testsupport::WaitFor(
        [&]
        {
            testsupport::Picture p = testsupport::GrabWindow(kTitle);
            for (height = 0; height < p.height &&
                             p.MeanLevel(p.width - 3, height, p.width - 2, height + 1) != 255;)
                ++height;
            return height == rows;
        },
        10);
    return height;
}

// Each line typed (after a "|" how: <Tab>, <BackSpace>, <F3>), then after
// "=> " each line that follows it. "~" begins a pattern; "{what}" a listing:
// names, then "> N what listed"; "* a b" the lines "> a" and "> b". A texture
// off the list lives on for its shader, the font's shader without it.
const char* const kTranscript = R"(c_aperture 5 => > c_aperture is equal to 5
c_aperture 0 => > c_aperture is equal to 0
gl_extension GL_ARB_multitexture => > GL_ARB_multitexture extension found
gl_extension GL_ARB_multi => > GL_ARB_multi extension not found
r_fov 10 => > fov set to 30.000000
r_fov 200 => > fov set to 150.000000
r_polygonemode line => > polygone mode : line
r_polygonemode => > polygone mode : nothing
QUIT => > command or variable unknown.
gl_checkerror
gl_renderer => ~> .+
r_flatshading|R_F<Tab> => > flat shading lighting
gl_vendor|gl_vendorz<BackSpace> => ~> .+
gl_vendor|<F3> => ~> .+

r_smoothshading => > smooth shading lighting
r_drawnormals TRUE => > r_drawnormals is equal to false
r_drawnormals true => > r_drawnormals is equal to true
r_drawnormals false => > r_drawnormals is equal to false
r_freeVAmemory 5 => ~> r_freeVAmemory is equal to (?!5$)\d+
r_listtextures => {textures}
r_addtexture tga\missing.tga => > can't add texture <tga\missing.tga> to the list
r_removetexture tga\missing.tga => > texture <tga\missing.tga> not found
r_removetexture tga\Font.tga => > texture <tga\Font.tga> has been removed from list
r_listtextures => {textures}
r_addtexture tga\Font.tga => > texture <tga\Font.tga> added to the list
r_deltexture tga\Font.tga => > texture <tga\Font.tga> deleted
r_addtexture tga\Font.tga => > texture <tga\Font.tga> added to the list
r_reloadtextures => ~> \d+ textures reloaded
r_addshader Paper => > shader <Paper> has been added to the list
r_listshaders => {shaders}
r_removeshader Paper => > shader <Paper> has been removed from list
r_delshader Paper => > shader <Paper> not found
r_addshader Paper => > shader <Paper> has been added to the list
r_delshader Paper => > shader <Paper> deleted
r_removeshader Font => > shader <Font> has been removed from list
r_deltexture tga\Font.tga => > texture <tga\Font.tga> deleted
r_delshader Hatching => > shader <Hatching> deleted
r_addshader Hatching => > shader <Hatching> has been added to the list
r_reloadshaders => ~> \d+ shaders reloaded
help => * quit r_polygonemode r_flatshading r_smoothshading gl_version gl_renderer
=> * gl_vendor gl_extension gl_checkerror r_fov r_addtexture r_deltexture r_removetexture
=> * r_fullscreenmode r_windowedmode r_addshader r_delshader r_removeshader r_listshaders
=> * r_reloadshaders r_listtextures r_reloadtextures c_aperture r_drawnormals r_freeVAmemory
savelog => > console log saved into file <console.log>
r_windowedmode => ~> \d+ textures reloaded
=> > switching to windowed screen mode
gl_renderer => ~> .+
=> ~> \d+ shaders have been deleted
=> ~> \d+ textures have been deleted
=> ~> \d+ vertex program have been deleted
)";

// What console.log holds: each line as typed, then the lines that follow it.
std::vector<std::string> Wanted()
{
    std::vector<std::string> wanted;
    for (const std::string& line :
         Lines(std::regex_replace(kTranscript, std::regex("( |\n)=> "), "\n")))
    {
        std::stringstream names(line[0] == '*' ? line.substr(1) : "");
        for (std::string name; names >> name;)
            wanted.push_back("> " + name);
        if (line[0] != '*')
            wanted.push_back(line[0] == '~' ? line : line.substr(0, line.find('|')));
    }
    return wanted;
}

using ConsoleWindow = testsupport::RunDirTest;

TEST_F(ConsoleWindow, TypedLinesTheirResultsAndTheBox)
{
    if (testsupport::Env("DISPLAY").empty())
        GTEST_SKIP() << "no X display";
    std::string dir = RunDir();
    testsupport::ChildGuard program{testsupport::StartProgram(dir, "dummy")};
    auto log = [&] { return testsupport::ReadText(dir + "/tessimo2.log"); };
    ASSERT_TRUE(
        testsupport::WaitFor([&] { return log().find("- init openGL") != log().npos; }, 30));
    Type("<grave>", false); // the key below Escape opens the console
    EXPECT_EQ(BoxHeightOf(14 * 12), 14 * 12);
    for (const std::string& line : Lines(kTranscript))
    {
        std::string typed = line.substr(0, line.find(" => "));
        if (line.rfind("=> ", 0) == 0)
            continue;
        size_t bar = typed.find('|');
        Type(bar == std::string::npos ? typed : typed.substr(bar + 1));
        int rows = typed == "c_aperture 5" ? 7 * 12 : typed == "c_aperture 0" ? 2 * 12 : 0;
        EXPECT_TRUE(!rows || BoxHeightOf(rows) == rows) << typed;
        if (typed == "r_windowedmode") // keys go to the new window once it draws
        {
            testsupport::Picture before = testsupport::GrabWindow(kTitle);
            EXPECT_TRUE(testsupport::WaitFor(
                [&] { return testsupport::GrabWindow(kTitle).rgb != before.rgb; }, 30));
        }
    }
    Type("<Escape>", false);
    ASSERT_EQ(testsupport::WaitExit(std::exchange(program.pid, -1), 30), 0);

    std::vector<std::string> lines = Lines(testsupport::ReadText(dir + "/console.log"));
    lines.erase(lines.begin(), std::find(lines.begin(), lines.end(), "c_aperture 5"));
    std::vector<std::vector<std::string>> listings;
    size_t i = 0;
    for (const std::string& want : Wanted())
    {
        ASSERT_LT(i, lines.size()) << "the log ends before: " << want;
        if (want[0] == '{')
        {
            std::regex summary("> (\\d+) " + want.substr(1, want.size() - 2) + " listed");
            std::smatch m;
            size_t start = i;
            while (i < lines.size() && !std::regex_match(lines[i], m, summary))
                ++i;
            ASSERT_LT(i, lines.size()) << "no summary: " << want;
            EXPECT_EQ(std::stoul(m[1]), i - start) << lines[i];
            listings.emplace_back(lines.begin() + static_cast<long>(start),
                                  lines.begin() + static_cast<long>(i));
        }
        else if (want[0] == '~')
            EXPECT_TRUE(std::regex_match(lines[i], std::regex(want.substr(1))))
                << i << ": " << lines[i];
        else
            ASSERT_EQ(lines[i], want) << "line " << i;
        ++i;
    }
    EXPECT_EQ(i, lines.size()) << "more lines than expected";
    ASSERT_EQ(listings.size(), 3u);
    EXPECT_EQ(listings[1].size() + 1, listings[0].size()); // one off the list
    EXPECT_NE(std::find(listings[2].begin(), listings[2].end(), "Paper"), listings[2].end());
    // The new context answers as the first did.
    auto renderer = std::find(lines.begin(), lines.end(), "gl_renderer") + 1;
    EXPECT_EQ(*renderer, lines[lines.size() - 4]);
}

} // namespace
