// demo_gl_test's run of the demo in this process (its window type and X11's can't share a file).
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "resources/console_base.h"
#include "resources/screen_font.h"
#include "resources/shader.h"
#include "scene/mesh_set.h"
#include "support/demo_engine.h"
#include "support/files.h"

namespace
{
// Dark pixels in the middle half of the frame, where the airplane is.
int InkInTheMiddle()
{
    const int w = g_window->width / 2, h = g_window->height / 2;
    std::vector<uint8_t> rgb(static_cast<size_t>(w) * h * 3);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadBuffer(GL_BACK);
    glReadPixels(w / 2, h / 2, w, h, GL_RGB, GL_UNSIGNED_BYTE, rgb.data());
    int ink = 0;
    for (size_t i = 0; i < rgb.size(); i += 3)
        ink += rgb[i] < 128 && rgb[i + 1] < 128 && rgb[i + 2] < 128;
    return ink;
}

// Nothing draws with what is destroyed; the material added again draws in ink.
TEST(DemoDeletion, NothingDrawsWithWhatIsDestroyedAndTheMaterialComesBack)
{
    testsupport::TempDir dir;
    testsupport::DemoEngine demo;
    ASSERT_TRUE(demo.Start(getenv("TESSIMO_RUN_DIR"), dir.path, 200, 150));
    HatchingDemo* engine = static_cast<HatchingDemo*>(g_engine);
    ConsoleBase* console = engine->console;
    demo.Frame(), demo.Frame(); // the first frame runs no tick
    const int inked = InkInTheMiddle();
    ASSERT_GT(inked, 500) << "the airplane in ink at start";
    // The model's meshes on its material, and eighteen more sets.
    Shader* hatching = engine->FindShader("Hatching");
    ASSERT_NE(hatching, nullptr);
    std::vector<const Mesh*> drawing;
    for (uint32_t i = 0; i < engine->model->meshCount; ++i)
        if (engine->model->meshes[i].shader == hatching)
            drawing.push_back(&engine->model->meshes[i]);
    ASSERT_FALSE(drawing.empty());
    std::vector<std::unique_ptr<MeshContainer>> sets(18);
    for (auto& set : sets)
    {
        set.reset(new MeshContainer), set->meshes = new Mesh[1], set->meshCount = 1;
        set->meshes[0].shader = hatching, drawing.push_back(&set->meshes[0]);
    }
    auto everyMeshDrawsWith = [&](Shader* s) {
        return std::all_of(drawing.begin(), drawing.end(), [&](auto* m) { return m->shader == s; });
    };
    // Deleted: a silhouette. Added again: every mesh has it, with the art map.
    console->Execute("r_delshader Hatching");
    EXPECT_TRUE(everyMeshDrawsWith(nullptr));
    demo.Frame();
    EXPECT_GT(std::abs(InkInTheMiddle() - inked), inked / 2);
    console->Execute("r_addshader Hatching");
    Shader* again = engine->FindShader("Hatching");
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(everyMeshDrawsWith(again));
    EXPECT_EQ(again->stages[0].texture, reinterpret_cast<Texture*>(engine->artMap));
    demo.Frame();
    const int back = InkInTheMiddle();
    EXPECT_TRUE(back > inked * 4 / 5 && back < inked * 5 / 4) << back << " " << inked;
    sets.clear();
    // Off the list it lives on in the meshes; its program deleted, a silhouette.
    console->Execute("r_removeshader Hatching");
    engine->DeleteVertexProgramByName("vp\\hatching.vp");
    EXPECT_TRUE(again->vertexProgram == nullptr && !again->hasVertexProgram);
    demo.Frame();
    EXPECT_GT(InkInTheMiddle(), inked);
    // The font keeps its shader off the list, which lets go of its deleted texture.
    Shader* font = engine->font->shader;
    console->Execute("r_removeshader Font");
    console->Execute("r_deltexture tga\\Font.tga");
    EXPECT_TRUE(engine->font->shader == font && font->stages[0].texture == nullptr);
    demo.Frame(), demo.Frame();
    // With no context current (a failed mode switch), nothing may reach GLU.
    g_window->Destroy();
    console->Execute("r_reloadtextures");
    console->Execute("r_addtexture tga\\Font.tga");
    // At the end only the outline's material and program and two textures are left.
    demo.Stop();
    std::string text = testsupport::ReadText(demo.folder + "/console.log");
    const std::string last = "\n> 1 shaders have been deleted\n> 2 textures have been deleted\n"
                             "> 1 vertex program have been deleted\n";
    EXPECT_EQ(text.substr(text.size() - std::min(text.size(), last.size())), last);
    delete again; // off their lists, the two are nobody's
    delete font;
}

} // namespace
