// The hatching on the CPU: the drawing operations of procedural textures,
// the stroke rules where a fault would hide, the generator's determinism,
// the two forms of the generation, the slices of the volume, and the
// digests of tessimo-tam against the library's own bytes.
#include <gtest/gtest.h>
#include <png.h>

#include <GL/gl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "hatching/procedural_texture.h"
#include "hatching/tonal_art_map.h"
#include "support/files.h"
#include "tools/tessimo-tam/sha256.h"

namespace
{

// A white layer of the given size with its full chain, and no GL name.
template <typename Layer> struct WhiteLayer : Layer
{
    explicit WhiteLayer(uint32_t size, uint32_t levels = 0)
    {
        this->Allocate(size, size, 24, levels ? levels : FullChainLength(size), false);
        this->Fill(255, 255, 255, 255);
    }
    ~WhiteLayer() override { this->FreePixels(); }

    bool InkAt(uint32_t x, uint32_t y, uint32_t level = 0) const
    {
        const uint8_t* p = this->levels[level] + (y * (this->width >> level) + x) * 3;
        return !(p[0] == 255 && p[1] == 255 && p[2] == 255);
    }
    // The inked pixels of a level as (x, y) pairs.
    std::set<std::pair<uint32_t, uint32_t>> Ink(uint32_t level = 0) const
    {
        std::set<std::pair<uint32_t, uint32_t>> ink;
        for (uint32_t y = 0; y < (this->height >> level); ++y)
            for (uint32_t x = 0; x < (this->width >> level); ++x)
                if (InkAt(x, y, level))
                    ink.insert({x, y});
        return ink;
    }
};

using Pixels = std::set<std::pair<uint32_t, uint32_t>>;

TEST(ProceduralTexture, PixelsWrapAndLinesFollowBresenham)
{
    WhiteLayer<ProceduralTexture> t(16);
    t.PutPixel(16, 3, 0, 0, 0, 0, 0);                        // x = width lands at 0
    t.PutPixel(5, static_cast<uint32_t>(-1), 0, 0, 0, 0, 0); // y = -1 on the last row
    EXPECT_EQ(t.Ink(), (Pixels{{0, 3}, {5, 15}}));

    WhiteLayer<ProceduralTexture> line(16);
    line.DrawLine(4, 4, 4, 4, 0, 0, 0, 0, 0);
    EXPECT_EQ(line.Ink(), (Pixels{{4, 4}}));
    WhiteLayer<ProceduralTexture> diagonal(16);
    diagonal.DrawLine(3, 3, 0, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(diagonal.Ink(), (Pixels{{0, 0}, {1, 1}, {2, 2}, {3, 3}}));
    WhiteLayer<ProceduralTexture> steep(16);
    steep.DrawLine(0, 0, 1, 4, 0, 0, 0, 0, 0);
    EXPECT_EQ(steep.Ink(), (Pixels{{0, 0}, {0, 1}, {1, 2}, {1, 3}, {1, 4}}));
    // A line on a coarser level wraps within that level.
    WhiteLayer<ProceduralTexture> coarse(16);
    coarse.DrawLine(6, 1, 9, 1, 0, 0, 0, 0, 1);
    EXPECT_EQ(coarse.Ink(1), (Pixels{{6, 1}, {7, 1}, {0, 1}, {1, 1}}));
}

TEST(ProceduralTexture, FillGrayscaleCopyAndTheFilterChoice)
{
    ProceduralTexture full;
    full.Allocate(256, 256, 24, 9, false);
    EXPECT_EQ(full.minFilter, static_cast<uint32_t>(GL_LINEAR_MIPMAP_LINEAR));
    EXPECT_EQ(full.levelCount, 9u);
    ProceduralTexture partial;
    partial.Allocate(256, 256, 24, 8, false);
    EXPECT_EQ(partial.minFilter, static_cast<uint32_t>(GL_LINEAR));
    ProceduralTexture automatic;
    automatic.Allocate(256, 256, 32, 1, true);
    EXPECT_EQ(automatic.minFilter, static_cast<uint32_t>(GL_LINEAR));
    EXPECT_EQ(automatic.levelCount, 1u);

    // At 24 bits the alpha argument changes nothing and a pixel is 3 bytes.
    full.Fill(255, 255, 255, 7);
    full.PutPixel(1, 0, 10, 20, 30, 40, 0);
    EXPECT_EQ(full.levels[0][3], 10);
    EXPECT_EQ(full.levels[0][5], 30);
    EXPECT_EQ(full.levels[0][6], 255);
    // White turns 254: the single-precision weights sum to just below 1.
    full.GrayscaleLevel(0);
    EXPECT_EQ(full.levels[0][0], 254);
    EXPECT_EQ(full.levels[0][3],
              static_cast<uint8_t>(30 * (double)0.11f + 20 * (double)0.59f + 10 * (double)0.3f));
    partial.CopyFrom(full);
    EXPECT_EQ(memcmp(partial.levels[0], full.levels[0], full.LevelBytes(0)), 0);
    EXPECT_EQ(memcmp(partial.levels[7], full.levels[7], full.LevelBytes(7)), 0);

    // With autoMipmap every write goes to level 0; the mask is the level's.
    automatic.Fill(0, 0, 0, 0);
    automatic.PutPixel(130, 1, 1, 2, 3, 4, 1);
    EXPECT_EQ(automatic.levels[0][(1 * 256 + 2) * 4 + 3], 4);
    full.FreePixels();
    partial.FreePixels();
    automatic.FreePixels();
    EXPECT_EQ(full.levels, nullptr);
    EXPECT_EQ(full.levelCount, 9u);
}

TEST(HatchLayer, WidthProfileComparesExactFractions)
{
    // A shallow stroke of 21 steps: t = i / 20 hits the bounds exactly.
    WhiteLayer<HatchLayer> layer(64);
    layer.DrawStroke(0, 10, 21, 10, 0, 0, 0, 255, 0);
    auto column = [&](uint32_t x)
    {
        std::vector<uint32_t> rows;
        for (uint32_t y = 0; y < 64; ++y)
            if (layer.InkAt(x, y))
                rows.push_back(y);
        return rows;
    };
    using Rows = std::vector<uint32_t>;
    EXPECT_EQ(column(0), (Rows{10}));         // the first pixel: width 1
    EXPECT_EQ(column(1), (Rows{10}));         // i 0, t 0
    EXPECT_EQ(column(5), (Rows{10}));         // i 4, t 0.2
    EXPECT_EQ(column(6), (Rows{10, 11}));     // i 5, t 0.25
    EXPECT_EQ(column(11), (Rows{9, 10, 11})); // i 10, t 0.5
    EXPECT_EQ(column(16), (Rows{10, 11}));    // i 15, t 0.75
    EXPECT_EQ(column(18), (Rows{10, 11}));    // i 17, t 0.85
    EXPECT_EQ(column(19), (Rows{10}));        // i 18, t 0.9 exactly
    EXPECT_EQ(column(20), Rows{});            // i 19, t 0.95 exactly: nothing
    EXPECT_EQ(column(21), Rows{});

    // Steep: the brush spreads along x, and width 2 takes the diagonal.
    WhiteLayer<HatchLayer> steep(64);
    steep.DrawStroke(20, 0, 20, 21, 0, 0, 0, 255, 0);
    auto row = [&](uint32_t y)
    {
        std::vector<uint32_t> xs;
        for (uint32_t x = 0; x < 64; ++x)
            if (steep.InkAt(x, y))
                xs.push_back(x);
        return xs;
    };
    EXPECT_EQ(row(6), (Rows{20}));          // i 5, width 2: (x, y) ...
    EXPECT_EQ(row(7), (Rows{20, 21}));      // ... and (x+1, y+1) below it
    EXPECT_EQ(row(11), (Rows{19, 20, 21})); // i 10, width 3

    // A one-step stroke is its first pixel alone.
    WhiteLayer<HatchLayer> one(64);
    one.DrawStroke(5, 5, 6, 5, 0, 0, 0, 255, 0);
    EXPECT_EQ(one.Ink(), (Pixels{{5, 5}}));
    // Ends that coincide at a coarse level plot one pixel.
    WhiteLayer<HatchLayer> coarse(64);
    coarse.DrawStroke(40 >> 5, 8 >> 5, 41 >> 5, 9 >> 5, 0, 0, 0, 255, 5);
    EXPECT_EQ(coarse.Ink(5), (Pixels{{1, 0}}));
}

TEST(HatchLayer, BrushShapesAreTheSameTrackedOrNot)
{
    for (bool tracked : {false, true})
    {
        auto brush = [&](uint32_t x, uint32_t y, uint32_t w, bool acrossY)
        {
            WhiteLayer<HatchLayer> layer(16);
            layer.TrackInk(tracked);
            layer.PlotBrush(x, y, 0, 0, 0, 255, 0, w, acrossY);
            return layer.Ink();
        };
        EXPECT_EQ(brush(5, 5, 1, true), (Pixels{{5, 5}})) << tracked;
        EXPECT_EQ(brush(5, 5, 2, true), (Pixels{{5, 5}, {5, 6}})) << tracked;
        EXPECT_EQ(brush(5, 5, 3, true), (Pixels{{5, 4}, {5, 5}, {5, 6}})) << tracked;
        EXPECT_EQ(brush(5, 5, 2, false), (Pixels{{5, 5}, {6, 6}})) << tracked;
        EXPECT_EQ(brush(5, 5, 3, false), (Pixels{{4, 5}, {5, 5}, {6, 5}})) << tracked;
        EXPECT_EQ(brush(0, 15, 3, false), (Pixels{{15, 15}, {0, 15}, {1, 15}})) << tracked;
        EXPECT_EQ(brush(15, 15, 2, false), (Pixels{{15, 15}, {0, 0}})) << tracked;
        EXPECT_EQ(brush(5, 5, 0, true), Pixels{}) << tracked;
        EXPECT_EQ(brush(5, 5, 4, false), Pixels{}) << tracked;
    }

    // Whole strokes at every level, in every direction and across the
    // edges: the tracked path lays the same pixels and counts the same ink.
    WhiteLayer<HatchLayer> plain(32), tracked(32);
    tracked.TrackInk(true);
    const uint32_t strokes[][4] = {{3, 4, 40, 6},  {30, 1, 2, 29}, {5, 30, 9, 2},  {7, 7, 8, 8},
                                   {20, 3, 20, 3}, {0, 31, 31, 0}, {12, 0, 60, 9}, {1, 2, 3, 50}};
    for (uint32_t level = 0; level < 6; ++level)
        for (const auto& k : strokes)
        {
            plain.DrawStroke(k[0] >> level, k[1] >> level, k[2] >> level, k[3] >> level, 0, 0, 0,
                             255, level);
            tracked.DrawStroke(k[0] >> level, k[1] >> level, k[2] >> level, k[3] >> level, 0, 0, 0,
                               255, level);
        }
    for (uint32_t level = 0; level < 6; ++level)
    {
        EXPECT_EQ(plain.Ink(level), tracked.Ink(level)) << "level " << level;
        EXPECT_EQ(plain.MeasureTone(level), tracked.MeasureTone(level));
    }
}

TEST(HatchLayer, StrokesWrapAtTheEdgesAndEndsClampAtZero)
{
    WhiteLayer<HatchLayer> layer(32);
    layer.DrawStroke(28, 31, 36, 31, 0, 0, 0, 255, 0);
    Pixels ink = layer.Ink();
    EXPECT_TRUE(ink.count({28, 31}));
    EXPECT_TRUE(ink.count({2, 31})); // past the right edge, in at the left
    EXPECT_TRUE(ink.count({2, 0}));  // the brush below the last row: the first
    for (auto [x, y] : ink)
        EXPECT_TRUE((x >= 28 || x <= 3) && (y == 31 || y == 0 || y == 30)) << x << "," << y;

    // The start plus the drift, truncated: not the start plus a truncated drift.
    EXPECT_EQ(StrokeEndCoordinate(10, -2.5), 7u);
    EXPECT_EQ(StrokeEndCoordinate(10, 2.5), 12u);
    EXPECT_EQ(StrokeEndCoordinate(3, -2.5), 0u);
    EXPECT_EQ(StrokeEndCoordinate(3, -3.0), 0u);
    EXPECT_EQ(StrokeEndCoordinate(3, -3.5), 0u); // clamped, never wrapped
    EXPECT_EQ(StrokeEndCoordinate(0, -0.2), 0u);
}

TEST(HatchLayer, MeasureToneCountsAnyInkAsFull)
{
    WhiteLayer<HatchLayer> layer(16);
    layer.PutPixel(0, 0, 254, 255, 255, 255, 0); // a grey pixel counts in full
    layer.PutPixel(1, 0, 0, 0, 0, 255, 0);
    EXPECT_FLOAT_EQ(layer.MeasureTone(0), 2.0f / 256);
    EXPECT_FLOAT_EQ(layer.MeasureTone(4), 0.0f);
}

// Records every stroke the layer draws: candidates and the winners.
struct StrokeLog : WhiteLayer<HatchLayer>
{
    using WhiteLayer<HatchLayer>::WhiteLayer;
    void DrawStroke(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint8_t c0, uint8_t c1,
                    uint8_t c2, uint8_t c3, uint32_t level) override
    {
        strokes.push_back({x1, y1, x2, y2, level});
        HatchLayer::DrawStroke(x1, y1, x2, y2, c0, c1, c2, c3, level);
    }
    struct Stroke
    {
        uint32_t x1, y1, x2, y2, level;
        bool Vertical() const
        {
            auto d = [](uint32_t a, uint32_t b) { return a > b ? a - b : b - a; };
            return d(x1, x2) < d(y1, y2);
        }
    };
    std::vector<Stroke> strokes;
};

TEST(HatchLayer, OnePassPlacesTheWinnerInEveryActiveLevel)
{
    // A target of 0 on white paper: exactly one stroke, in every level.
    ResetStrokeRandom();
    StrokeLog layer(64);
    layer.Generate(0.0f, 0.5f, 4);
    EXPECT_EQ(HatchLayer::strokesPlaced, 1u);
    ASSERT_EQ(layer.strokes.size(), 4u + 7u);
    for (uint32_t i = 0; i < 4; ++i)
        EXPECT_EQ(layer.strokes[i].level, 6u); // candidates on the 1 x 1 level
    for (uint32_t i = 0; i < 7; ++i)
    {
        EXPECT_EQ(layer.strokes[4 + i].level, i);
        EXPECT_GT(layer.MeasureTone(i), 0.0f);
    }
    // Every candidate measures 1.0 on the 1 x 1 level, so the first wins.
    EXPECT_EQ(layer.strokes[4].x1 >> 6, layer.strokes[0].x1);
    EXPECT_EQ(layer.strokes[10].x1, layer.strokes[0].x1);
    EXPECT_EQ(layer.strokes[10].y1, layer.strokes[0].y1);

    // A target already met still places one stroke, in all levels.
    layer.strokes.clear();
    layer.Generate(0.0f, 0.5f, 4);
    EXPECT_EQ(HatchLayer::strokesPlaced, 2u);
    EXPECT_EQ(layer.strokes.size(), 4u + 7u);
}

TEST(HatchLayer, LevelsRetireCoarsestFirstAndCandidatesRunThere)
{
    ResetStrokeRandom();
    StrokeLog layer(64);
    layer.Generate(0.3f, 0.5f, 3);
    // Every level reached its tone.
    for (uint32_t level = 0; level < 7; ++level)
        EXPECT_GE(layer.MeasureTone(level), 0.3f) << "level " << level;
    // Candidates run on the coarsest active level, which never gets coarser
    // again, and the winners go into it and every finer level.
    uint32_t coarsest = 6;
    for (size_t k = 0; k < layer.strokes.size();)
    {
        uint32_t level = layer.strokes[k].level;
        EXPECT_LE(level, coarsest);
        coarsest = level;
        for (uint32_t c = 0; c < 3; ++c, ++k)
            EXPECT_EQ(layer.strokes[k].level, level);
        for (uint32_t i = 0; i <= level; ++i, ++k)
            ASSERT_EQ(layer.strokes[k].level, i);
    }
    EXPECT_EQ(coarsest, 0u);

    // The next, darker Generate starts again on the 1 x 1 level, which is
    // already all ink: every candidate measures 1.0 there, the first one
    // wins, and the level retires after that one stroke.
    layer.strokes.clear();
    layer.Generate(0.6f, 0.5f, 3);
    ASSERT_GT(layer.strokes.size(), 3u + 7u + 3u);
    for (uint32_t c = 0; c < 3; ++c)
        EXPECT_EQ(layer.strokes[c].level, 6u);
    const auto& first = layer.strokes[0];
    const auto& winner = layer.strokes[3]; // drawn into level 0 first
    EXPECT_EQ(winner.level, 0u);
    EXPECT_EQ(std::make_tuple(winner.x1 >> 6, winner.y1 >> 6, winner.x2 >> 6, winner.y2 >> 6),
              std::make_tuple(first.x1, first.y1, first.x2, first.y2));
    EXPECT_LT(layer.strokes[3 + 7].level, 6u);
}

TEST(HatchLayer, DirectionAlternatesFromTheCrossThreshold)
{
    ResetStrokeRandom();
    StrokeLog light(64);
    light.Generate(0.3f, 0.5f, 2);
    for (const auto& s : light.strokes)
        EXPECT_FALSE(s.Vertical());

    // From the threshold on: vertical first, then horizontal, per placed
    // stroke (the candidates of one pass share their direction).
    StrokeLog dark(64);
    dark.Generate(0.5f, 0.5f, 2);
    bool vertical = true;
    size_t passes = 0;
    for (size_t k = 0; k < dark.strokes.size(); ++passes)
    {
        uint32_t level = dark.strokes[k].level;
        for (uint32_t c = 0; c < 2 + level + 1; ++c, ++k)
        {
            const auto& s = dark.strokes[k];
            bool longEnough = (s.x1 != s.x2) || (s.y1 != s.y2);
            if (longEnough && s.level == 0)
            {
                EXPECT_EQ(s.Vertical(), vertical) << "pass " << passes;
            }
        }
        vertical = !vertical;
    }
    EXPECT_GT(passes, 2u);
}

std::string Digest(const VolumeBlock& block)
{
    Sha256 sha;
    sha.Update(block.data(), block.size());
    return sha.HexDigest();
}

TEST(TonalArtMap, BothFormsAndEveryRunGiveTheSameVolume)
{
    for (auto [size, layers, candidates] :
         {std::tuple<uint32_t, uint32_t, uint32_t>{64, 16, 5}, {32, 8, 1}, {16, 5, 3}})
    {
        ArtMapVolume quick, again, reference;
        GenerateArtMapVolume(size, layers, candidates, 0, ArtMapForm::Quick, &quick);
        GenerateArtMapVolume(size, layers, candidates, 0, ArtMapForm::Quick, &again);
        GenerateArtMapVolume(size, layers, candidates, 0, ArtMapForm::Reference, &reference);
        EXPECT_TRUE(quick.blocks == again.blocks) << size << "/" << layers;
        EXPECT_TRUE(quick.blocks == reference.blocks) << size << "/" << layers;
        EXPECT_EQ(quick.strokes, reference.strokes);
        EXPECT_GT(quick.strokes, layers);
    }
}

// The demo's volume, Build(256, 128, 5, 0), has the digest that a generator
// written apart from this code (bench/tam_peer.c) gives too: a fault that
// both forms of the generation share, in the stroke generator or a stroke
// rule, changes it where comparing the forms cannot see it.
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

struct Tones
{
    std::vector<std::vector<VolumeBlock>> levels; // [tone][level]
};

void KeepTone(uint32_t tone, const PixelCanvas& layer, void* user)
{
    auto* t = static_cast<Tones*>(user);
    for (uint32_t m = 0; m < layer.levelCount; ++m)
        t->levels[tone].emplace_back(layer.levels[m], layer.levels[m] + layer.LevelBytes(m));
}

TEST(TonalArtMap, EachLevelTakesEveryNthToneAndTheLightestLast)
{
    Tones tones;
    tones.levels.resize(16);
    ArtMapVolume v;
    GenerateArtMapVolume(64, 16, 3, 0, ArtMapForm::Quick, &v, KeepTone, &tones);
    ASSERT_EQ(v.levelCount, 7u);
    EXPECT_EQ(v.slices, (std::vector<uint32_t>{16, 8, 4, 2, 1, 1, 1}));
    for (uint32_t m = 0; m < v.levelCount; ++m)
    {
        size_t bytes = tones.levels[0][m].size();
        ASSERT_EQ(v.blocks[m].size(), bytes * v.slices[m]);
        for (uint32_t j = 0; j < v.slices[m]; ++j)
        {
            uint32_t tone = j + 1 == v.slices[m] ? 15 : j << m;
            EXPECT_EQ(memcmp(v.blocks[m].data() + j * bytes, tones.levels[tone][m].data(), bytes),
                      0)
                << "level " << m << " slice " << j;
        }
    }
    // Darker tones hold all the ink of the lighter ones, and from the
    // middle tone on the strokes cross.
    for (uint32_t t = 0; t + 1 < 16; ++t)
        for (size_t i = 0; i < tones.levels[t][0].size(); i += 3)
            if (tones.levels[t + 1][0][i] != 255)
            {
                ASSERT_NE(tones.levels[t][0][i], 255) << "tone " << t;
            }
    // The lightest tone, with a target of 0, holds exactly one stroke.
    size_t lightInk = 0;
    for (size_t i = 0; i < tones.levels[15][0].size(); i += 3)
        lightInk += tones.levels[15][0][i] != 255;
    EXPECT_GT(lightInk, 0u);
    EXPECT_LT(lightInk, 3u * 64);
}

TEST(TonalArtMap, BlankLayersGiveWhitePaperAndLeaveTheGeneratorAlone)
{
    ArtMapVolume blank;
    GenerateArtMapVolume(32, 8, 5, 1, ArtMapForm::Quick, &blank);
    EXPECT_EQ(blank.strokes, 0u);
    for (const auto& block : blank.blocks)
        for (uint8_t b : block)
            ASSERT_EQ(b, 255);

    // A hatch layer after blank ones draws what it draws after a reset.
    ResetStrokeRandom();
    WhiteLayer<HatchLayer> first(32);
    first.Generate(0.2f, 0.5f, 2);
    ResetStrokeRandom();
    WhiteLayer<BlankLayer> b(32);
    b.Generate(0.2f, 0.5f, 2);
    WhiteLayer<HatchLayer> second(32);
    second.Generate(0.2f, 0.5f, 2);
    EXPECT_EQ(memcmp(first.levels[0], second.levels[0], first.LevelBytes(0)), 0);
}

TEST(TamTool, DigestsAreThoseOfTheLibrarysBytes)
{
    EXPECT_EQ(
        []
        {
            Sha256 s;
            s.Update(reinterpret_cast<const uint8_t*>("abc"), 3);
            return s.HexDigest();
        }(),
        "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");

    ArtMapVolume v;
    GenerateArtMapVolume(64, 16, 5, 0, ArtMapForm::Quick, &v);
    std::string expected;
    Sha256 all;
    char line[160];
    for (uint32_t m = 0; m < v.levelCount; ++m)
    {
        all.Update(v.blocks[m].data(), v.blocks[m].size());
        snprintf(line, sizeof line, "level %u side %u slices %u sha256 %s\n", m, 64u >> m,
                 v.slices[m], Digest(v.blocks[m]).c_str());
        expected += line;
    }
    expected += "volume sha256 " + all.HexDigest() + "\n";
    expected += "strokes " + std::to_string(v.strokes) + "\n";

    const char* binaryDir = getenv("TESSIMO_BINARY_DIR");
    ASSERT_NE(binaryDir, nullptr) << "run through ctest, which names the build folder";
    std::string tool = std::string(binaryDir) + "/tools/tessimo-tam/tessimo-tam";
    for (const char* form : {"", " --reference"})
    {
        FILE* p = popen((tool + " --size 64 --layers 16 --digest" + form).c_str(), "r");
        ASSERT_NE(p, nullptr);
        std::string out;
        char buf[256];
        while (fgets(buf, sizeof buf, p))
            out += buf;
        EXPECT_EQ(pclose(p), 0);
        EXPECT_EQ(out, expected) << form;
    }
    EXPECT_NE(system((tool + " --size 48 --digest 2>/dev/null").c_str()), 0); // not a power of two
}

} // namespace

namespace
{

// An 8-bit RGB picture read back with libpng; empty when it isn't one.
struct Picture
{
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> rgb;
};

Picture ReadPng(const std::string& path)
{
    Picture p;
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        return p;
    image.format = PNG_FORMAT_RGB;
    p.rgb.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, p.rgb.data(), 0, nullptr))
        return Picture();
    p.width = image.width;
    p.height = image.height;
    return p;
}

void CollectLayer(uint32_t tone, const PixelCanvas& layer, void* user)
{
    auto* layers = static_cast<std::vector<std::vector<std::vector<uint8_t>>>*>(user);
    for (uint32_t m = 0; m < layer.levelCount; ++m)
        (*layers)[tone].emplace_back(layer.levels[m], layer.levels[m] + layer.LevelBytes(m));
}

} // namespace

// The pictures show the generated layers as they are: every tone of level 0,
// the contact sheet from the lightest tone (the last) to the darkest, and each
// level of the chosen tone.
TEST(TamTool, PicturesShowTheGeneratedLayers)
{
    constexpr uint32_t kSize = 32, kLayers = 20, kTone = 7;
    std::vector<std::vector<std::vector<uint8_t>>> layers(kLayers);
    ArtMapVolume v;
    GenerateArtMapVolume(kSize, kLayers, 5, 0, ArtMapForm::Quick, &v, CollectLayer, &layers);

    testsupport::TempDir temp;
    std::string dir = temp.path;
    ASSERT_FALSE(dir.empty());
    std::string tool = std::string(getenv("TESSIMO_BINARY_DIR")) + "/tools/tessimo-tam/tessimo-tam";
    ASSERT_EQ(system((tool + " --size 32 --layers 20 --tone 7 --png " + dir).c_str()), 0);

    char name[64];
    for (uint32_t t = 0; t < kLayers; ++t)
    {
        snprintf(name, sizeof name, "/tone_%03u.png", t);
        Picture p = ReadPng(dir + name);
        EXPECT_EQ(p.width, kSize);
        EXPECT_EQ(p.rgb, layers[t][0]) << name;
    }
    for (uint32_t m = 0; m < layers[kTone].size(); ++m)
    {
        snprintf(name, sizeof name, "/tone_%03u_level_%u.png", kTone, m);
        Picture p = ReadPng(dir + name);
        EXPECT_EQ(p.width, kSize >> m);
        EXPECT_EQ(p.rgb, layers[kTone][m]) << name;
    }
    // 16 tiles a row: the second row holds the four darkest tones, then paper.
    Picture sheet = ReadPng(dir + "/contact_sheet.png");
    ASSERT_EQ(sheet.width, 16 * kSize);
    ASSERT_EQ(sheet.height, 2 * kSize);
    for (uint32_t k : {0u, 15u, 16u, 19u, 20u})
        for (uint32_t y = 0; y < kSize; ++y)
        {
            const uint8_t* row =
                &sheet.rgb[((k / 16 * kSize + y) * sheet.width + k % 16 * kSize) * 3];
            std::vector<uint8_t> want(kSize * 3, 255);
            if (k < kLayers)
                want.assign(&layers[kLayers - 1 - k][0][y * kSize * 3],
                            &layers[kLayers - 1 - k][0][(y + 1) * kSize * 3]);
            ASSERT_EQ(std::vector<uint8_t>(row, row + kSize * 3), want) << k << " " << y;
        }
}
