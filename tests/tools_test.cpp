// The five command-line tools keep one convention: help on standard output
// with status 0; a bad argument as one line naming the option, the value
// and its range, then the usage line, status 2; a failed run as one line,
// status 1, with no output file left behind. Outputs are written whole or
// not at all, devices in place, through symbolic links to their targets,
// and never over an input. tessimo-rar create stores names without a root
// or a drive and refuses names the reader can't tell apart.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "support/files.h"
#include "support/process.h"

namespace
{

using testsupport::Env;
using testsupport::ReadText;
using testsupport::RunTool;
using testsupport::ToolRun;
using testsupport::WriteText;

std::string ToolPath(const std::string& name)
{
    if (name == "tessimo-shot")
        return Env("TESSIMO_RUN_DIR") + "/tessimo-shot";
    return Env("TESSIMO_BINARY_DIR") + "/tools/" + name + "/" + name;
}

ToolRun Tool(const std::string& tool, std::vector<std::string> args, const std::string& out = "")
{
    args.insert(args.begin(), ToolPath(tool));
    return RunTool(args, out);
}

std::vector<std::string> Words(const std::string& text)
{
    std::vector<std::string> words;
    std::istringstream in(text);
    for (std::string w; in >> w;)
        words.push_back(w);
    return words;
}

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t start = 0, end; start < text.size(); start = end + 1)
    {
        end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}

std::vector<std::string> Listing(const std::string& dir)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// One triangle, for tessimo-import.
const char kTriangle[] = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";

TEST(ToolConvention, HelpOnStandardOutputAndBadArgumentsWithTheirRange)
{
    // The tool, a bad argument, the line naming the option, value and range.
    const char* const tools[][3] = {
        {"tessimo-rar", "create x.rar --audio 5 in",
         "tessimo-rar: --audio 5: expected auto, off or 1 to 4"},
        {"tessimo-tam", "--size 100000 --digest",
         "tessimo-tam: --size 100000: expected a power of two from 1 to 4096"},
        {"tessimo-font", "frobnicate x.tga",
         "tessimo-font: command frobnicate: expected glyphs or default"},
        {"tessimo-shot", "--size 0x5",
         "tessimo-shot: --size 0x5: expected WIDTHxHEIGHT, each 1 to 8192"},
        {"tessimo-import", "--merge sideways a.obj b.tsm",
         "tessimo-import: --merge sideways: expected material or all"},
    };
    for (const auto& [name, bad, badLine] : tools)
    {
        SCOPED_TRACE(name);
        std::string usage;
        for (const char* help : {"--help", "-h"})
        {
            ToolRun r = Tool(name, {help});
            EXPECT_EQ(r.status, 0) << help;
            EXPECT_EQ(r.err, "") << help;
            usage = Lines(r.out).empty() ? "" : Lines(r.out)[0];
            EXPECT_EQ(usage.rfind(std::string("usage: ") + name + " ", 0), 0u) << r.out;
            EXPECT_GT(Lines(r.out).size(), 1u) << "the options follow the usage line";
        }
        ToolRun r = Tool(name, Words(bad));
        EXPECT_EQ(r.status, 2) << r.err;
        EXPECT_EQ(r.out, "");
        std::vector<std::string> lines = Lines(r.err);
        ASSERT_EQ(lines.size(), 2u) << r.err;
        EXPECT_EQ(lines[0], badLine);
        EXPECT_EQ(lines[1], usage);
    }
    // A range that depends on another option; an option without its value.
    std::string tamUsage = Lines(Tool("tessimo-tam", {"-h"}).out)[0];
    EXPECT_EQ(Tool("tessimo-tam", {"--layers", "20", "--tone", "20", "--digest"}).err,
              "tessimo-tam: --tone 20: expected 0 to 19, below --layers\n" + tamUsage + "\n");
    EXPECT_EQ(Lines(Tool("tessimo-shot", {"--ticks"}).err)[0],
              "tessimo-shot: --ticks needs a value: 0 to 10000000");
}

TEST(ToolConvention, FailedRunsAndUnwritableOutputsLeaveNothingBehind)
{
    testsupport::TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    WriteText("in.txt", "input bytes");
    WriteText("tri.obj", kTriangle);
    WriteText("old.txt", "old bytes");
    ASSERT_EQ(Tool("tessimo-rar", {"create", "in.rar", "in.txt"}).status, 0);
    ASSERT_EQ(Tool("tessimo-rar", {"create", "pw.rar", "--password", "right", "in.txt"}).status, 0);
    const std::string full = testsupport::MakeFullDevice(temp.path);
    const std::string noSpace = "cannot write '" + full + "': No space left on device";
    std::vector<std::string> before = Listing(temp.path);

    // Arguments split at blanks; FULL is the full device.
    const std::vector<std::vector<std::string>> failures = {
        {"tessimo-rar", "extract none.rar x --output out", "",
         "tessimo-rar: no such archive: none.rar"},
        {"tessimo-rar", "extract in.rar nothing --output out", "",
         "tessimo-rar: no such entry: nothing"},
        {"tessimo-rar", "extract in.txt x --output out", "",
         "tessimo-rar: not a RAR 2.0 archive: in.txt"},
        {"tessimo-rar", "extract pw.rar in.txt --password wrong --output out", "",
         "tessimo-rar: wrong password or damaged data: in.txt"},
        {"tessimo-rar", "create out in.txt missing.txt", "", ""},
        {"tessimo-font", "glyphs missing.ttf out", "", ""},
        {"tessimo-import", "missing.obj out", "", ""},
        {"tessimo-tam", "--size 4 --layers 2 --png in.txt", "",
         "tessimo-tam: cannot write 'in.txt': Not a directory"},
        // A full device: in place, the failed write told, the node kept.
        {"tessimo-rar", "create FULL in.txt", "", "tessimo-rar: " + noSpace},
        {"tessimo-rar", "extract in.rar in.txt --output FULL", "", ""},
        {"tessimo-rar", "list in.rar", full,
         "tessimo-rar: cannot write standard output: No space left on device"},
        {"tessimo-font", "default FULL", "", "tessimo-font: " + noSpace},
        {"tessimo-tam", "--size 4 --layers 2 --digest", full,
         "tessimo-tam: cannot write standard output: No space left on device"},
        {"tessimo-tam", "--size 4 --layers 2 --png FULL", "", ""},
        {"tessimo-import", "tri.obj FULL", "", ""},
        // Never over an input, whatever the name.
        {"tessimo-rar", "create in.txt in.txt", "",
         "tessimo-rar: will not write 'in.txt': it is also an input"},
        {"tessimo-rar", "create ./old.txt in.txt old.txt", "", ""},
        {"tessimo-rar", "extract in.rar in.txt --output in.rar", "", ""},
    };
    for (const std::vector<std::string>& f : failures)
    {
        std::vector<std::string> args = Words(f[1]);
        std::replace(args.begin(), args.end(), std::string("FULL"), full);
        SCOPED_TRACE(f[0] + " " + f[1] + (f[2].empty() ? "" : " > " + f[2]));
        ToolRun r = Tool(f[0], args, f[2]);
        EXPECT_EQ(r.status, 1) << r.err;
        ASSERT_EQ(Lines(r.err).size(), 1u) << r.err;
        EXPECT_EQ(r.err.rfind(f[0] + ": ", 0), 0u) << r.err;
        if (!f[3].empty())
            EXPECT_EQ(Lines(r.err)[0], f[3]);
        EXPECT_EQ(Listing(temp.path), before) << "nothing made, nothing left half written";
        EXPECT_TRUE(std::filesystem::is_character_file(full)) << full;
    }
    EXPECT_EQ(ReadText("in.txt"), "input bytes");
    EXPECT_EQ(ReadText("old.txt"), "old bytes");

    // Links are followed: the target gets the bytes, the link stays. A link
    // to nowhere yet makes its target.
    std::string rar = ReadText("in.rar");
    for (const char* target : {"old.txt", "new.txt"})
    {
        std::filesystem::remove("link");
        std::filesystem::create_symlink(target, "link");
        ASSERT_EQ(Tool("tessimo-rar", {"create", "link", "in.txt"}).status, 0);
        EXPECT_TRUE(std::filesystem::is_symlink("link"));
        EXPECT_EQ(ReadText(target), rar);
        ASSERT_EQ(Tool("tessimo-font", {"default", "link"}).status, 0);
        EXPECT_TRUE(std::filesystem::is_symlink("link"));
        EXPECT_EQ(ReadText(target).size(), 18u + 64 * 64 * 3);
        ASSERT_EQ(Tool("tessimo-import", {"tri.obj", "link"}).status, 0);
        EXPECT_TRUE(std::filesystem::is_symlink("link"));
        EXPECT_EQ(ReadText(target).substr(23, 4), std::string("\1\0\0\0", 4))
            << "one mesh, a flat triangle without outline";
        ASSERT_EQ(Tool("tessimo-rar", {"extract", "in.rar", "in.txt", "--output", "link"}).status,
                  0);
        EXPECT_TRUE(std::filesystem::is_symlink("link"));
        EXPECT_EQ(ReadText(target), "input bytes");
    }
    std::filesystem::create_directory("pictures");
    std::filesystem::create_directory_symlink("pictures", "folder");
    ASSERT_EQ(Tool("tessimo-tam", {"--size", "4", "--layers", "2", "--png", "folder"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink("folder"));
    EXPECT_TRUE(std::filesystem::exists("pictures/contact_sheet.png"));
    // Standard output named as a file: written where the caller points it.
    ToolRun r = Tool("tessimo-rar", {"extract", "in.rar", "in.txt", "--output", "/dev/stdout"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "input bytes");
}

// Entry names of an archive of stored entries, read from its bytes: the
// signature and the main header take 20 bytes; a file block's header
// holds its size at 5, the packed size at 7 and the name's length at 26,
// the name at 32.
std::vector<std::string> StoredNames(const std::string& archive)
{
    auto u16 = [&](size_t at)
    { return size_t(uint8_t(archive[at]) | uint8_t(archive[at + 1]) << 8); };
    auto u32 = [&](size_t at) { return u16(at) | u16(at + 2) << 16; };
    std::vector<std::string> names;
    for (size_t at = 20; at + 32 <= archive.size() && archive[at + 2] == 0x74;)
    {
        names.push_back(archive.substr(at + 32, u16(at + 26)));
        at += u16(at + 5) + u32(at + 7);
    }
    return names;
}

TEST(ToolConvention, ArchiveNamesWithoutRootOrDriveAndNeverTwice)
{
    testsupport::TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    WriteText("in.txt", "input bytes");
    std::string absolute = temp.path + "/in.txt";
    ToolRun r = Tool("tessimo-rar", {"create", "t.rar", "--store", absolute, "in.txt=C:\\x\\y.txt",
                                     "in.txt=//lead/z", "in.txt=\\C:d:\\e"});
    ASSERT_EQ(r.status, 0) << r.err;
    std::string expected = absolute.substr(1);
    std::replace(expected.begin(), expected.end(), '/', '\\');
    EXPECT_EQ(StoredNames(ReadText("t.rar")),
              (std::vector<std::string>{expected, "x\\y.txt", "lead\\z", "e"}));

    // Names the reader takes for one: letter case, '/', '\' and '_'.
    for (std::vector<std::string> names :
         {std::vector<std::string>{"in.txt=Dir\\A.txt", "in.txt=dir/a.TXT"},
          std::vector<std::string>{"in.txt=x_y", "in.txt=x\\y"},
          std::vector<std::string>{"in.txt=/a", "in.txt=a"}})
    {
        names.insert(names.begin(), {"create", "d.rar"});
        r = Tool("tessimo-rar", names);
        EXPECT_EQ(r.status, 1) << names[2];
        EXPECT_EQ(r.err.rfind("tessimo-rar: two entries named '", 0), 0u) << r.err;
        EXPECT_FALSE(std::filesystem::exists("d.rar"));
    }
    // The archive is no input, by any name: a hard link is the same file.
    std::filesystem::create_hard_link("in.txt", "hard.rar");
    EXPECT_EQ(Tool("tessimo-rar", {"create", "hard.rar", "in.txt"}).status, 1);
    EXPECT_EQ(ReadText("in.txt"), "input bytes");
}

// Two faces that turn by 55 degrees: the default crease of 50 keeps their
// edge hard, one of 60 would smooth it.
TEST(ToolConvention, ImportDefaultCrease)
{
    testsupport::TempDir temp;
    ASSERT_FALSE(temp.path.empty());
    WriteText("hinge.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 -0.573576 0.819152\nf 1 2 3\nf 2 1 4\n");
    for (const char* crease : {"", "50", "60"})
    {
        std::vector<std::string> args = {"hinge.obj", std::string("out") + crease};
        if (crease[0])
            args.insert(args.begin(), {"--crease", crease});
        ASSERT_EQ(Tool("tessimo-import", args).status, 0) << crease;
    }
    EXPECT_EQ(ReadText("out"), ReadText("out50"));
    EXPECT_NE(ReadText("out"), ReadText("out60"));
}

} // namespace
