// The art map on the CPU: the canvas's drawing operations, the stroke end
// rule, the demo's volume against a digest found apart from this code, the
// two forms of the generation, the slices of each level, and tessimo-tam's
// digests and pictures against the library's own bytes.
#include <gtest/gtest.h>
#include <png.h>

#include <cstring>
#include <set>
#include <tuple>

#include "support/files.h"
#include "tam/art_map_generation.h"
#include "tools/tessimo-tam/sha256.h"

namespace
{

using Pixels = std::set<std::pair<uint32_t, uint32_t>>;

// A white 24-bit layer of the given size with its full chain.
struct WhiteLayer : HatchLayer
{
    explicit WhiteLayer(uint32_t size)
    {
        Allocate(size, size, 24, FullChainLength(size), false);
        Fill(255, 255, 255, 255);
    }
    ~WhiteLayer() override { FreePixels(); }
    Pixels Ink(uint32_t level = 0) const
    {
        Pixels ink;
        for (uint32_t y = 0; y < (height >> level); ++y)
            for (uint32_t x = 0; x < (width >> level); ++x)
                if (memcmp(levels[level] + (y * (width >> level) + x) * 3, "\xFF\xFF\xFF", 3))
                    ink.insert({x, y});
        return ink;
    }
};

TEST(PixelCanvas, PixelsWrapLinesFollowBresenhamAndGreyIsWeighted)
{
    WhiteLayer t(16);
    t.PutPixel(16, 3, 0, 0, 0, 0, 0);                        // x = width lands at 0
    t.PutPixel(5, static_cast<uint32_t>(-1), 0, 0, 0, 0, 0); // y = -1 on the last row
    t.DrawLine(9, 9, 9, 9, 0, 0, 0, 0, 0);
    t.DrawLine(3, 3, 0, 0, 0, 0, 0, 0, 0);
    t.DrawLine(10, 0, 11, 4, 0, 0, 0, 0, 0);
    t.DrawLine(6, 1, 9, 1, 0, 0, 0, 0, 1); // wraps within level 1
    EXPECT_EQ(t.Ink(), (Pixels{{0, 3},
                               {5, 15},
                               {9, 9},
                               {0, 0},
                               {1, 1},
                               {2, 2},
                               {3, 3},
                               {10, 0},
                               {10, 1},
                               {11, 2},
                               {11, 3},
                               {11, 4}}));
    EXPECT_EQ(t.Ink(1), (Pixels{{6, 1}, {7, 1}, {0, 1}, {1, 1}}));

    // White turns 254: the single-precision weights sum to just below 1.
    t.PutPixel(1, 0, 10, 20, 30, 40, 0);
    t.GrayscaleLevel(0);
    EXPECT_EQ(t.levels[0][6 * 3], 254);
    EXPECT_EQ(t.levels[0][3],
              static_cast<uint8_t>(30 * (double)0.11f + 20 * (double)0.59f + 10 * (double)0.3f));
    // 32 bits with autoMipmap: every write goes to level 0, masked by the level's size.
    PixelCanvas automatic;
    automatic.Allocate(256, 256, 32, 1, true);
    automatic.Fill(0, 0, 0, 0);
    automatic.PutPixel(130, 1, 1, 2, 3, 4, 1);
    EXPECT_EQ(automatic.levels[0][(1 * 256 + 2) * 4 + 3], 4);
    WhiteLayer copy(16);
    copy.CopyFrom(t);
    for (uint32_t m = 0; m < 5; ++m)
        EXPECT_EQ(memcmp(copy.levels[m], t.levels[m], t.LevelBytes(m)), 0) << m;
    automatic.FreePixels();
    EXPECT_EQ(automatic.levels, nullptr);
}

// The start plus the drift, truncated, and clamped at zero, never wrapped.
TEST(HatchLayer, StrokeEndsAndTheBrushAcrossTheEdges)
{
    const std::tuple<uint32_t, double, uint32_t> ends[] = {
        {10, -2.5, 7}, {10, 2.5, 12}, {3, -2.5, 0}, {3, -3.0, 0}, {3, -3.5, 0}, {0, -0.2, 0}};
    for (auto [start, drift, end] : ends)
        EXPECT_EQ(StrokeEndCoordinate(start, drift), end) << start << " " << drift;
    WhiteLayer layer(32);
    layer.DrawStroke(28, 31, 36, 31, 0, 0, 0, 255, 0);
    Pixels ink = layer.Ink();
    EXPECT_TRUE(ink.count({28, 31}) && ink.count({2, 31}) && ink.count({2, 0}));
    for (auto [x, y] : ink)
        EXPECT_TRUE((x >= 28 || x <= 3) && (y == 31 || y == 0 || y == 30)) << x << "," << y;
    WhiteLayer brush(16);
    brush.PlotBrush(15, 15, 0, 0, 0, 255, 0, 2, false);
    brush.PlotBrush(0, 8, 0, 0, 0, 255, 0, 3, false);
    brush.PlotBrush(5, 5, 0, 0, 0, 255, 0, 3, true);
    EXPECT_EQ(brush.Ink(),
              (Pixels{{15, 15}, {0, 0}, {15, 8}, {0, 8}, {1, 8}, {5, 4}, {5, 5}, {5, 6}}));
    EXPECT_FLOAT_EQ(brush.MeasureTone(0), 8.0f / 256);
}

// Build(256, 128, 5, 0), the demo's volume, has the digest that a generator
// written apart from this code (bench/tam_peer.c) gives too: a fault that
// both forms of the generation share changes it where comparing the forms
// cannot see it.
TEST(TonalArtMap, TheDemosVolumeHasItsKnownDigest)
{
    ArtMapStack stack;
    GenerateArtMapStack(256, 128, 5, 0, &stack);
    Sha256 all;
    std::vector<uint8_t> block(stack.LevelBytes(0));
    for (uint32_t m = 0; m < stack.levelCount; ++m)
    {
        stack.WriteLevel(m, block.data());
        all.Update(block.data(), stack.LevelBytes(m));
    }
    EXPECT_EQ(all.HexDigest(), "146e4769d6ef974b01d2cb9b394ddd44fe9822b934f55f79d490b40c5c00e9ae");
    EXPECT_EQ(stack.strokes, 673u);
}

using Tones = std::vector<std::vector<std::vector<uint8_t>>>; // [tone][level]
void KeepTone(uint32_t tone, const PixelCanvas& layer, void* user)
{
    auto& tones = *static_cast<Tones*>(user);
    for (uint32_t m = 0; m < layer.levelCount; ++m)
        tones[tone].emplace_back(layer.levels[m], layer.levels[m] + layer.LevelBytes(m));
}

// Both forms and every run give the same volume; each level takes every
// 2^m-th tone and the lightest last; darker tones hold the ink of the
// lighter ones; the lightest (a target of 0) holds exactly one stroke.
TEST(TonalArtMap, BothFormsGiveTheSameSlicesOfTheTones)
{
    for (auto [size, layers, candidates] :
         {std::tuple<uint32_t, uint32_t, uint32_t>{64, 16, 5}, {32, 8, 1}, {16, 5, 3}})
    {
        Tones tones(layers);
        ArtMapVolume quick, again, reference;
        GenerateArtMapVolume(size, layers, candidates, 0, ArtMapForm::Quick, &quick, KeepTone,
                             &tones);
        GenerateArtMapVolume(size, layers, candidates, 0, ArtMapForm::Quick, &again);
        GenerateArtMapVolume(size, layers, candidates, 0, ArtMapForm::Reference, &reference);
        SCOPED_TRACE(::testing::Message() << size << "/" << layers << "/" << candidates);
        EXPECT_TRUE(quick.blocks == again.blocks && quick.blocks == reference.blocks);
        EXPECT_EQ(quick.strokes, reference.strokes);
        EXPECT_GT(quick.strokes, layers);
        ASSERT_EQ(quick.levelCount, FullChainLength(size));
        for (uint32_t m = 0; m < quick.levelCount && !(layers & (layers - 1)); ++m)
        {
            EXPECT_EQ(quick.slices[m], std::max(1u, layers >> m));
            size_t bytes = tones[0][m].size();
            ASSERT_EQ(quick.blocks[m].size(), bytes * quick.slices[m]);
            for (uint32_t j = 0; j < quick.slices[m]; ++j)
            {
                uint32_t tone = j + 1 == quick.slices[m] ? layers - 1 : j << m;
                EXPECT_EQ(std::vector<uint8_t>(quick.blocks[m].begin() + j * bytes,
                                               quick.blocks[m].begin() + (j + 1) * bytes),
                          tones[tone][m])
                    << "level " << m << " slice " << j;
            }
        }
        for (uint32_t t = 0; t + 1 < layers; ++t)
            for (size_t i = 0; i < tones[t][0].size(); ++i)
                ASSERT_TRUE(tones[t + 1][0][i] == 255 || tones[t][0][i] != 255) << "tone " << t;
        size_t lightInk = 0;
        for (uint8_t b : tones[layers - 1][0])
            lightInk += b != 255;
        EXPECT_GT(lightInk, 0u);
        EXPECT_LT(lightInk, 3u * 3 * size);
    }
}

TEST(TonalArtMap, BlankLayersGiveWhitePaperAndLeaveTheGeneratorAlone)
{
    ArtMapVolume blank;
    GenerateArtMapVolume(32, 8, 5, 1, ArtMapForm::Quick, &blank);
    EXPECT_EQ(blank.strokes, 0u);
    for (const auto& block : blank.blocks)
        ASSERT_EQ(block, VolumeBlock(block.size(), 255));
    // A hatch layer after a blank one draws what it draws after a reset.
    ResetStrokeRandom();
    WhiteLayer first(32), second(32);
    first.Generate(0.2f, 0.5f, 2);
    ResetStrokeRandom();
    BlankLayer b;
    b.Generate(0.2f, 0.5f, 2);
    second.Generate(0.2f, 0.5f, 2);
    EXPECT_EQ(first.Ink(), second.Ink());
}

std::string RunTam(const std::string& arguments, int* status)
{
    std::string tool = std::string(getenv("TESSIMO_BINARY_DIR")) + "/tools/tessimo-tam/tessimo-tam";
    FILE* p = popen((tool + " " + arguments + " 2>/dev/null").c_str(), "r");
    std::string out;
    char buf[256];
    while (p && fgets(buf, sizeof buf, p))
        out += buf;
    *status = p ? pclose(p) : -1;
    return out;
}

TEST(TamTool, DigestsAreThoseOfTheLibrarysBytes)
{
    Sha256 abc;
    abc.Update(reinterpret_cast<const uint8_t*>("abc"), 3);
    EXPECT_EQ(abc.HexDigest(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    ArtMapVolume v;
    GenerateArtMapVolume(64, 16, 5, 0, ArtMapForm::Quick, &v);
    std::string expected;
    Sha256 all;
    char line[160];
    for (uint32_t m = 0; m < v.levelCount; ++m)
    {
        Sha256 level;
        level.Update(v.blocks[m].data(), v.blocks[m].size());
        all.Update(v.blocks[m].data(), v.blocks[m].size());
        snprintf(line, sizeof line, "level %u side %u slices %u sha256 %s\n", m, 64u >> m,
                 v.slices[m], level.HexDigest().c_str());
        expected += line;
    }
    expected +=
        "volume sha256 " + all.HexDigest() + "\nstrokes " + std::to_string(v.strokes) + "\n";
    int status = 0;
    for (const char* form : {"", " --reference"})
    {
        EXPECT_EQ(RunTam(std::string("--size 64 --layers 16 --digest") + form, &status), expected);
        EXPECT_EQ(status, 0) << form;
    }
    RunTam("--size 48 --digest", &status); // not a power of two
    EXPECT_NE(status, 0);
}

// An 8-bit RGB picture read back with libpng; empty when it isn't one.
std::vector<uint8_t> ReadPng(const std::string& path, uint32_t* width, uint32_t* height)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    std::vector<uint8_t> rgb;
    if (png_image_begin_read_from_file(&image, path.c_str()))
    {
        image.format = PNG_FORMAT_RGB;
        rgb.resize(PNG_IMAGE_SIZE(image));
        if (!png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr))
            rgb.clear();
    }
    *width = image.width;
    *height = image.height;
    return rgb;
}

// Every tone of level 0, each level of the chosen tone, and the contact
// sheet from the lightest tone (the last) to the darkest, 16 tiles a row.
TEST(TamTool, PicturesShowTheGeneratedLayers)
{
    constexpr uint32_t kSize = 32, kLayers = 20, kTone = 7;
    Tones tones(kLayers);
    ArtMapVolume v;
    GenerateArtMapVolume(kSize, kLayers, 5, 0, ArtMapForm::Quick, &v, KeepTone, &tones);
    testsupport::TempDir temp;
    int status = 0;
    RunTam("--size 32 --layers 20 --tone 7 --png " + temp.path, &status);
    ASSERT_EQ(status, 0);
    uint32_t w = 0, h = 0;
    char name[64];
    for (uint32_t t = 0; t < kLayers; ++t)
    {
        snprintf(name, sizeof name, "/tone_%03u.png", t);
        EXPECT_EQ(ReadPng(temp.path + name, &w, &h), tones[t][0]) << name;
    }
    for (uint32_t m = 0; m < tones[kTone].size(); ++m)
    {
        snprintf(name, sizeof name, "/tone_%03u_level_%u.png", kTone, m);
        EXPECT_EQ(ReadPng(temp.path + name, &w, &h), tones[kTone][m]) << name;
        EXPECT_EQ(w, kSize >> m);
    }
    std::vector<uint8_t> sheet = ReadPng(temp.path + "/contact_sheet.png", &w, &h);
    ASSERT_EQ(std::make_pair(w, h), std::make_pair(16 * kSize, 2 * kSize));
    for (uint32_t k : {0u, 15u, 16u, 19u, 20u})
        for (uint32_t y = 0; y < kSize; ++y)
        {
            auto row = sheet.begin() + ((k / 16 * kSize + y) * w + k % 16 * kSize) * 3;
            std::vector<uint8_t> want(kSize * 3, 255); // paper behind the last tone
            if (k < kLayers)
                want.assign(&tones[kLayers - 1 - k][0][y * kSize * 3],
                            &tones[kLayers - 1 - k][0][(y + 1) * kSize * 3]);
            ASSERT_EQ(std::vector<uint8_t>(row, row + kSize * 3), want) << k << " " << y;
        }
}

} // namespace
