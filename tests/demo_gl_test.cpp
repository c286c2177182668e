// The hatching demo on SDL's offscreen driver. Through tessimo-shot: a tick
// gives the same bytes every time and the look of a committed reference; a
// sphere and a torus brought by a user read as ink; data that lack the
// model, the vertex program, the right password or the whole archive, a
// damaged archive and a driver without the extensions the engine probes
// give a run that says so and ends in order. (demo_gl_test_deletion.cpp:
// the demo in this process, what it draws deleted under it.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>

#include "support/files.h"
#include "support/ink_measures.h"
#include "support/model_file.h"
#include "support/picture.h"
#include "support/required_extensions.h"

namespace
{

using testsupport::Env;
using testsupport::Picture;
using testsupport::ReadText;
using testsupport::WriteText;

const char* const kPassword = "mirodune";

std::string Tool(const std::string& name)
{
    return Env("TESSIMO_BINARY_DIR") + "/tools/" + name + "/" + name;
}

std::string LastLine(const std::string& text)
{
    size_t end = text.find_last_not_of('\n');
    size_t start = end == std::string::npos ? end : text.rfind('\n', end);
    return end == std::string::npos ? "" : text.substr(start + 1, end - start);
}

size_t Count(const std::string& text, const std::string& part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++n;
    return n;
}

class DemoShot : public ::testing::Test
{
protected:
    void TearDown() override
    {
        std::error_code ec;
        for (const std::string& dir : dirs)
            if (!HasFailure())
                std::filesystem::remove_all(dir, ec);
    }
    // A run folder with the built ini/, and the built data.rar if asked.
    std::string RunDir(bool withArchive = true)
    {
        std::string dir = testsupport::MakeRunDir(true);
        if (!withArchive)
            unlink((dir + "/data.rar").c_str());
        dirs.push_back(dir);
        return dir;
    }
    // One run of tessimo-shot in `dir`; the picture in dir/<name>.
    static int Shot(const std::string& dir, long ticks, const std::string& size,
                    const std::string& name, Picture* picture,
                    const std::vector<std::string>& more = {})
    {
        std::vector<std::string> command = {Env("TESSIMO_RUN_DIR") + "/tessimo-shot",
                                            "--ticks",
                                            std::to_string(ticks),
                                            "--size",
                                            size,
                                            "--output",
                                            name};
        command.insert(command.end(), more.begin(), more.end());
        int status = testsupport::WaitExit(testsupport::StartCommand(dir, command), 120);
        if (status == 0)
        {
            EXPECT_TRUE(testsupport::ReadPng(dir + "/" + name, picture));
        }
        return status;
    }
    std::vector<std::string> dirs;
};

// The reference was written by tessimo-shot at tick 60 (scripts/pictures
// --reference writes it again). Moving every tone one slice lighter in the
// vertex program changes this picture by 0.39 a byte on average (measured);
// the tolerance is under half of that.
TEST_F(DemoShot, ATickGivesItsOwnPictureAndTheReferencesLook)
{
    std::string dir = RunDir();
    Picture first, again, later, reference;
    ASSERT_EQ(Shot(dir, 60, "200x150", "a.png", &first), 0) << ReadText(dir + "/output.txt");
    ASSERT_EQ(Shot(dir, 60, "200x150", "b.png", &again), 0);
    ASSERT_EQ(Shot(dir, 420, "200x150", "c.png", &later), 0);
    ASSERT_EQ(first.width, 200);
    ASSERT_EQ(first.height, 150);
    EXPECT_TRUE(first.rgb == again.rgb);
    EXPECT_FALSE(first.rgb == later.rgb);
    ASSERT_TRUE(testsupport::ReadPng(Env("TESSIMO_SOURCE_DIR") + "/tests/data/demo_tick60.png",
                                     &reference));
    ASSERT_EQ(reference.rgb.size(), first.rgb.size());
    double sum = 0;
    for (size_t i = 0; i < first.rgb.size(); ++i)
        sum += std::abs(int(reference.rgb[i]) - int(first.rgb[i]));
    EXPECT_LT(sum / first.rgb.size(), 0.18) << "see " << dir << "/a.png";
    // A normal run: nothing missing in the log, the mesh count and the
    // compiled program on the console.
    std::string log = ReadText(dir + "/tessimo2.log");
    EXPECT_EQ(log.find("##"), std::string::npos) << log;
    EXPECT_NE(log.find("- shutting down at"), std::string::npos) << log;
    std::string console = ReadText(dir + "/console.log");
    EXPECT_NE(console.find("mesh loaded from file 'tsm\\avion.tsm'"), std::string::npos);
    EXPECT_NE(console.find("vertex program loaded and compiled successfully"), std::string::npos)
        << console;
}

// A model a user brings, as OBJ: a sphere of radius 5 (64 around, 32 down)
// or a torus of radii 6 and 2 about y (72 around, 32 around the tube), both
// around the origin.
std::string SurfaceObj(bool sphere)
{
    const int around = sphere ? 64 : 72, rings = sphere ? 33 : 32;
    std::string obj;
    for (int j = 0; j < rings; ++j)
        for (int i = 0; i < around; ++i)
        {
            double theta = (sphere ? M_PI : 2 * M_PI) * j / 32, phi = 2 * M_PI * i / around;
            double r = sphere ? 5 * std::sin(theta) : 6 + 2 * std::cos(theta);
            double y = sphere ? 5 * std::cos(theta) : 2 * std::sin(theta);
            obj += "v " + std::to_string(r * std::cos(phi)) + " " + std::to_string(y) + " " +
                   std::to_string(r * std::sin(phi)) + "\n";
        }
    auto v = [&](int j, int i) { return std::to_string((j % rings) * around + i % around + 1); };
    // The torus's triangles turn the other way round.
    auto f = [&](const std::string& a, const std::string& b, const std::string& c)
    { obj += "f " + a + " " + (sphere ? b : c) + " " + (sphere ? c : b) + "\n"; };
    for (int j = 0; j < 32; ++j)
        for (int i = 0; i < around; ++i)
        {
            // The sphere's poles are rings of one place: their slivers go.
            if (!sphere || j > 0)
                f(v(j, i), v(j, i + 1), v(j + 1, i));
            if (!sphere || j < 31)
                f(v(j, i + 1), v(j + 1, i + 1), v(j + 1, i));
        }
    return obj;
}

// Imported with the importer's defaults, placed at the demo's focus, and
// drawn by tessimo-shot at 800 by 600: the tone follows the light, the
// strokes are clear ink or clear paper, and the silhouette is inked. The
// model's pixels come from a second shot with the model solid black.
TEST_F(DemoShot, AModelBroughtByAUserReadsAsInk)
{
    std::string dir = RunDir(), solidDir = RunDir();
    WriteText(solidDir + "/ini/Shaders.ini",
              testsupport::InkMaskMaterials(ReadText(solidDir + "/ini/Shaders.ini")));
    struct Case
    {
        const char* name;
        std::vector<long> ticks;
        double crisp, outline;
    };
    for (const Case& c : {Case{"sphere", {60, 200, 400}, 0.95, 0.98}, {"torus", {60}, 0.93, 0.93}})
    {
        SCOPED_TRACE(c.name);
        bool sphere = c.name == std::string("sphere");
        std::string model = dir + "/" + c.name + ".tsm", obj = dir + "/" + c.name + ".obj";
        WriteText(obj, SurfaceObj(sphere));
        std::string import = "'" + Tool("tessimo-import") +
                             "' --position 0,-2,-5 --material Hatching '" + obj + "' '" + model +
                             "' > /dev/null";
        ASSERT_EQ(system(import.c_str()), 0) << import;
        Picture solid;
        ASSERT_EQ(Shot(solidDir, c.ticks[0], "800x600", "solid.png", &solid, {"--model", model}), 0)
            << ReadText(solidDir + "/output.txt");
        auto mask = testsupport::ModelMask(testsupport::ToGrey(800, 600, solid.rgb));
        for (long ticks : c.ticks)
        {
            SCOPED_TRACE("tick " + std::to_string(ticks));
            std::string name = std::string(c.name) + "-" + std::to_string(ticks) + ".png";
            Picture shot;
            ASSERT_EQ(Shot(dir, ticks, "800x600", name, &shot, {"--model", model}), 0)
                << ReadText(dir + "/output.txt");
            auto grey = testsupport::ToGrey(800, 600, shot.rgb);
            testsupport::InkMeasures ink = testsupport::MeasureInk(grey, mask);
            EXPECT_GE(ink.crisp, c.crisp) << "see " << dir << "/" << name;
            EXPECT_GE(ink.outline, c.outline);
            // About 2 pixels wide, and no ink away from the model.
            EXPECT_GE(ink.band, 1.5);
            EXPECT_LE(ink.band, 3.0);
            EXPECT_EQ(ink.stray, 0);
            if (!sphere)
                continue;
            const double centre[3] = {0, -2, -5};
            testsupport::ToneFit fit = testsupport::SphereTone(grey, mask, ticks, centre, 5.0);
            EXPECT_GT(fit.samples, 40000) << "the sphere fills its place";
            EXPECT_GE(fit.correlation, 0.88);
            EXPECT_GE(fit.steps, 16);
        }
    }
}

// Every entry of the built data.rar extracted into dir/entries, and a
// data.rar written in `dir` from them but those whose name contains
// `leaveOut`, under `password`.
struct Entries
{
    std::string folder;
    std::vector<std::string> names;

    explicit Entries(const std::string& dir) : folder(dir + "/entries")
    {
        std::filesystem::create_directories(folder);
        std::string archive = "'" + Env("TESSIMO_RUN_DIR") + "/data.rar'";
        std::stringstream lines(testsupport::RunTool({Tool("tessimo-rar"), "list",
                                                      Env("TESSIMO_RUN_DIR") + "/data.rar"})
                                    .out);
        for (std::string line; std::getline(lines, line);)
        {
            std::string name = line.substr(0, line.find(' '));
            std::string file = folder + "/" + std::to_string(names.size());
            if (name.find('\\') != std::string::npos &&
                system(("'" + Tool("tessimo-rar") + "' extract " + archive + " '" + name +
                        "' --password " + kPassword + " --output '" + file + "'")
                           .c_str()) == 0)
                names.push_back(name);
        }
    }
    bool Repack(const std::string& dir, const std::string& leaveOut,
                const std::string& password) const
    {
        std::string cmd = "'" + Tool("tessimo-rar") + "' create '" + dir +
                          "/data.rar' --password " + password + " --solid";
        for (size_t i = 0; i < names.size(); ++i)
            if (leaveOut.empty() || names[i].find(leaveOut) == std::string::npos)
                cmd += " '" + folder + "/" + std::to_string(i) + "=" + names[i] + "'";
        return system((cmd + " > /dev/null").c_str()) == 0;
    }
};

// Data that can't be read: told in the log and on the console (the archive
// once, with the reason of its first failed read, however many files it
// failed), and the run ends in order. Without the model, or with a frame
// without a polygon, there is no picture: status 1 and the reason as the
// last line, after the program's own.
TEST_F(DemoShot, MissingOrDamagedDataIsToldAndTheRunEndsInOrder)
{
    std::string models = RunDir(false);
    Entries entries(models);
    ASSERT_GE(entries.names.size(), 3u);
    const uint32_t kTooMany = 1048576 / 32 + 1; // vertices: one more than the pool holds
    testsupport::ModelBytes big(1), partial(2);
    big.Head("big", "Hatching", 1, kTooMany);
    partial.Mesh("t", "Hatching", {0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2});
    partial.Head("big", "Hatching", 1, kTooMany);
    for (auto* m : {&big, &partial})
        m->bytes.resize(m->bytes.size() + 32 * kTooMany + 12, 0);
    WriteText(models + "/big.tsm", big.String());
    WriteText(models + "/partial.tsm", partial.String());
    WriteText(models + "/triangle.tsm",
              testsupport::ModelBytes(1)
                  .Mesh("t", "Hatching", {0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2})
                  .String());
    WriteText(models + "/zeros.tsm", std::string(4096, '\0'));
    WriteText(models + "/empty.tsm",
              testsupport::ModelBytes(1).Mesh("e", "Hatching", {}, {}).String());
    const std::string archive = ReadText(Env("TESSIMO_RUN_DIR") + "/data.rar");

    const std::string noModelLog = "## no mesh read from model 'tsm\\avion.tsm' ##",
                      noModel = "> no mesh read from model 'tsm\\avion.tsm'",
                      noProgramLog = "## shader 'Hatching' has no working vertex program ##",
                      noProgram = "> shader 'Hatching' has no working vertex program",
                      noShaderLog = "## shader 'Hatching' not found: the art map is not used ##",
                      cannot = "tessimo-shot: cannot read ",
                      cannotModel = "tessimo-shot: cannot read the model '" + models,
                      cannotArchive = "tessimo-shot: cannot read the data archive 'data.rar': ";
    auto archiveLog = [](const char* why)
    { return "## can't read data archive 'data.rar': " + std::string(why) + " ##\n"; };
    auto archiveLine = [](const char* why)
    { return "> can't read data archive 'data.rar': " + std::string(why) + "\n"; };
    const char *damaged = "wrong password or damaged data", *cut = "archive cut short",
               *zeroed = "not a RAR 2.0 archive", *missing = "no such archive";
    // What a case does to its run folder: "none" (no archive), "flipped",
    // "cut", "zeros" (the built archive damaged), "-tsm\", "-vp\" (an
    // archive without those entries), "password" (one under another
    // password), "no Hatching" (no such sections in Shaders.ini), "full"
    // (the picture written to a full device); "" nothing.
    struct Case
    {
        const char* what;
        std::string model;    // --model, "" none
        std::string lastLine; // "" for a picture
        std::vector<std::string> logLines, consoleLines;
    };
    const std::string none = "No such file or directory";
    // clang-format off
    const std::vector<Case> cases = {
        {"-tsm\\", "", cannot, {noModelLog, noShaderLog}, {noModel}},
        {"-vp\\", "", "", {noProgramLog}, {noProgram}},
        {"password", "", cannot, {archiveLog(damaged), noModelLog, noShaderLog}, {archiveLine(damaged), noModel}},
        {"none", "", cannotArchive + none, {archiveLog(missing), noModelLog}, {archiveLine(missing), noModel}},
        {"none", "triangle.tsm", cannotArchive + none, {archiveLog(missing)}, {archiveLine(missing)}},
        {"flipped", "", cannotArchive, {archiveLog(damaged), noModelLog}, {archiveLine(damaged), noModel}},
        {"cut", "", cannotArchive + cut + " in 'tsm\\avion.tsm'", {archiveLog(cut), noModelLog}, {archiveLine(cut), noModel}},
        {"zeros", "", cannotArchive + zeroed, {archiveLog(zeroed), noModelLog}, {archiveLine(zeroed), noModel}},
        {"no Hatching", "", "", {noProgramLog}, {noProgram}},
        {"", "missing.tsm", cannotModel + "/missing.tsm': " + none, {}, {}},
        {"", "zeros.tsm", cannotModel + "/zeros.tsm': it holds no mesh", {}, {}},
        {"", ".", cannotModel + "/.': Is a directory", {}, {}},
        {"", "big.tsm", cannotModel + "/big.tsm': mesh 1 of 1 doesn't fit in the vertex memory", {}, {}},
        {"", "partial.tsm", cannotModel + "/partial.tsm': mesh 2 of 2 doesn't fit in the vertex memory", {}, {}},
        {"", "empty.tsm", "tessimo-shot: nothing was drawn at tick 5", {}, {}},
        {"full", "", "", {}, {}},
    };
    // clang-format on
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.what + (" " + c.model));
        const std::string what = c.what;
        std::string dir = RunDir(what != "none" && what[0] != '-' && what != "password");
        std::vector<std::string> options;
        std::string lastLine = c.lastLine;
        if (!c.model.empty())
            options = {"--model", models + "/" + c.model};
        if (what[0] == '-' || what == "password")
            ASSERT_TRUE(what == "password" ? entries.Repack(dir, "", "not-the-password")
                                           : entries.Repack(dir, what.substr(1), kPassword));
        else if (what == "flipped" || what == "cut" || what == "zeros")
        {
            std::string bytes = archive;
            size_t half = bytes.size() / 2;
            if (what == "flipped")
                for (size_t i = half; i < half + 64; ++i)
                    bytes[i] = static_cast<char>(~bytes[i]);
            else if (what == "cut")
                bytes.resize(half);
            else
                bytes.assign(bytes.size(), '\0');
            WriteText(dir + "/data.rar", bytes);
        }
        else if (what == "no Hatching")
        {
            std::stringstream in(ReadText(dir + "/ini/Shaders.ini"));
            std::string out;
            bool keep = true;
            for (std::string line; std::getline(in, line);)
            {
                if (!line.empty() && line[0] == '[')
                    keep = line.rfind("[Hatching", 0) != 0;
                if (keep)
                    out += line + "\n";
            }
            WriteText(dir + "/ini/Shaders.ini", out);
        }
        else if (what == "full")
        {
            // A full device of the test's own, so that a tool that wrongly
            // replaced its output by renaming would replace only that.
            options = {"--output", testsupport::MakeFullDevice(dir)};
            lastLine = "tessimo-shot: cannot write '" + options[1] + "': No space left on device";
        }
        Picture picture;
        int status = Shot(dir, 5, "200x150", "shot.png", &picture, options);
        std::string output = ReadText(dir + "/output.txt");
        ASSERT_EQ(status, lastLine.empty() ? 0 : 1) << output;
        EXPECT_EQ(std::filesystem::exists(dir + "/shot.png"), lastLine.empty());
        EXPECT_EQ(LastLine(output).substr(0, lastLine.size()), lastLine) << output;
        std::string log = ReadText(dir + "/tessimo2.log");
        std::string console = ReadText(dir + "/console.log");
        EXPECT_NE(log.find("- shutting down at"), std::string::npos) << log;
        for (const std::string& line : c.logLines)
            EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
        for (const std::string& line : c.consoleLines)
            EXPECT_NE(console.find(line), std::string::npos) << line << "\n" << console;
        if (c.logLines.empty())
            continue;
        size_t told = c.logLines[0].find("data archive") == std::string::npos ? 0 : 1;
        EXPECT_EQ(Count(log, "data archive"), told) << log;
        EXPECT_EQ(Count(console, "data archive"), told) << console;
        EXPECT_NE(console.find("shaders have been deleted"), std::string::npos) << console;
        if (lastLine.empty())
        {
            EXPECT_EQ(picture.MeanLevel(0, 0, 200, 4), 255.0);
            EXPECT_LT(picture.MeanLevel(50, 40, 150, 110), 250.0);
        }
    }

    // A link as the output: the picture goes to its target, the link stays.
    std::string dir = RunDir();
    std::filesystem::create_symlink("target.png", dir + "/link.png");
    Picture picture;
    ASSERT_EQ(Shot(dir, 5, "200x150", "link.png", &picture), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(dir + "/link.png"));
    EXPECT_TRUE(testsupport::ReadPng(dir + "/target.png", &picture));
}

// Mesa takes extensions away through MESA_EXTENSION_OVERRIDE; taking one
// away may take others with it, so what the driver really lists is read
// from the run's own log. Whatever is missing, the run draws the airplane,
// tells exactly the failures of the probes (and the demo's own lines about
// what it can't use), shows their boxes, and ends in order.
TEST_F(DemoShot, EveryMissingExtensionIsToldAndTheRestDraws)
{
    const char* const probed[] = {
        "GL_ARB_multitexture",          "GL_SGIS_texture_edge_clamp", "GL_EXT_texture_edge_clamp",
        "GL_EXT_compiled_vertex_array", "GL_NV_vertex_array_range",   "GL_NV_vertex_array_range2",
        "GL_NV_register_combiners",     "GL_ARB_transpose_matrix",    "GL_ARB_texture_env_combine",
        "GL_EXT_texture_env_combine",   "GL_ARB_texture_env_dot3",    "GL_SGIS_generate_mipmap",
        "GL_ARB_vertex_program",        "GL_EXT_texture3D",
    };
    std::vector<std::vector<std::string>> cases = {{}};
    std::set<std::string> baseline;
    for (size_t c = 0; c < cases.size(); ++c)
    {
        std::string override;
        for (const std::string& name : cases[c])
            override += (override.empty() ? "-" : " -") + name;
        SCOPED_TRACE("MESA_EXTENSION_OVERRIDE=" + override);
        std::string dir = RunDir();
        setenv("MESA_EXTENSION_OVERRIDE", override.c_str(), 1);
        Picture picture;
        int status = Shot(dir, 2, "200x150", "shot.png", &picture);
        unsetenv("MESA_EXTENSION_OVERRIDE");
        std::string output = ReadText(dir + "/output.txt");
        ASSERT_EQ(status, 0) << output;
        std::string log = ReadText(dir + "/tessimo2.log");
        const std::string listing = "    + listing all extensions : ";
        size_t at = log.find(listing);
        ASSERT_NE(at, std::string::npos) << log;
        at += listing.size();
        std::stringstream words(log.substr(at, log.find('\n', at) - at));
        std::set<std::string> listed{std::istream_iterator<std::string>(words), {}};
        auto has = [&](const std::string& name) { return listed.count(name) != 0; };
        if (c == 0)
        {
            // The driver as it is: one case for each probed name it lists,
            // then all of them at once.
            baseline = listed;
            std::vector<std::string> every;
            for (const char* name : probed)
                if (has(name))
                {
                    cases.push_back({name});
                    every.push_back(name);
                }
            cases.push_back(every);
        }
        for (const std::string& name : cases[c])
            EXPECT_FALSE(has(name)) << name << " is still listed";

        // The problems stand between the sound lines and the closing lines.
        std::string expected;
        std::vector<std::string> boxes;
        for (const testsupport::RequiredExtension& r : testsupport::kRequiredExtensions)
            if (!has(r.name))
            {
                expected += r.logText;
                boxes.push_back("[" + std::string(r.caption) + "] " + r.boxText);
            }
        if (!has("GL_EXT_texture3D"))
            expected += "## no 3d textures: the art map is not built ##\n";
        if (!has("GL_ARB_vertex_program"))
            expected += "## shader 'Hatching' has no working vertex program ##\n";
        size_t from = log.find(" hz  ok!\n"), to = log.find("- tessimo has drawn ");
        ASSERT_NE(from, std::string::npos) << log;
        ASSERT_NE(to, std::string::npos) << log;
        EXPECT_EQ(log.substr(from + 9, to - from - 9), expected);
        EXPECT_NE(log.find("- shutting down at", to), std::string::npos) << log;

        // The probes' boxes in their order; then, without the combine
        // extensions, the box of every stage applied.
        std::vector<std::string> shown;
        std::stringstream lines(output);
        for (std::string line; std::getline(lines, line);)
            if (!line.empty() && line[0] == '[')
                shown.push_back(line);
        ASSERT_GE(shown.size(), boxes.size()) << output;
        EXPECT_EQ(std::vector<std::string>(shown.begin(), shown.begin() + boxes.size()), boxes);
        bool combine = has("GL_ARB_texture_env_combine") || has("GL_EXT_texture_env_combine");
        EXPECT_EQ(shown.size() > boxes.size(), !combine) << output;
        for (size_t i = boxes.size(); i < shown.size(); ++i)
            EXPECT_EQ(shown[i], "[Buy a real 3d card] For now, only 3d card with the extension "
                                "GL_arb_texture_env_combine or GL_ext_texture_env_combine can use "
                                "this program!");
        std::string console = ReadText(dir + "/console.log");
        EXPECT_NE(console.find("vertex program have been deleted"), std::string::npos) << console;
        EXPECT_EQ(console.find("> no 3d textures: the art map is not built") != std::string::npos,
                  !has("GL_EXT_texture3D"))
            << console;
        EXPECT_EQ(picture.MeanLevel(0, 0, 200, 4), 255.0);
        EXPECT_LT(picture.MeanLevel(50, 40, 150, 110), 235.0) << "see " << dir << "/shot.png";
    }
    // The driver lists all five that the engine needs, so the last case
    // takes every one of them away.
    EXPECT_GE(cases.size(), 7u);
    for (const testsupport::RequiredExtension& r : testsupport::kRequiredExtensions)
        EXPECT_TRUE(baseline.count(r.name)) << r.name;
}

} // namespace
