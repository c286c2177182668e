// The tools' convention: help on standard output, bad arguments (status 2, option, value and
// range told), failed runs (status 1, nothing left), links followed, inputs kept, clean names.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "support/files.h"
#include "support/process.h"

namespace
{

using namespace testsupport;

// Runs "tool argument...", split at blanks, with FULL and OUT replaced; `out` takes its output.
ToolRun Tool(const std::string& command, const std::string& out = "", const std::string& full = "",
             const std::string& output = "")
{
    std::vector<std::string> words = testsupport::Words(command);
    for (std::string& w : words)
        w = w == "FULL" ? full : w == "OUT" ? output : w;
    return testsupport::RunOurTool(words, out);
}

TEST(ToolConvention, HelpBadArgumentsFailedRunsLinksAndArchiveNames)
{
    const std::pair<std::string, std::string> tools[] = {
        {"tessimo-rar create x.rar --audio 5 in", "--audio 5: expected auto, off or 1 to 4"},
        {"tessimo-tam --size 100000 --digest",
         "--size 100000: expected a power of two from 1 to 4096"},
        {"tessimo-tam --layers 20 --tone 20 --digest",
         "--tone 20: expected 0 to 19, below --layers"},
        {"tessimo-font frobnicate x.tga", "command frobnicate: expected glyphs or default"},
        {"tessimo-shot --size 0x5", "--size 0x5: expected WIDTHxHEIGHT, each 1 to 8192"},
        {"tessimo-shot --ticks", "--ticks needs a value: 0 to 10000000"},
    };
    for (const auto& [command, badLine] : tools)
    {
        SCOPED_TRACE(command);
        const std::string name = command.substr(0, command.find(' '));
        ToolRun help = Tool(name + " --help"), r = Tool(command);
        const std::string usage = help.out.substr(0, help.out.find('\n'));
        EXPECT_TRUE(help.status == 0 && help.err.empty() && Lines(help.out).size() > 1);
        EXPECT_EQ(usage.rfind("usage: " + name + " ", 0), 0u) << help.out;
        EXPECT_EQ(Tool(name + " -h").out, help.out);
        EXPECT_TRUE(r.status == 2 && r.out.empty()) << r.err;
        EXPECT_EQ(r.err, name + ": " + badLine + "\n" + usage + "\n");
    }
    // Failed runs (status 1) leave nothing behind; links are followed; archive names are clean.
    testsupport::TempDir temp;
    WriteText("in.txt", "input bytes");
    WriteText("tri.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    WriteText("old.txt", "old bytes");
    ASSERT_EQ(Tool("tessimo-rar create in.rar in.txt").status, 0);
    ASSERT_EQ(Tool("tessimo-rar create pw.rar --password right in.txt").status, 0);
    std::filesystem::create_hard_link("in.txt", "hard.rar");
    const std::string full = testsupport::MakeFullDevice(temp.path);
    auto listing = [&]
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(temp.path))
            names.insert(entry.path().filename().string());
        return names;
    };
    const std::set<std::string> before = listing();
    // Command (FULL: the full device), standard output, the line told.
    const std::string ns = "No space left on device";
    const std::vector<std::vector<std::string>> failures = {
        {"tessimo-rar extract none.rar x --output out", "", "no such archive: none.rar"},
        {"tessimo-rar extract in.rar nothing --output out", "", "no such entry: nothing"},
        {"tessimo-rar extract in.txt x --output out", "", "not a RAR 2.0 archive: in.txt"},
        {"tessimo-rar extract pw.rar in.txt --password wrong --output out", "",
         "wrong password or damaged data: in.txt"},
        {"tessimo-rar create out in.txt missing.txt", "", ""},
        {"tessimo-font glyphs missing.ttf out", "", ""},
        {"tessimo-import missing.obj out", "", ""},
        {"tessimo-tam --size 4 --layers 2 --png in.txt", "",
         "cannot write 'in.txt': Not a directory"},
        {"tessimo-rar create FULL in.txt", "", "cannot write '" + full + "': " + ns},
        {"tessimo-rar extract in.rar in.txt --output FULL", "", ""},
        {"tessimo-rar list in.rar", full, "cannot write standard output: " + ns},
        {"tessimo-font default FULL", "", "cannot write '" + full + "': " + ns},
        {"tessimo-tam --size 4 --layers 2 --digest", full, "cannot write standard output: " + ns},
        {"tessimo-tam --size 4 --layers 2 --png FULL", "", ""},
        {"tessimo-import tri.obj FULL", "", ""},
        {"tessimo-rar create in.txt in.txt", "", "will not write 'in.txt': it is also an input"},
        {"tessimo-rar create hard.rar in.txt", "",
         "will not write 'hard.rar': it is also an input"},
        // Names the reader takes for one: letter case, '/', '\' and '_'.
        {"tessimo-rar create d.rar in.txt=Dir\\A.txt in.txt=dir/a.TXT", "",
         "two entries named 'Dir\\A.txt' and 'dir\\a.TXT'"},
        {"tessimo-rar create d.rar in.txt=x_y in.txt=x\\y", "",
         "two entries named 'x_y' and 'x\\y'"},
        {"tessimo-rar create d.rar in.txt=/a in.txt=a", "", "two entries named 'a' and 'a'"},
        {"tessimo-rar create ./old.txt in.txt old.txt", "", ""},
        {"tessimo-rar extract in.rar in.txt --output in.rar", "", ""},
    };
    for (const std::vector<std::string>& f : failures)
    {
        const std::string tool = f[0].substr(0, f[0].find(' '));
        SCOPED_TRACE(f[0] + (f[1].empty() ? "" : " > " + f[1]));
        ToolRun r = Tool(f[0], f[1], full);
        EXPECT_TRUE(r.status == 1 && Lines(r.err).size() == 1 && r.err.rfind(tool + ": ", 0) == 0)
            << r.err;
        EXPECT_TRUE(f[2].empty() || r.err == tool + ": " + f[2] + "\n") << r.err;
        EXPECT_EQ(listing(), before);
        EXPECT_TRUE(std::filesystem::is_character_file(full));
    }
    EXPECT_EQ(ReadText("in.txt"), "input bytes");
    EXPECT_EQ(ReadText("old.txt"), "old bytes");
    // Through a link (a dangling one too) the target gets a plain file's bytes; the link stays.
    for (const char* target : {"old.txt", "new.txt"})
        for (const char* command :
             {"tessimo-rar create OUT in.txt", "tessimo-font default OUT",
              "tessimo-import tri.obj OUT", "tessimo-rar extract in.rar in.txt --output OUT"})
        {
            std::filesystem::remove("link");
            std::filesystem::create_symlink(target, "link");
            for (const char* out : {"plain", "link"})
                ASSERT_EQ(Tool(command, "", "", out).status, 0) << command;
            EXPECT_TRUE(std::filesystem::is_symlink("link"));
            EXPECT_EQ(ReadText(target), ReadText("plain")) << command;
        }
    // Faces turning by 55 degrees: the default crease (50) keeps the edge hard.
    WriteText("hinge.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 -0.573576 0.819152\nf 1 2 3\nf 2 1 4\n");
    for (const char* args :
         {"hinge.obj out", "--crease 50 hinge.obj out50", "--crease 60 hinge.obj out60"})
        ASSERT_EQ(Tool(std::string("tessimo-import ") + args).status, 0) << args;
    EXPECT_EQ(ReadText("out"), ReadText("out50"));
    EXPECT_NE(ReadText("out"), ReadText("out60"));
    std::filesystem::create_directory("pictures");
    std::filesystem::create_directory_symlink("pictures", "folder");
    ASSERT_EQ(Tool("tessimo-tam --size 4 --layers 2 --png folder").status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink("folder"));
    EXPECT_TRUE(std::filesystem::exists("pictures/contact_sheet.png"));
    ToolRun r = Tool("tessimo-rar extract in.rar in.txt --output /dev/stdout");
    EXPECT_TRUE(r.status == 0 && r.out == "input bytes");
    const std::string absolute = temp.path + "/in.txt";
    r = Tool("tessimo-rar create t.rar --store " + absolute +
             " in.txt=C:\\x\\y.txt in.txt=//lead/z in.txt=\\C:d:\\e");
    ASSERT_EQ(r.status, 0) << r.err;
    std::string expected = absolute.substr(1);
    std::replace(expected.begin(), expected.end(), '/', '\\');
    std::vector<std::string> names;
    for (const std::string& line : Lines(Tool("tessimo-rar list t.rar").out))
        names.push_back(line.substr(0, line.find(' ')));
    EXPECT_EQ(names, (std::vector<std::string>{"name", expected, "x\\y.txt", "lead\\z", "e"}));
}

} // namespace
