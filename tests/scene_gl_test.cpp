// The scene on a real GL context: meshes drawn and read back, culling,
// shadows, the camera, model files and tessimo-import's output.
#include <gtest/gtest.h>

#include <cmath>

#include "app/input.h"
#include "platform/keys.h"
#include "resources/shader.h"
#include "resources/vertex_array_pool.h"
#include "scene/camera.h"
#include "scene/light.h"
#include "scene/mesh_set.h"
#include "support/engine_gl.h"
#include "support/model_file.h"
#include "support/process.h"

namespace
{

using namespace testsupport;

// One pixel of the frame, x from the left, y from the bottom.
std::vector<int> Pixel(int x, int y)
{
    unsigned char p[4] = {};
    glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, p);
    return {p[0], p[1], p[2]};
}

// A square of side 1 around the origin facing +z, and a triangle.
const std::vector<float> kSquare = {-0.5f, -0.5f, 0, 0.5f, -0.5f, 0, 0.5f, 0.5f, 0, -0.5f, 0.5f, 0};
const std::vector<uint32_t> kSquareFaces = {0, 1, 2, 0, 2, 3};
const std::vector<float> kTriangle = {0, 0, 0, 1, 0, 0, 0, 1, 0};

// A lit square from the pool's render copy; a shadow drawn once where two
// triangles overlap; a sphere touching the frustum from outside is skipped;
// the camera's Page Up and forward; nothing kept of a refused model record.
TEST_F(EngineGl, TheSceneDrawnCulledSeenAndLoaded)
{
    StartScene();
    Mesh mesh, pair;
    ASSERT_TRUE(FillMesh(mesh, kSquare, kSquareFaces));
    // A quarter to the right: x from -0.25 to 0.75, pixels 24 to 55.
    mesh.SetPosition(0.25f, 0.0f, 0.0f);
    Light light(GL_LIGHT0);
    light.SetPosition(0.0f, 0.0f, 1.0f);
    light.SetKind(1);
    light.Apply();
    int32_t before = engine->stats.polygonCount;
    mesh.Draw();
    EXPECT_EQ(engine->stats.polygonCount, before + 2);
    for (auto [x, y, lit] : {std::tuple{40, 32, true},
                             {25, 17, true},
                             {22, 32, false},
                             {57, 32, false},
                             {40, 14, false},
                             {40, 50, false}})
        EXPECT_EQ(Pixel(x, y)[0] > 150, lit) << x << "," << y;
    // GL draws the render copy: an edit shows only after the upload.
    for (uint32_t v = 0; v < 4; ++v)
        mesh.positions[3 * v] += 10.0f;
    for (bool upload : {false, true})
    {
        if (upload)
            mesh.UploadVertices();
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        mesh.Draw();
        EXPECT_EQ(Pixel(40, 32)[0] > 150, !upload);
    }
    glClearColor(1, 1, 1, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    ASSERT_TRUE(FillMesh(pair,
                         {-0.8f, -0.5f, 0.5f, 0.4f, -0.5f, 0.5f, -0.2f, 0.5f, 0.5f, //
                          -0.4f, -0.5f, 0.5f, 0.8f, -0.5f, 0.5f, 0.2f, 0.5f, 0.5f},
                         {0, 1, 2, 3, 4, 5}));
    Plane ground;
    ground.normal = Vec4(0.0f, 0.0f, 1.0f);
    before = engine->stats.polygonCount;
    pair.DrawShadow(ground, &light);
    EXPECT_EQ(engine->stats.polygonCount, before + 2);
    EXPECT_NEAR(Pixel(16, 24)[0], 128, 2);
    EXPECT_EQ(Pixel(32, 24), Pixel(16, 24));
    EXPECT_EQ(Pixel(32, 60), (std::vector<int>{255, 255, 255}));
    EXPECT_FALSE(glIsEnabled(GL_STENCIL_TEST));
    glDisable(GL_BLEND); // left on for the next to set
    engine->renderState.blendEnabled = 0;
    Frustum frustum;
    glMatrixMode(GL_PROJECTION);
    glOrtho(-2, 2, -1, 1, 1, 10);
    glMatrixMode(GL_MODELVIEW);
    glTranslatef(1.0f, 0.0f, 0.0f);
    frustum.Update();
    const float expected[6][4] = {{-1, 0, 0, 1}, {1, 0, 0, 3},  {0, 1, 0, 1},
                                  {0, -1, 0, 1}, {0, 0, 1, 10}, {0, 0, -1, -1}};
    for (int p = 0; p < 6; ++p)
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(frustum.planes[p][k], expected[p][k], 0.02f) << p << "," << k;
    Corner(); // identity matrices again
    frustum.Update();
    EXPECT_TRUE(frustum.TestSphere(Sphere()));
    Mesh square;
    ASSERT_TRUE(FillMesh(square, kSquare, kSquareFaces));
    square.SetPosition(3.0f, 0.0f, 0.0f);
    float distance = frustum.planes[0][0] * 3.0f + frustum.planes[0][3];
    before = engine->stats.polygonCount;
    for (float radius :
         {square.boundingSphere.radius, -distance, std::nextafter(-distance, 100.0f)})
        square.boundingSphere.radius = radius, square.DrawCulled(frustum);
    EXPECT_EQ(engine->stats.polygonCount, before + 2);
    Camera camera;
    camera.LookAt(Vec4(13.6f, 7.7f, 11.8f), Vec4(0.0f, -2.0f, -5.0f));
    unsigned char active = g_window->active;
    g_window->active = 1;
    g_mouse->SetPosition(g_window->width / 2, g_window->height / 2); // no turn
    g_input->keys[VK_PRIOR] = 1;
    camera.Fly(g_input, g_mouse, g_window, 2.0f);
    g_input->keys[VK_PRIOR] = 0;
    g_window->active = active;
    EXPECT_EQ(
        (std::vector<float>{camera.GetPosition().y, camera.transform.m[7], camera.transform.m[0]}),
        (std::vector<float>{2, -2, 1}));
    camera.MoveForward(1.0f);
    EXPECT_EQ(camera.GetPosition().z, -1.0f);
    ::Console* console = static_cast<::Console*>(engine->console);
    uint32_t mark = console->HeldLines();
    std::vector<MeshSet> sets(8);
    auto load = [&](int i, const std::string& file, const std::string& bytes)
    {
        WriteText(file, bytes);
        sets[i].Load(file.c_str(), "", nullptr);
    };
    load(0, "two.tsm",
         ModelBytes(2)
             .Mesh("wing", "A", kSquare, kSquareFaces, 1, 2, 3)
             .Mesh("tail", "B", kTriangle, {0, 1, 2})
             .String());
    EXPECT_EQ(sets[0].meshCount ? sets[0].meshes[0].transform.m[7] : 0.0f, 2.0f);
    sets[1].Load("missing.tsm", "", nullptr);
    load(2, "empty.tsm", ModelBytes(0).String());
    sets[2].DrawAll();
    std::string one = ModelBytes(0).Mesh("b", "A", kTriangle, {0, 1, 2}).String().substr(27);
    load(3, "cut.tsm", ModelBytes(2).String() + one + one.substr(0, 100));
    load(4, "huge.tsm", ModelBytes(0xFFFFFFFFu).String() + one);
    load(5, "index.tsm", ModelBytes(1).Mesh("a", "A", kTriangle, {0, 1, 3}).String());
    load(6, "billions.tsm", ModelBytes(1).Head("a", "A", 0xFFFFFFF0u, 0xFFFFFFF0u).String());
    uint32_t freeBefore = engine->vertexPool->freeBytes;
    std::vector<float> many(3 * 40000, 0.0f);
    load(7, "big.tsm",
         ModelBytes(2).String() + one +
             ModelBytes(0).Mesh("c", "A", many, {0, 1, 2}).String().substr(27));
    EXPECT_GT(engine->vertexPool->freeBytes + 256, freeBefore); // only the first mesh's arrays
    std::string lines;
    for (uint32_t i = mark; i < console->HeldLines(); ++i)
        lines += console->Line(i) + std::string("\n");
    EXPECT_EQ(lines, R"(> 2 mesh loaded from file 'two.tsm'
> 0 mesh loaded from file 'missing.tsm'
> 0 mesh loaded from file 'empty.tsm'
> 1 mesh loaded from file 'cut.tsm'
  mesh 2 of 2 is cut short
> 1 mesh loaded from file 'huge.tsm'
  mesh 2 of 4294967295 is cut short
> 0 mesh loaded from file 'index.tsm'
  mesh 1 of 1 names a vertex it doesn't have
> 0 mesh loaded from file 'billions.tsm'
  mesh 1 of 1 is cut short
> 1 mesh loaded from file 'big.tsm'
  mesh 2 of 2 doesn't fit in the vertex memory
)");
}

#if TESSIMO_IMPORT

// A capped cylinder about x (radius 1, x 20 to 30, 24 sides): s runs 6
// repeats round from +y either way, t along the axis, the seam underneath.
TEST_F(EngineGl, ImportedStrokesWrapTheCylinderAndTheOutlineHugsIt)
{
    StartScene();
    std::string obj = "o cylinder\n";
    char line[64];
    for (int v = 0; v < 48; ++v, obj += line) // two rings of 24, then the ends' centres
        snprintf(line, sizeof line, "v %d %f %f\n", v < 24 ? 20 : 30, std::cos(M_PI * v / 12),
                 std::sin(M_PI * v / 12));
    obj += "v 20 0 0\nv 30 0 0\n";
    for (int i = 1, j = 2; i <= 24; ++i, j = i % 24 + 1, obj += line)
        snprintf(line, sizeof line, "f %d %d %d\nf %d %d %d\nf 49 %d %d\nf 50 %d %d\n", i, j,
                 j + 24, i, j + 24, i + 24, j, i, i + 24, j + 24);
    WriteText("form.obj", obj);
    ToolRun run =
        RunOurTool(Words("tessimo-import --stroke-size 1 --outline 3 --info form.obj form.tsm"));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out.find("  cylinder                         elongated") != std::string::npos &&
                run.out.find("6 turns") != std::string::npos)
        << run.out;
    MeshSet set;
    set.Load("form.tsm", "", nullptr);
    ASSERT_EQ(set.meshCount, 2u);
    std::map<std::vector<float>, std::set<float>> sAt;
    for (const Triangle& t : Triangles(set.meshes[0]))
        for (const auto& c : t)
        {
            float around = std::atan2(c[2], c[1]) * 12.0f / float(M_PI);
            if (std::fabs(c[3]) > 0.5f)
                continue; // an end cap
            EXPECT_NEAR(c[7], c[0] - 25.0f, 1e-4f);
            EXPECT_NEAR(std::min(std::fabs(std::remainder(c[6] * 4.0f - around, 24.0f)),
                                 std::fabs(std::remainder(c[6] * 4.0f + around, 24.0f))),
                        0.0f, 1e-3f);
            sAt[{c[0], c[1], c[2]}].insert(c[6]);
        }
    int seam = 0;
    for (const auto& [place, s] : sAt)
        seam +=
            s.size() == 2 && place[1] < -0.9f && std::fabs(*s.rbegin() - *s.begin() - 6) < 1e-4f;
    EXPECT_EQ(sAt.size() * 10 + seam, 482u); // 48 places, two on the seam
}

// Sources kept, or merged and centred; bad input gives a drawable model and a
// line for each flaw; refusals give one line (status 1), bad arguments what
// was wrong and the usage line (status 2), and a file there is kept.
TEST_F(EngineGl, ImportKeepsTheSourceAndSaysWhatItLeftOutOrRefused)
{
    StartScene();
    WriteText("two.obj", "mtllib two.mtl\nv 0 0 0\nv 2 0 0\nv 2 1 0\nv 0 1 0\n"
                         "v 0 0 1\nv 1 0 2\nv 2 0 1\nv 2 0 0\nv 1 0 -1\n"
                         "vt 0 0\nvt 1 0\nvt 1 0.5\nvt 0 0.5\nvn 0 0 1\n"
                         "o wing\nusemtl red\nf 1/1/1 2/2/1 3/3/1 4/4/1\n"
                         "o tail\nusemtl blue\nf 5 6 7 8 9\n");
    WriteText("two.mtl", "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\n");
    ASSERT_EQ(
        RunOurTool(Words("tessimo-import --strokes keep --no-outline two.obj two.tsm")).status, 0);
    MeshSet set, merged, bad;
    set.Load("two.tsm", "", nullptr);
    ASSERT_EQ(set.meshCount, 2u);
    EXPECT_STREQ(set.meshes[0].name, "wing");
    // The quad keeps its normals and coordinates; the pentagon gets its face's.
    for (int m : {0, 1})
        for (const Triangle& t : Triangles(set.meshes[m]))
            for (const auto& c : t)
                EXPECT_EQ((std::vector<float>{c[3], c[4], c[5], m ? 0 : c[6], m ? 0 : c[7]}),
                          (std::vector<float>{0, float(m), float(1 - m), m ? 0 : c[0] / 2,
                                              m ? 0 : c[1] / 2}));
    EXPECT_EQ(set.meshes[1].faceCount, 3u);
    ASSERT_NE(set.meshes[0].shader, nullptr);
    EXPECT_NE(set.meshes[0].shader, set.meshes[1].shader);
    EXPECT_STREQ(set.meshes[1].shader->name, "blue");
    ASSERT_EQ(RunOurTool(Words("tessimo-import --strokes keep --no-outline --merge all --center "
                               "two.obj all.tsm"))
                  .status,
              0);
    merged.Load("all.tsm", "", nullptr);
    ASSERT_EQ(merged.meshCount, 1u);
    EXPECT_EQ(merged.meshes[0].faceCount * 10 + merged.meshes[0].vertexCount, 59u);
    EXPECT_FLOAT_EQ(merged.meshes[0].boundingSphere.radius, std::sqrt(2.5f));

    // A sheet of two triangles, the first twice, one on a line; three
    // triangles on one edge; a box 0.001 wide.
    WriteText("bad.obj",
              "o sheet\nv 0 0 0\nv 4 0 0\nv 4 0 -4\nv 0 0 -4\nf 1 2 3\nf 1 3 4\nf 1 2 3\n"
              "v 2 0 0\nf 1 5 2\no fan\nv 10 0 0\nv 10 2 0\nv 12 1 0\nf 6 7 8\nv 8 1 0\n"
              "f 7 6 9\nv 10 1 2\nf 6 7 10\no speck\nv -10 0 0\nv -9.999 0 0\n"
              "v -10 0.001 0\nv -9.999 0.001 0\nv -10 0 0.001\nv -9.999 0 0.001\n"
              "v -10 0.001 0.001\nv -9.999 0.001 0.001\nf 11 15 17\nf 11 17 13\n"
              "f 12 14 18\nf 12 18 16\nf 11 12 16\nf 11 16 15\nf 13 17 18\nf 13 18 14\n"
              "f 11 13 14\nf 11 14 12\nf 15 16 18\nf 15 18 17\n");
    ToolRun run = RunOurTool(Words("tessimo-import --info bad.obj bad.tsm"));
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "tessimo-import: left out triangles: 1 without area, 1 repeated\n"
                       "tessimo-import: box coordinates for parts too small to have axes: 1\n"
                       "tessimo-import: outline written with edges of more than two triangles: 1\n"
                       "tessimo-import: outline left out for flat open sheets: 1\n");
    bad.Load("bad.tsm", "", nullptr);
    ASSERT_EQ(bad.meshCount, 4u);
    EXPECT_EQ(bad.meshes[0].faceCount, 2u);
    EXPECT_EQ(bad.meshes[3].faceCount, 3u);    // the fan's outline alone
    EXPECT_EQ(bad.meshes[0].normals[1], 1.0f); // made from the faces

    WriteText("kept.tsm", "kept");
    WriteText("line.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n");
    WriteText("points.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n");
    const std::string usage = "usage: tessimo-import [options] SOURCE OUTPUT\n",
                      inf = " has coordinates that are not finite numbers\n";
    for (const char* x : {"nan", "1e39", "-inf"})
        WriteText("x" + std::string(x) + ".obj",
                  std::string("v 0 0 0\nv ") + x + " 0 0\nv 0 1 0\nf 1 2 3\n");
    const std::vector<std::tuple<std::string, std::string, int>> refusals = {
        {"line.obj kept.tsm", "", 1},
        {"points.obj kept.tsm", "", 1},
        {"xnan.obj kept.tsm", "tessimo-import: 'xnan.obj'" + inf, 1},
        {"x1e39.obj kept.tsm", "tessimo-import: 'x1e39.obj'" + inf, 1},
        {"x-inf.obj new.tsm", "tessimo-import: 'x-inf.obj'" + inf, 1},
        {"--max-vertices 8 --no-outline two.obj kept.tsm",
         "tessimo-import: 9 vertices, more than the 8 allowed\n", 1},
        {"--crease 400 two.obj new.tsm",
         "tessimo-import: --crease 400: expected 0 to 180\n" + usage, 2},
        {"--strokes wavy two.obj new.tsm",
         "tessimo-import: --strokes wavy: expected form, box or keep\n" + usage, 2},
        {"--material ThisNameIsLongerThanThirtyOneChars two.obj new.tsm", "", 2},
        {"two.obj", "tessimo-import: missing OUTPUT\n" + usage, 2},
    };
    for (const auto& [arguments, error, status] : refusals)
    {
        SCOPED_TRACE(arguments);
        run = RunOurTool(Words("tessimo-import " + arguments));
        EXPECT_EQ(run.status, status);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), status) << run.err;
        EXPECT_EQ(run.err.substr(0, error.size()), error);
    }
    EXPECT_EQ(ReadText("kept.tsm"), "kept");
    EXPECT_FALSE(std::filesystem::exists("new.tsm"));
}
#endif

} // namespace
