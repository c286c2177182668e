// The hatching on a real GL context: the art map built into a 3D texture
// and read back level by level, its parameters, the upload of procedural
// textures, and both previews drawn to the screen.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "app/gl_entry_points.h"
#include "app/window.h"
#include "engine/engine.h"
#include "hatching/procedural_texture.h"
#include "hatching/tonal_art_map.h"
#include "support/files.h"
#include "support/gl_context.h"

namespace
{

class HatchingGl : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        dir = new testsupport::TempDir;
        context = new testsupport::GlContext(800, 600);
        if (context->created)
        {
            engine = new Engine;
            g_engine = engine;
            engine->Init();
        }
    }
    static void TearDownTestSuite()
    {
        delete engine;
        g_engine = nullptr;
        delete context;
        delete dir;
    }
    void SetUp() override
    {
        ASSERT_TRUE(context->created);
        ASSERT_TRUE(engine->capabilities.hasTexture3D);
    }
    static testsupport::TempDir* dir;
    static testsupport::GlContext* context;
    static Engine* engine;
};
testsupport::TempDir* HatchingGl::dir = nullptr;
testsupport::GlContext* HatchingGl::context = nullptr;
Engine* HatchingGl::engine = nullptr;

GLint LevelParameter(GLenum target, GLint level, GLenum name)
{
    GLint v = 0;
    glGetTexLevelParameteriv(target, level, name, &v);
    return v;
}

TEST_F(HatchingGl, TheBuiltVolumeHoldsExactlyTheGeneratedBytes)
{
    while (glGetError() != GL_NO_ERROR)
    {
    }
    TonalArtMap map;
    map.Build(64, 16, 5, 0);
    EXPECT_NE(map.id, 0u);
    EXPECT_EQ(map.target, static_cast<uint32_t>(GL_TEXTURE_3D));
    EXPECT_EQ(map.depth, 16u);
    EXPECT_EQ(map.mipLevels, 7u);

    ArtMapVolume expected;
    GenerateArtMapVolume(64, 16, 5, 0, ArtMapForm::Quick, &expected);

    map.Bind();
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_3D, &bound);
    EXPECT_EQ(static_cast<GLuint>(bound), map.id);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    for (uint32_t m = 0; m < expected.levelCount; ++m)
    {
        EXPECT_EQ(LevelParameter(GL_TEXTURE_3D, m, GL_TEXTURE_WIDTH), 64 >> m);
        EXPECT_EQ(LevelParameter(GL_TEXTURE_3D, m, GL_TEXTURE_HEIGHT), 64 >> m);
        EXPECT_EQ(LevelParameter(GL_TEXTURE_3D, m, GL_TEXTURE_DEPTH),
                  static_cast<GLint>(expected.slices[m]));
        std::vector<uint8_t> read(expected.blocks[m].size(), 0x5A);
        glGetTexImage(GL_TEXTURE_3D, m, GL_RGB, GL_UNSIGNED_BYTE, read.data());
        EXPECT_EQ(memcmp(read.data(), expected.blocks[m].data(), read.size()), 0) << "level " << m;
    }
    glPixelStorei(GL_PACK_ALIGNMENT, 4);

    GLint v = 0;
    glGetTexParameteriv(GL_TEXTURE_3D, GL_TEXTURE_MIN_FILTER, &v);
    EXPECT_EQ(v, GL_LINEAR_MIPMAP_NEAREST);
    glGetTexParameteriv(GL_TEXTURE_3D, GL_TEXTURE_MAG_FILTER, &v);
    EXPECT_EQ(v, GL_LINEAR);
    glGetTexParameteriv(GL_TEXTURE_3D, GL_TEXTURE_WRAP_S, &v);
    EXPECT_EQ(v, GL_REPEAT);
    glGetTexParameteriv(GL_TEXTURE_3D, GL_TEXTURE_WRAP_T, &v);
    EXPECT_EQ(v, GL_REPEAT);
    glGetTexParameteriv(GL_TEXTURE_3D, GL_TEXTURE_WRAP_R, &v);
    EXPECT_EQ(v, GL_CLAMP_TO_EDGE);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST_F(HatchingGl, ProceduralLevelsGoUpAsDrawn)
{
    ProceduralTexture t;
    t.Create(16, 8, 24, 4, false);
    EXPECT_NE(t.id, 0u);
    t.Fill(255, 255, 255, 255);
    t.DrawLine(0, 0, 15, 7, 10, 20, 30, 0, 0);
    t.FillLevel(1, 2, 3, 0, 3);
    t.Upload();
    glBindTexture(GL_TEXTURE_2D, t.id);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    for (uint32_t m = 0; m < 4; ++m)
    {
        std::vector<uint8_t> read(t.LevelBytes(m));
        glGetTexImage(GL_TEXTURE_2D, m, GL_RGB, GL_UNSIGNED_BYTE, read.data());
        EXPECT_EQ(memcmp(read.data(), t.levels[m], read.size()), 0) << "level " << m;
    }
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    EXPECT_EQ(LevelParameter(GL_TEXTURE_2D, 0, GL_TEXTURE_INTERNAL_FORMAT), 3);
    GLint filter = 0;
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &filter);
    EXPECT_EQ(filter, GL_LINEAR); // 16 wide: only 5 levels would make the full chain
    t.FreePixels();

    // With autoMipmap the chain comes from GL.
    ProceduralTexture a;
    a.Create(8, 8, 32, 1, true);
    a.Fill(200, 100, 50, 25);
    a.Upload();
    glBindTexture(GL_TEXTURE_2D, a.id);
    EXPECT_EQ(LevelParameter(GL_TEXTURE_2D, 3, GL_TEXTURE_WIDTH), 1);
    uint8_t pixel[4] = {};
    glGetTexImage(GL_TEXTURE_2D, 3, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
    EXPECT_EQ(pixel[0], 200);
    EXPECT_EQ(pixel[3], 25);
    a.FreePixels();
}

// Reads one pixel of the back buffer, from the top-left origin of the 2D mode.
std::vector<uint8_t> ScreenPixel(int x, int y)
{
    std::vector<uint8_t> p(4);
    glReadPixels(x, 600 - 1 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, p.data());
    return p;
}

TEST_F(HatchingGl, PreviewsShowTheTexture)
{
    TonalArtMap map;
    map.Build(64, 16, 3, 0);
    glClearColor(1, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    engine->Begin2D(800, 600);
    map.DrawPreview(1.0f);
    engine->End2D();
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_3D));
    EXPECT_FALSE(glIsEnabled(GL_LIGHTING));
    // Inside the quad: paper or ink, never the red background; outside: red.
    std::vector<uint8_t> inside = ScreenPixel(400 + 60, 300);
    EXPECT_EQ(inside[0], inside[1]);
    EXPECT_EQ(ScreenPixel(400 + 70, 300), (std::vector<uint8_t>{255, 0, 0, 255}));
    // The light end (right) has more paper than the dark end (left).
    int lightLeft = 0, lightRight = 0;
    for (int y = 240; y < 360; ++y)
    {
        lightLeft += ScreenPixel(340, y)[1] > 128;
        lightRight += ScreenPixel(460, y)[1] > 128;
    }
    EXPECT_GT(lightRight, lightLeft);

    ProceduralTexture t;
    t.Create(32, 32, 24, 6, false);
    t.Fill(0, 0, 255, 255);
    t.Upload();
    engine->Begin2D(800, 600);
    t.DrawPreview(1.0f);
    engine->End2D();
    EXPECT_EQ(ScreenPixel(400, 300), (std::vector<uint8_t>{0, 0, 255, 255}));
    t.FreePixels();
}

} // namespace
