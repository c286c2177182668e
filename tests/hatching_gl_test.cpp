// The hatching on a real GL context: the art map built into a 3D texture
// and read back level by level, the upload of procedural textures, both
// previews drawn to the screen, and a volume in a shader's stage.
#include <gtest/gtest.h>

#include "app/gl_entry_points.h"
#include "engine/engine.h"
#include "hatching/procedural_texture.h"
#include "hatching/tonal_art_map.h"
#include "resources/shader.h"
#include "support/gl_context.h"
#include "support/material_files.h"

namespace
{

class HatchingGl : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        dir = new testsupport::TempDir;
        testsupport::WriteMaterialFiles(dir->path, "[Font]\nnbstages=0\n[Two]\nnbstages=2\n");
        context = new testsupport::GlContext(800, 600);
        g_engine = engine = new Engine;
        if (context->created)
            engine->Init();
    }
    static void TearDownTestSuite()
    {
        delete engine;
        g_engine = nullptr;
        delete context;
        delete dir;
    }
    void SetUp() override { ASSERT_TRUE(context->created && engine->capabilities.hasTexture3D); }
    void TearDown() override { EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)); }

    static testsupport::TempDir* dir;
    static testsupport::GlContext* context;
    static Engine* engine;
};
testsupport::TempDir* HatchingGl::dir = nullptr;
testsupport::GlContext* HatchingGl::context = nullptr;
Engine* HatchingGl::engine = nullptr;

GLint Get(GLenum target, GLenum name, GLint level = -1)
{
    GLint v = 0;
    if (level < 0)
        glGetTexParameteriv(target, name, &v);
    else
        glGetTexLevelParameteriv(target, level, name, &v);
    return v;
}

// Reads one pixel of the back buffer, from the top-left origin of the 2D mode.
std::vector<uint8_t> ScreenPixel(int x, int y)
{
    std::vector<uint8_t> p(4);
    glReadPixels(x, 600 - 1 - y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, p.data());
    return p;
}

TEST_F(HatchingGl, TheBuiltVolumeHoldsExactlyTheGeneratedBytes)
{
    TonalArtMap map;
    map.Build(64, 16, 5, 0);
    EXPECT_NE(map.id, 0u);
    EXPECT_EQ((std::vector<uint32_t>{map.target, map.depth, map.mipLevels}),
              (std::vector<uint32_t>{GL_TEXTURE_3D, 16, 7}));
    ArtMapVolume expected;
    GenerateArtMapVolume(64, 16, 5, 0, ArtMapForm::Quick, &expected);
    map.Bind();
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_3D, &bound);
    EXPECT_EQ(GLuint(bound), map.id);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    for (uint32_t m = 0; m < expected.levelCount; ++m)
    {
        EXPECT_EQ((std::vector<GLint>{Get(GL_TEXTURE_3D, GL_TEXTURE_WIDTH, m),
                                      Get(GL_TEXTURE_3D, GL_TEXTURE_HEIGHT, m),
                                      Get(GL_TEXTURE_3D, GL_TEXTURE_DEPTH, m)}),
                  (std::vector<GLint>{64 >> m, 64 >> m, GLint(expected.slices[m])}));
        VolumeBlock read(expected.blocks[m].size(), 0x5A);
        glGetTexImage(GL_TEXTURE_3D, m, GL_RGB, GL_UNSIGNED_BYTE, read.data());
        EXPECT_TRUE(read == expected.blocks[m]) << "level " << m;
    }
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    const GLenum names[] = {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER, GL_TEXTURE_WRAP_S,
                            GL_TEXTURE_WRAP_T,     GL_TEXTURE_WRAP_R,     GL_TEXTURE_MAX_LEVEL};
    std::vector<GLint> values;
    for (GLenum name : names)
        values.push_back(Get(GL_TEXTURE_3D, name));
    EXPECT_EQ(values, (std::vector<GLint>{GL_LINEAR_MIPMAP_NEAREST, GL_LINEAR, GL_REPEAT, GL_REPEAT,
                                          GL_CLAMP_TO_EDGE, 6}));
}

// Every level goes up as drawn; a chain shorter than the full one takes
// GL_LINEAR; with autoMipmap the chain comes from GL.
TEST_F(HatchingGl, ProceduralLevelsGoUpAsDrawn)
{
    ProceduralTexture t, full, a;
    t.Create(16, 8, 24, 4, false);
    full.Create(16, 16, 24, 5, false);
    EXPECT_NE(t.id, 0u);
    EXPECT_EQ(full.minFilter, GLenum(GL_LINEAR_MIPMAP_LINEAR));
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
        EXPECT_EQ(read, std::vector<uint8_t>(t.levels[m], t.levels[m] + read.size())) << m;
    }
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    EXPECT_EQ(Get(GL_TEXTURE_2D, GL_TEXTURE_INTERNAL_FORMAT, 0), 3);
    EXPECT_EQ(Get(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER), GL_LINEAR);

    a.Create(8, 8, 32, 1, true);
    a.Fill(200, 100, 50, 25);
    a.Upload();
    glBindTexture(GL_TEXTURE_2D, a.id);
    EXPECT_EQ(Get(GL_TEXTURE_2D, GL_TEXTURE_WIDTH, 3), 1);
    uint8_t pixel[4] = {};
    glGetTexImage(GL_TEXTURE_2D, 3, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
    EXPECT_EQ((std::vector<int>{pixel[0], pixel[3]}), (std::vector<int>{200, 25}));
    for (ProceduralTexture* x : {&t, &full, &a})
        x->FreePixels();
}

// The art map's preview: paper and ink inside its quad, lighter to the
// right. A volume in a stage switches its own target, GL_TEXTURE_3D, on and
// off; a procedural preview takes the current shader off, unit 0 on.
TEST_F(HatchingGl, PreviewsShowTheTextureAndTakeTheShaderOff)
{
    TonalArtMap map;
    map.Build(64, 16, 3, 0);
    glClearColor(1, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    engine->Begin2D(800, 600);
    map.DrawPreview(1.0f);
    engine->End2D();
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_3D) || glIsEnabled(GL_LIGHTING));
    std::vector<uint8_t> inside = ScreenPixel(400 + 60, 300);
    EXPECT_EQ(inside[0], inside[1]);
    EXPECT_EQ(ScreenPixel(400 + 70, 300), (std::vector<uint8_t>{255, 0, 0, 255}));
    int lightLeft = 0, lightRight = 0;
    for (int y = 240; y < 360; ++y)
    {
        lightLeft += ScreenPixel(340, y)[1] > 128;
        lightRight += ScreenPixel(460, y)[1] > 128;
    }
    EXPECT_GT(lightRight, lightLeft);

    Shader* two = engine->AddShader("Two");
    two->stages[1].texture = &map;
    auto volumeOn = []
    {
        glActiveTextureARB(GL_TEXTURE1_ARB);
        bool on = glIsEnabled(GL_TEXTURE_3D);
        glActiveTextureARB(engine->renderState.activeTextureUnit);
        return on;
    };
    engine->SetShader(two);
    EXPECT_TRUE(volumeOn());
    engine->SetShader(nullptr);
    EXPECT_FALSE(volumeOn());
    engine->SetShader(two);
    EXPECT_TRUE(volumeOn());
    ProceduralTexture t;
    t.Create(32, 32, 24, 6, false);
    t.Fill(0, 0, 255, 255);
    t.Upload();
    engine->Begin2D(800, 600);
    t.DrawPreview(1.0f);
    engine->End2D();
    EXPECT_EQ(ScreenPixel(400, 300), (std::vector<uint8_t>{0, 0, 255, 255}));
    EXPECT_EQ(engine->currentShader, nullptr);
    EXPECT_EQ(engine->currentTexture, &t);
    EXPECT_EQ(engine->renderState.unitTextureEnabled[1], 0);
    EXPECT_FALSE(volumeOn());
    GLint active = 0, bound = 0;
    glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    EXPECT_EQ(active, GL_TEXTURE0);
    EXPECT_EQ(GLuint(bound), t.id);
    t.FreePixels();
    engine->SetTexture(nullptr); // before the texture goes
    two->stages[1].texture = nullptr;
}

} // namespace
