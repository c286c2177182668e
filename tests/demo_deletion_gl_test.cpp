// The running demo, in this process on SDL's offscreen driver, with what it
// draws deleted under it from the console and through the engine's
// operations: nothing keeps a pointer to what is destroyed, however many
// hold it, and the model's material deleted and added again draws in ink
// again. Read back from the frame and from console.log.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "resources/console_base.h"
#include "resources/screen_font.h"
#include "resources/shader.h"
#include "scene/mesh_set.h"
#include "support/demo_engine.h"
#include "support/files.h"

namespace
{

// Dark pixels in the middle half of the frame, where the airplane is; the
// overlay's texts lie along the edges.
int InkInTheMiddle(const testsupport::DemoEngine& demo)
{
    std::vector<uint8_t> rgb = demo.ReadFrame();
    const int w = g_window->width;
    const int h = g_window->height;

    int ink = 0;
    for (int y = h / 4; y < 3 * h / 4; ++y)
        for (int x = w / 4; x < 3 * w / 4; ++x)
        {
            const uint8_t* p = &rgb[(static_cast<size_t>(y) * w + x) * 3];
            ink += p[0] < 128 && p[1] < 128 && p[2] < 128;
        }
    return ink;
}

std::vector<std::string> LastLines(const std::string& text, size_t count)
{
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(text.substr(start, end - start));
    if (lines.size() > count)
        lines.erase(lines.begin(), lines.end() - static_cast<long>(count));
    return lines;
}

TEST(DemoDeletion, NothingDrawsWithWhatIsDestroyedAndTheMaterialComesBack)
{
    testsupport::TempDir dir;
    ASSERT_FALSE(dir.path.empty());
    testsupport::DemoEngine demo;
    ASSERT_TRUE(demo.Start(getenv("TESSIMO_RUN_DIR"), dir.path, 200, 150));
    HatchingDemo* engine = static_cast<HatchingDemo*>(g_engine);
    ASSERT_GT(engine->model->meshCount, 0u);
    ConsoleBase* console = engine->console;
    // The first frame runs no tick; the second is the demo as it runs.
    demo.Frame();
    demo.Frame();
    const int inked = InkInTheMiddle(demo);
    ASSERT_GT(inked, 500) << "the airplane in ink at start";

    // Eighteen more sets of meshes drawing with the model's material.
    Shader* hatching = engine->FindShader("Hatching");
    ASSERT_NE(hatching, nullptr);
    std::vector<std::unique_ptr<MeshContainer>> sets;
    for (int i = 0; i < 18; ++i)
    {
        sets.emplace_back(new MeshContainer);
        sets.back()->meshes = new Mesh[1];
        sets.back()->meshCount = 1;
        sets.back()->meshes[0].shader = hatching;
    }
    // The model's meshes on that material (its outline has one of its own).
    std::vector<const Mesh*> drawing;
    for (uint32_t i = 0; i < engine->model->meshCount; ++i)
        if (engine->model->meshes[i].shader == hatching)
            drawing.push_back(&engine->model->meshes[i]);
    ASSERT_FALSE(drawing.empty());
    for (const auto& set : sets)
        drawing.push_back(&set->meshes[0]);
    auto everyMeshDrawsWith = [&](Shader* shader)
    {
        int wrong = 0;
        for (const Mesh* mesh : drawing)
            wrong += mesh->shader != shader;
        return wrong == 0;
    };

    // Deleted: the meshes draw with no material, in whatever state the
    // outline's material left (a silhouette, nothing like the hatching).
    // Added again: every mesh takes it up, with the art map in its first
    // stage, and the hatching is back.
    console->Execute("r_delshader Hatching");
    EXPECT_TRUE(everyMeshDrawsWith(nullptr));
    demo.Frame();
    EXPECT_GT(std::abs(InkInTheMiddle(demo) - inked), inked / 2);
    console->Execute("r_addshader Hatching");
    Shader* again = engine->FindShader("Hatching");
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(everyMeshDrawsWith(again));
    EXPECT_EQ(again->stages[0].texture, reinterpret_cast<Texture*>(engine->artMap));
    demo.Frame();
    const int back = InkInTheMiddle(demo);
    EXPECT_GT(back, inked * 4 / 5);
    EXPECT_LT(back, inked * 5 / 4);
    sets.clear();

    // Taken off the list, the material lives on in the meshes; its program
    // deleted through the engine, it draws without one (a silhouette).
    console->Execute("r_removeshader Hatching");
    engine->DeleteVertexProgramByName("vp\\hatching.vp");
    EXPECT_EQ(again->vertexProgram, nullptr);
    EXPECT_FALSE(again->hasVertexProgram);
    demo.Frame();
    EXPECT_GT(InkInTheMiddle(demo), inked);

    // The font's shader off the list, then its texture deleted: the font
    // keeps its shader, which lets go of the texture.
    Shader* font = engine->font->shader;
    console->Execute("r_removeshader Font");
    console->Execute("r_deltexture tga\\Font.tga");
    EXPECT_EQ(engine->font->shader, font);
    EXPECT_EQ(font->stages[0].texture, nullptr);
    demo.Frame();
    demo.Frame();

    // A display mode switch whose new context couldn't be made leaves none
    // current; textures loaded then must not reach GLU.
    g_window->Destroy();
    console->Execute("r_reloadtextures");
    console->Execute("r_addtexture tga\\Font.tga");

    // The orderly end: nothing listed but the outline's material and
    // program, the checkerboard and the glyphs.
    demo.Stop();
    EXPECT_EQ(
        LastLines(testsupport::ReadText(demo.folder + "/console.log"), 3),
        (std::vector<std::string>{"> 1 shaders have been deleted", "> 2 textures have been deleted",
                                  "> 1 vertex program have been deleted"}));
    // Off their lists, the two are nobody's.
    delete again;
    delete font;
}

} // namespace
