// The art map on the CPU, and tessimo-tam's digests and pictures.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "support/files.h"
#include "support/picture.h"
#include "support/process.h"
#include "tam/art_map_generation.h"
#include "tools/tessimo-tam/sha256.h"

namespace
{
// Stroke ends are truncated and clamped at zero; the rest is the volume's digest.
TEST(TonalArtMap, StrokeEndsAndTheDemosVolumeHasItsDigest)
{
    EXPECT_EQ((std::vector<uint32_t>{StrokeEndCoordinate(10, -2.5), StrokeEndCoordinate(10, 2.5),
                                     StrokeEndCoordinate(3, -3.0), StrokeEndCoordinate(3, -3.5),
                                     StrokeEndCoordinate(0, -0.2)}),
              (std::vector<uint32_t>{7, 12, 0, 0, 0}));
    // The digest of a generator written apart (bench/tam_peer.c) too.
    ArtMapStack stack;
    GenerateArtMapStack(256, 128, 5, 0, &stack);
    Sha256 all;
    std::vector<uint8_t> block(stack.LevelBytes(0));
    for (uint32_t m = 0; m < stack.levelCount; ++m)
        stack.WriteLevel(m, block.data()), all.Update(block.data(), stack.LevelBytes(m));
    EXPECT_EQ(all.HexDigest(), "146e4769d6ef974b01d2cb9b394ddd44fe9822b934f55f79d490b40c5c00e9ae");
    EXPECT_EQ(stack.strokes, 673u);
}

using Bytes = std::vector<uint8_t>;
using Tones = std::vector<std::vector<Bytes>>; // [tone][level]
void KeepTone(uint32_t tone, const PixelCanvas& layer, void* user)
{
    auto& tones = *static_cast<Tones*>(user);
    for (uint32_t m = 0; m < layer.levelCount; ++m)
        tones[tone].emplace_back(layer.levels[m], layer.levels[m] + layer.LevelBytes(m));
}

// Both forms agree; level m takes every 2^m-th tone and the lightest last.
// tessimo-tam's digests and pictures (every tone, each level of one, the
// contact sheet) are the library's bytes. Blank layers leave the random alone.
TEST(TonalArtMap, BothFormsTheirSlicesAndTessimoTamsOutput)
{
    for (auto [size, layers, candidates] :
         {std::tuple<uint32_t, uint32_t, uint32_t>{64, 16, 5}, {32, 8, 1}, {16, 5, 3}, {32, 20, 5}})
    {
        Tones tones(layers);
        ArtMapVolume quick, reference;
        GenerateArtMapVolume(size, layers, candidates, 0, ArtMapForm::Quick, &quick, KeepTone,
                             &tones);
        GenerateArtMapVolume(size, layers, candidates, 0, ArtMapForm::Reference, &reference);
        EXPECT_TRUE(quick.blocks == reference.blocks) << size;
        EXPECT_TRUE(quick.strokes == reference.strokes && quick.strokes > layers);
        ASSERT_EQ(quick.levelCount, FullChainLength(size));
        for (uint32_t m = 0; m < quick.levelCount && !(layers & (layers - 1)); ++m)
        {
            EXPECT_EQ(quick.slices[m], std::max(1u, layers >> m));
            size_t bytes = tones[0][m].size();
            ASSERT_EQ(quick.blocks[m].size(), bytes * quick.slices[m]);
            for (uint32_t j = 0; j < quick.slices[m]; ++j)
                EXPECT_EQ(std::vector<uint8_t>(quick.blocks[m].begin() + j * bytes,
                                               quick.blocks[m].begin() + (j + 1) * bytes),
                          tones[j + 1 == quick.slices[m] ? layers - 1 : j << m][m])
                    << "level " << m << " slice " << j;
        }
        if (layers != 20)
            continue;
        Sha256 all;
        std::string expected;
        char line[160];
        for (uint32_t m = 0; m < quick.levelCount; ++m)
        {
            Sha256 level;
            level.Update(quick.blocks[m].data(), quick.blocks[m].size());
            all.Update(quick.blocks[m].data(), quick.blocks[m].size());
            snprintf(line, sizeof line, "level %u side %u slices %u sha256 %s\n", m, size >> m,
                     quick.slices[m], level.HexDigest().c_str());
            expected += line;
        }
        expected += "volume sha256 " + all.HexDigest() + "\nstrokes " +
                    std::to_string(quick.strokes) + "\n";
        testsupport::TempDir temp;
        auto tam = [](std::vector<std::string> more)
        {
            more.insert(more.begin(), {"tessimo-tam", "--size", "32", "--layers", "20"});
            return testsupport::RunOurTool(more);
        };
        EXPECT_EQ(tam({"--digest"}).out, expected);
        EXPECT_EQ(tam({"--digest", "--reference"}).out, expected);
        ASSERT_EQ(tam({"--tone", "7", "--png", temp.path}).status, 0);
        testsupport::Picture picture;
        auto read = [&](const char* name)
        { return testsupport::ReadPng(temp.path + name, &picture) ? picture.rgb : Bytes(); };
        for (uint32_t t = 0; t < layers + tones[7].size(); ++t)
        {
            uint32_t m = t < layers ? 0 : t - layers, tone = t < layers ? t : 7;
            snprintf(line, sizeof line, t < layers ? "/tone_%03u.png" : "/tone_%03u_level_%u.png",
                     tone, m);
            EXPECT_EQ(read(line), tones[tone][m]) << line;
        }
        const Bytes paper(size * 3, 255);
        read("/contact_sheet.png");
        ASSERT_EQ(std::make_pair(picture.width, picture.height), std::make_pair(16 * 32, 2 * 32));
        for (uint32_t k : {0u, 15u, 16u, 19u, 20u}) // paper behind the last tone
            for (uint32_t y = 0; y < size; ++y)
            {
                const uint8_t* row = picture.At(k % 16 * size, k / 16 * size + y);
                const uint8_t* want =
                    k < layers ? &tones[layers - 1 - k][0][y * size * 3] : &paper[0];
                ASSERT_TRUE(std::equal(row, row + size * 3, want)) << k << " " << y;
            }
    }
    ArtMapVolume blank;
    GenerateArtMapVolume(32, 8, 5, 1, ArtMapForm::Quick, &blank);
    EXPECT_EQ(blank.strokes, 0u);
    for (const auto& block : blank.blocks)
        ASSERT_EQ(block, VolumeBlock(block.size(), 255));
    HatchLayer first, second;
    for (HatchLayer* white : {&first, &second})
        white->Allocate(32, 32, 24, FullChainLength(32), false), white->Fill(255, 255, 255, 255);
    ResetStrokeRandom();
    first.Generate(0.2f, 0.5f, 2);
    ResetStrokeRandom();
    BlankLayer b;
    b.Generate(0.2f, 0.5f, 2);
    second.Generate(0.2f, 0.5f, 2);
    EXPECT_EQ(memcmp(first.levels[0], second.levels[0], first.LevelBytes(0)), 0);
    first.FreePixels(), second.FreePixels();
}

} // namespace
