// The hatching demo through tessimo-shot on SDL's offscreen driver.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>

#include "support/files.h"
#include "support/ink_measures.h"
#include "support/model_file.h"
#include "support/picture.h"
#include "support/process.h"
#include "support/program_window.h"
#include "support/required_extensions.h"

namespace
{
using namespace testsupport;
using DemoShot = RunDirTest;

// tessimo-shot on `dir`: the picture in dir/<name>, its output in dir/output.txt.
int Shot(const std::string& dir, long ticks, const std::string& size, const std::string& name,
         Picture* picture, std::vector<std::string> more = {})
{
    more.insert(more.begin(), {"tessimo-shot", "--run", dir, "--ticks", std::to_string(ticks),
                               "--size", size, "--output", dir + "/" + name});
    ToolRun run = RunOurTool(more);
    WriteText(dir + "/output.txt", run.out + run.err);
    EXPECT_TRUE(run.status || ReadPng(dir + "/" + name, picture));
    return run.status;
}

// A user's model as OBJ around the origin: a sphere of radius 5 (64 around,
// 32 down, no slivers at the poles) or a torus of radii 6 and 2 about y (72
// by 32, its triangles turned the other way round).
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
    auto f = [&](const std::string& a, const std::string& b, const std::string& c)
    { obj += "f " + a + " " + (sphere ? b : c) + " " + (sphere ? c : b) + "\n"; };
    for (int j = 0; j < 32; ++j)
        for (int i = 0; i < around; ++i)
        {
            if (!sphere || j > 0)
                f(v(j, i), v(j, i + 1), v(j + 1, i));
            if (!sphere || j < 31)
                f(v(j, i + 1), v(j + 1, i + 1), v(j + 1, i));
        }
    return obj;
}

// Imported at the demo's focus, shot at 800 by 600: the tone follows the
// light, strokes are clear ink or paper, the silhouette is inked.
TEST_F(DemoShot, AModelBroughtByAUserReadsAsInk)
{
    std::string dir = RunDir(), solidDir = RunDir();
    WriteText(solidDir + "/ini/Shaders.ini",
              InkMaskMaterials(ReadText(solidDir + "/ini/Shaders.ini")));
    for (bool sphere : {true, false})
    {
        const std::string kind = sphere ? "sphere" : "torus";
        const double crisp = sphere ? 0.95 : 0.93, outline = sphere ? 0.98 : 0.93;
        SCOPED_TRACE(kind);
        std::string model = dir + "/" + kind + ".tsm", obj = dir + "/" + kind + ".obj";
        WriteText(obj, SurfaceObj(sphere));
        ASSERT_EQ(RunOurTool({"tessimo-import", "--position", "0,-2,-5", "--material", "Hatching",
                              obj, model})
                      .status,
                  0);
        Picture solid;
        ASSERT_EQ(Shot(solidDir, 60, "800x600", "solid.png", &solid, {"--model", model}), 0);
        auto mask = ModelMask(solid);
        for (long tick : sphere ? std::vector<long>{60, 200, 400} : std::vector<long>{60})
        {
            SCOPED_TRACE("tick " + std::to_string(tick));
            std::string name = kind + "-" + std::to_string(tick) + ".png";
            Picture shot;
            ASSERT_EQ(Shot(dir, tick, "800x600", name, &shot, {"--model", model}), 0);
            InkMeasures ink = MeasureInk(shot, mask);
            EXPECT_GE(ink.crisp, crisp) << "see " << dir << "/" << name;
            EXPECT_GE(ink.outline, outline);
            EXPECT_TRUE(ink.band >= 1.5 && ink.band <= 3.0) << ink.band; // about 2 pixels wide
            EXPECT_EQ(ink.stray, 0);                                     // no ink away from it
            if (!sphere)
                continue;
            const double centre[3] = {0, -2, -5};
            ToneFit fit = SphereTone(shot, mask, tick, centre, 5.0);
            EXPECT_GT(fit.samples, 40000) << "the sphere fills its place";
            EXPECT_GE(fit.correlation, 0.88);
            EXPECT_GE(fit.steps, 16);
        }
    }
}

// Data that can't be read is told once in the log and on the console, with
// its reason; no picture, status 1 and the reason last; the run ends in order.
TEST_F(DemoShot, MissingOrDamagedDataIsToldAndTheRunEndsInOrder)
{
    std::string models = RunDir();
    auto once = [](const std::string& text, const std::string& part)
    { return text.find(part) != std::string::npos && text.find(part) == text.rfind(part); };
    WriteText(models + "/triangle.tsm",
              ModelBytes(1).Mesh("t", "Hatching", {0, 0, 0, 1, 0, 0, 0, 1, 0}, {0, 1, 2}).String());
    WriteText(models + "/zeros.tsm", std::string(4096, '\0'));
    WriteText(models + "/empty.tsm", ModelBytes(1).Mesh("e", "Hatching", {}, {}).String());
    const std::string archive = ReadText(Env("TESSIMO_RUN_DIR") + "/data.rar"),
                      none = "No such file or directory", cannot = "tessimo-shot: cannot read ",
                      model = cannot + "the model '" + models,
                      cannotArchive = cannot + "the data archive 'data.rar': ";
    // The archive ("none", "flipped", "cut", "zeros"), --model, last line, reason.
    const std::vector<std::array<std::string, 4>> cases = {
        {"none", "", cannotArchive + none, "no such archive"},
        {"none", "triangle.tsm", cannotArchive + none, "no such archive"},
        {"flipped", "", cannotArchive, "wrong password or damaged data"},
        {"cut", "", cannotArchive + "archive cut short in 'tsm\\avion.tsm'", "archive cut short"},
        {"zeros", "", cannotArchive + "not a RAR 2.0 archive", "not a RAR 2.0 archive"},
        {"", "missing.tsm", model + "/missing.tsm': " + none, ""},
        {"", "zeros.tsm", model + "/zeros.tsm': it holds no mesh", ""},
        {"", ".", model + "/.': Is a directory", ""},
        {"", "empty.tsm", "tessimo-shot: nothing was drawn at tick 5", ""},
    };
    for (const auto& [what, mesh, lastLine, why] : cases)
    {
        SCOPED_TRACE(what + " " + mesh);
        std::string dir = RunDir();
        const size_t half = archive.size() / 2;
        std::string bytes = what == "cut"     ? archive.substr(0, half)
                            : what == "zeros" ? std::string(archive.size(), '\0')
                                              : archive;
        for (size_t i = half; what == "flipped" && i < half + 64; ++i)
            bytes[i] = static_cast<char>(~bytes[i]);
        what == "none" ? (void)unlink((dir + "/data.rar").c_str())
                       : WriteText(dir + "/data.rar", bytes);
        Picture picture;
        int status = Shot(dir, 5, "200x150", "shot.png", &picture,
                          mesh.empty() ? std::vector<std::string>{}
                                       : std::vector<std::string>{"--model", models + "/" + mesh});
        std::vector<std::string> output = Lines(ReadText(dir + "/output.txt"));
        ASSERT_TRUE(status == 1 && !output.empty()) << ReadText(dir + "/output.txt");
        EXPECT_FALSE(std::filesystem::exists(dir + "/shot.png"));
        EXPECT_EQ(output.back().substr(0, lastLine.size()), lastLine);
        std::string log = ReadText(dir + "/tessimo2.log"), console = ReadText(dir + "/console.log");
        EXPECT_NE(log.find("- shutting down at"), std::string::npos) << log;
        if (why.empty())
            continue;
        EXPECT_NE(console.find("shaders have been deleted"), std::string::npos) << console;
        std::vector<std::string> told = {"can't read data archive 'data.rar': " + why};
        if (mesh.empty())
            told.push_back("no mesh read from model 'tsm\\avion.tsm'");
        for (const std::string& text : told)
        {
            EXPECT_TRUE(once(log, "## " + text + " ##\n")) << text << "\n" << log;
            EXPECT_TRUE(once(console, "> " + text + "\n")) << text << "\n" << console;
        }
        EXPECT_TRUE(once(log, "data archive") && once(console, "data archive")) << log << console;
    }
}

// A tick gives the same picture every time, the reference's (scripts/pictures
// --reference; every tone one slice lighter moves it 0.39 a byte). Without the
// needed and the combine extensions the run draws, tells each failure, ends.
TEST_F(DemoShot, ATickGivesTheReferencesLookAndMissingExtensionsAreTold)
{
    std::string dir = RunDir();
    Picture first, again, reference;
    ASSERT_EQ(Shot(dir, 60, "200x150", "a.png", &first), 0) << ReadText(dir + "/output.txt");
    ASSERT_EQ(Shot(dir, 60, "200x150", "b.png", &again), 0);
    EXPECT_TRUE(first.rgb == again.rgb);
    ASSERT_TRUE(ReadPng(Env("TESSIMO_SOURCE_DIR") + "/tests/data/demo_tick60.png", &reference));
    ASSERT_EQ(reference.rgb.size(), first.rgb.size());
    double sum = 0;
    for (size_t i = 0; i < first.rgb.size(); ++i)
        sum += std::abs(int(reference.rgb[i]) - int(first.rgb[i]));
    EXPECT_LT(sum / first.rgb.size(), 0.18) << "see " << dir << "/a.png";
    std::string log = ReadText(dir + "/tessimo2.log"), console = ReadText(dir + "/console.log");
    EXPECT_EQ(log.find("##"), std::string::npos) << log;
    EXPECT_NE(log.find("- shutting down at"), std::string::npos) << log;
    std::string override = "-GL_ARB_texture_env_combine -GL_EXT_texture_env_combine";
    for (const RequiredExtension& r : kRequiredExtensions)
        override += std::string(" -") + r.name;
    dir = RunDir();
    setenv("MESA_EXTENSION_OVERRIDE", override.c_str(), 1);
    Picture picture;
    int status = Shot(dir, 2, "200x150", "shot.png", &picture);
    unsetenv("MESA_EXTENSION_OVERRIDE");
    std::string output = ReadText(dir + "/output.txt");
    ASSERT_EQ(status, 0) << output;
    log = ReadText(dir + "/tessimo2.log");
    std::string expected;
    std::vector<std::string> boxes, shown;
    for (const RequiredExtension& r : kRequiredExtensions)
        expected += r.logText, boxes.push_back("[" + std::string(r.caption) + "] " + r.boxText);
    expected += "## no 3d textures: the art map is not built ##\n"
                "## shader 'Hatching' has no working vertex program ##\n";
    size_t from = log.find(" hz  ok!\n"), to = log.find("- tessimo has drawn ");
    ASSERT_TRUE(from != std::string::npos && to != std::string::npos) << log;
    EXPECT_EQ(log.substr(from + 9, to - from - 9), expected);
    EXPECT_NE(log.find("- shutting down at", to), std::string::npos) << log;
    // The probes' boxes in order, then one for every stage applied.
    for (const std::string& line : Lines(output))
        if (!line.empty() && line[0] == '[')
            shown.push_back(line);
    ASSERT_GT(shown.size(), boxes.size()) << output;
    EXPECT_EQ(std::vector<std::string>(shown.begin(), shown.begin() + boxes.size()), boxes);
    for (size_t i = boxes.size(); i < shown.size(); ++i)
        EXPECT_EQ(shown[i], "[Buy a real 3d card] For now, only 3d card with the extension "
                            "GL_arb_texture_env_combine or GL_ext_texture_env_combine can use "
                            "this program!");
    console = ReadText(dir + "/console.log");
    EXPECT_NE(console.find("vertex program have been deleted"), std::string::npos) << console;
    EXPECT_NE(console.find("> no 3d textures: the art map is not built"), std::string::npos);
    EXPECT_EQ(picture.MeanLevel(0, 0, 200, 4), 255.0);
    EXPECT_LT(picture.MeanLevel(50, 40, 150, 110), 235.0) << "see " << dir << "/shot.png";
}

} // namespace
