// The scene on a real GL context (SDL's offscreen driver on Mesa): meshes
// drawn from the vertex pool into frames read back, culling, shadows,
// normals, the light, the camera, the pool's range memory, model files
// read by MeshSet (hostile ones included), and tessimo-import end to end:
// its output read back and compared with what Assimp reports for the
// source, and the demo's airplane drawn from the demo's camera.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "app/gl_entry_points.h"
#include "app/gl_setup.h"
#include "app/input.h"
#include "app/window.h"
#include "console/console.h"
#include "engine/engine.h"
#include "platform/keys.h"
#include "resources/shader.h"
#include "resources/vertex_array_pool.h"
#include "scene/camera.h"
#include "scene/frustum.h"
#include "scene/light.h"
#include "scene/mesh.h"
#include "scene/mesh_set.h"
#include "support/files.h"
#include "support/gl_context.h"
#include "support/mesh_builder.h"
#include "support/model_file.h"
#include "support/process.h"
#include "support/report_capture.h"

#if TESSIMO_IMPORT
#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#endif

namespace
{

using testsupport::FillMesh;
using testsupport::ModelBytes;
using testsupport::ReadText;
using testsupport::Triangle;
using testsupport::Triangles;
using testsupport::WriteText;
using Pixels = std::vector<int>;

constexpr int kWidth = 160, kHeight = 120, kSize = 64;

// A folder of its own with the token table (so that the materials the
// models name resolve their defaults), a GL context on the offscreen
// driver, and an Engine in g_engine with the demo's 1 MiB vertex pool in
// main memory.
struct World
{
    World()
    {
        std::error_code ec;
        std::filesystem::create_directories("ini", ec);
        std::filesystem::copy_file(testsupport::Env("TESSIMO_SOURCE_DIR") + "/data/ini/tokens.ini",
                                   "ini/tokens.ini", ec);
        g_engine = engine = new Engine;
        if (!context.created)
            return;
        InitGL();
        engine->Init();
        engine->vertexPool->Init(0x100000, 0, 32, 0.0f, 0.0f);
    }
    ~World()
    {
        delete engine;
        g_engine = nullptr;
    }
    testsupport::TempDir dir;
    testsupport::GlContext context{kWidth, kHeight};
    Engine* engine = nullptr;
};

class SceneGl : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { world = new World; }
    static void TearDownTestSuite() { delete world; }
    void SetUp() override
    {
        ASSERT_TRUE(world->context.created) << "no GL context on the offscreen driver";
        engine = world->engine;
        // A 64 by 64 corner, identity matrices, black paper.
        glViewport(0, 0, kSize, kSize);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
        engine->drawNormals = 0;
        mark = Console()->HeldLines();
    }
    void TearDown() override { EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)); }

    static ::Console* Console() { return static_cast<::Console*>(world->engine->console); }
    // The console lines since the test began.
    std::vector<std::string> NewLines() const
    {
        std::vector<std::string> lines;
        for (uint32_t i = mark; i < Console()->HeldLines(); ++i)
            lines.push_back(Console()->Line(i));
        return lines;
    }
    // One pixel, x from the left, y from the bottom.
    static Pixels Pixel(int x, int y)
    {
        unsigned char p[4] = {};
        glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, p);
        return {p[0], p[1], p[2]};
    }
    // A directional light straight down the view, (0, 0, 1).
    static void LightFromViewer()
    {
        static Light light(GL_LIGHT0);
        light.SetPosition(0.0f, 0.0f, 1.0f);
        light.SetKind(1);
        light.Apply();
    }
    // Runs tessimo-import with space-separated arguments.
    static testsupport::ToolRun Import(const std::string& arguments)
    {
        std::vector<std::string> command = {testsupport::Env("TESSIMO_BINARY_DIR") +
                                            "/tools/tessimo-import/tessimo-import"};
        std::istringstream words(arguments);
        for (std::string w; words >> w;)
            command.push_back(w);
        return testsupport::RunTool(command);
    }
    static std::string LastLine() { return Console()->Line(Console()->HeldLines() - 1); }

    static World* world;
    Engine* engine = nullptr;
    uint32_t mark = 0;
};
World* SceneGl::world = nullptr;

const Pixels kBlack = {0, 0, 0}, kWhite = {255, 255, 255};

// A square of side 1 around the origin, facing +z.
const std::vector<float> kSquare = {-0.5f, -0.5f, 0, 0.5f, -0.5f, 0, 0.5f, 0.5f, 0, -0.5f, 0.5f, 0};
const std::vector<uint32_t> kSquareFaces = {0, 1, 2, 0, 2, 3};
const std::vector<float> kTriangle = {0, 0, 0, 1, 0, 0, 0, 1, 0};

TEST_F(SceneGl, MeshDrawsItsRenderCopyFromThePool)
{
    Mesh mesh;
    ASSERT_TRUE(FillMesh(mesh, kSquare, kSquareFaces));
    VertexArrayPool* pool = engine->vertexPool;
    EXPECT_GE(reinterpret_cast<uint8_t*>(mesh.renderPositions), pool->base);
    EXPECT_LT(reinterpret_cast<uint8_t*>(mesh.renderTexCoords), pool->end);
    EXPECT_NE(mesh.renderPositions, mesh.positions);

    // Placed a quarter to the right: x from -0.25 to 0.75, pixels 24 to 55.
    mesh.SetPosition(0.25f, 0.0f, 0.0f);
    LightFromViewer();
    int32_t before = engine->stats.polygonCount;
    mesh.Draw();
    EXPECT_EQ(engine->stats.polygonCount, before + 2);
    EXPECT_GT(Pixel(40, 32)[0], 150);
    EXPECT_GT(Pixel(25, 17)[0], 150);
    for (auto xy : {std::pair{22, 32}, {57, 32}, {40, 14}, {40, 50}})
        EXPECT_EQ(Pixel(xy.first, xy.second), kBlack) << xy.first << "," << xy.second;
    // Program matrix 0 holds the transform alone; the modelview is back.
    float m[16];
    glMatrixMode(GL_MATRIX0_ARB);
    glGetFloatv(GL_CURRENT_MATRIX_ARB, m);
    glMatrixMode(GL_MODELVIEW);
    EXPECT_EQ(m[12], 0.25f);
    glGetFloatv(GL_MODELVIEW_MATRIX, m);
    EXPECT_EQ(m[12], 0.0f);

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

    // With r_drawnormals each vertex has a white line along its normal:
    // here one unit to the right of a small triangle at the centre.
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    Mesh small;
    ASSERT_TRUE(FillMesh(small, {-0.1f, 0.02f, 0, 0.0f, 0.02f, 0, -0.1f, 0.12f, 0}, {0, 1, 2},
                         {1, 0, 0, 1, 0, 0, 1, 0, 0}));
    small.Draw();
    EXPECT_EQ(Pixel(48, 32), kBlack);
    engine->drawNormals = 1;
    small.Draw();
    EXPECT_EQ(Pixel(48, 32), kWhite);
    EXPECT_EQ(Pixel(48, 40), kBlack);
    EXPECT_TRUE(glIsEnabled(GL_LIGHTING));
    EXPECT_EQ(engine->currentShader, nullptr);
}

TEST_F(SceneGl, FrustumPlanesFollowTheMatricesAndCullingFailsAtEquality)
{
    Frustum frustum;
    // Orthographic: x in -2..2, y in -1..1, z from -1 to -10, moved one unit
    // right by the modelview.
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

    // Identity: the cube from -1 to 1. A mesh wholly right of it is skipped,
    // one whose sphere touches the right face from outside too; a hair
    // larger and it is drawn.
    glLoadIdentity();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    frustum.Update();
    EXPECT_TRUE(frustum.TestSphere(Sphere()));
    Mesh mesh;
    ASSERT_TRUE(FillMesh(mesh, kSquare, kSquareFaces));
    mesh.SetPosition(3.0f, 0.0f, 0.0f);
    float distance = frustum.planes[0][0] * 3.0f + frustum.planes[0][3];
    int32_t before = engine->stats.polygonCount;
    for (float radius : {mesh.boundingSphere.radius, -distance})
    {
        mesh.boundingSphere.radius = radius;
        mesh.DrawCulled(frustum);
        EXPECT_EQ(engine->stats.polygonCount, before) << radius;
    }
    mesh.boundingSphere.radius = std::nextafter(-distance, 100.0f);
    mesh.DrawCulled(frustum);
    EXPECT_EQ(engine->stats.polygonCount, before + 2);
}

TEST_F(SceneGl, ShadowOfOverlappingTrianglesHasOneEvenDarkness)
{
    glClearColor(1, 1, 1, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    // Two triangles above the plane z = 0 that overlap in the middle, and a
    // light at infinity straight above it.
    Mesh mesh;
    ASSERT_TRUE(FillMesh(mesh,
                         {-0.8f, -0.5f, 0.5f, 0.4f, -0.5f, 0.5f, -0.2f, 0.5f, 0.5f, //
                          -0.4f, -0.5f, 0.5f, 0.8f, -0.5f, 0.5f, 0.2f, 0.5f, 0.5f},
                         {0, 1, 2, 3, 4, 5}));
    Light light(GL_LIGHT0);
    light.SetPosition(0.0f, 0.0f, 1.0f);
    light.SetKind(1);
    Plane ground;
    ground.normal = Vec4(0.0f, 0.0f, 1.0f);
    int32_t before = engine->stats.polygonCount;
    mesh.DrawShadow(ground, &light);
    EXPECT_EQ(engine->stats.polygonCount, before + 2);
    EXPECT_NEAR(Pixel(16, 24)[0], 128, 2);
    EXPECT_EQ(Pixel(32, 24), Pixel(16, 24)); // once, where they overlap too
    EXPECT_EQ(Pixel(32, 60), kWhite);
    EXPECT_FALSE(glIsEnabled(GL_STENCIL_TEST));
    GLboolean depthMask = GL_FALSE;
    glGetBooleanv(GL_DEPTH_WRITEMASK, &depthMask);
    EXPECT_TRUE(depthMask);
    EXPECT_TRUE(glIsEnabled(GL_BLEND)); // left for the next to set
    EXPECT_EQ(engine->renderState.blendEnabled, 1);
    glDisable(GL_BLEND);
    engine->renderState.blendEnabled = 0;
}

TEST_F(SceneGl, LightStateReadsBackForBothKinds)
{
    Light light(GL_LIGHT1);
    light.diffuse = Vec4(1.0f, 0.0f, 0.0f, 1.0f);
    light.ambient = Vec4(0.25f, 0.5f, 0.75f, 1.0f);
    light.SetPosition(Vec4(1.0f, 2.0f, 3.0f, 7.0f));
    EXPECT_EQ(light.GetPosition().w, 1.0f); // a point light, whatever w came in
    // GL takes the position through the modelview: a point moves with it,
    // a direction doesn't.
    glTranslatef(10.0f, 0.0f, 0.0f);
    auto read = [](GLenum what)
    {
        float v[4];
        glGetLightfv(GL_LIGHT1, what, v);
        return std::vector<float>(v, v + 4);
    };
    light.Apply();
    EXPECT_EQ(read(GL_POSITION), (std::vector<float>{11, 2, 3, 1}));
    EXPECT_EQ(read(GL_AMBIENT), (std::vector<float>{0.25f, 0.5f, 0.75f, 1}));
    EXPECT_EQ(read(GL_DIFFUSE)[1], 0.0f);
    EXPECT_TRUE(glIsEnabled(GL_LIGHT1));
    light.SetKind(2);
    light.SetPosition(4.0f, 5.0f, 6.0f);
    EXPECT_EQ(light.kind, 2);
    light.Apply();
    EXPECT_EQ(read(GL_POSITION), (std::vector<float>{4, 5, 6, 0}));
    glDisable(GL_LIGHT1);
    // The marker: a cube in the diffuse colour around the position, drawn
    // unlit; lighting is on again afterwards and culling off.
    glLoadIdentity();
    light.SetPosition(0.0f, 0.0f, 0.0f);
    light.Draw();
    EXPECT_EQ(Pixel(32, 32), (Pixels{255, 0, 0}));
    EXPECT_EQ(Pixel(32, 40), kBlack);
    EXPECT_TRUE(glIsEnabled(GL_LIGHTING));
    EXPECT_FALSE(glIsEnabled(GL_CULL_FACE));
}

TEST_F(SceneGl, CameraAimsFliesAndAppliesTheView)
{
    Camera camera;
    camera.LookAt(Vec4(13.6f, 7.7f, 11.8f), Vec4(0.0f, -2.0f, -5.0f));
    EXPECT_EQ(camera.GetPosition().x, 0.0f);
    EXPECT_EQ(camera.GetPosition().w, 0.0f);
    camera.ApplyView();
    float m[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, m);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            EXPECT_EQ(m[4 * c + r], camera.transform.m[4 * r + c]);
    glPopMatrix();

    // An inactive window: nothing, keys or not. An active one with no key
    // and the cursor parked in the centre: the look-at stays.
    auto matrix = [&] { return std::vector<float>(camera.transform.m, camera.transform.m + 16); };
    std::vector<float> aimed = matrix();
    unsigned char active = g_window->active;
    g_window->active = 0;
    g_input->keys[VK_UP] = 1;
    camera.Fly(g_input, g_mouse, g_window, 1.0f);
    g_input->keys[VK_UP] = 0;
    EXPECT_EQ(matrix(), aimed);
    g_window->active = 1;
    g_mouse->SetPosition(kWidth / 2, kHeight / 2);
    camera.Fly(g_input, g_mouse, g_window, 1.0f);
    EXPECT_EQ(matrix(), aimed);
    // Page Up climbs along the world's y; the view is rebuilt from the
    // angles (both 0), so it is the translation alone.
    g_input->keys[VK_PRIOR] = 1;
    camera.Fly(g_input, g_mouse, g_window, 2.0f);
    g_input->keys[VK_PRIOR] = 0;
    g_window->active = active;
    EXPECT_EQ(camera.GetPosition().y, 2.0f);
    EXPECT_EQ(camera.transform.m[7], -2.0f);
    EXPECT_EQ(camera.transform.m[0], 1.0f);
    camera.MoveForward(1.0f); // along the view's backward axis, reversed
    EXPECT_EQ(camera.GetPosition().z, -1.0f);
}

void ClearErrors()
{
    while (glGetError() != GL_NO_ERROR)
    {
    }
}

// Range memory that a driver might give, for the doctored pool paths.
alignas(64) uint8_t rangeMemory[8192];
bool rangeRefused = false;
float lastPriority = -1.0f;
void* lastFreed = nullptr;
void* APIENTRY FakeAllocate(GLsizei, GLfloat, GLfloat, GLfloat priority)
{
    lastPriority = priority;
    return rangeRefused ? nullptr : rangeMemory;
}
void APIENTRY FakeFree(void* pointer)
{
    lastFreed = pointer;
}
void APIENTRY FakeRange(GLsizei, const void*) {}

TEST_F(SceneGl, PoolTakesRangeMemoryWhenTheDriverHasItAndSaysWhere)
{
    testsupport::ReportCapture boxes;
    ep_wglAllocateMemoryNV = FakeAllocate;
    ep_wglFreeMemoryNV = FakeFree;
    ep_glVertexArrayRangeNV = FakeRange;
    engine->capabilities.hasVertexArrayRange = true;
    {
        VertexArrayPool agp, vram;
        agp.Init(1000, 1, 32, 0.0f, 0.0f);
        EXPECT_EQ(agp.memoryKind, 1);
        EXPECT_EQ(lastPriority, 0.5f);
        vram.Init(8192, 2, 32, 0.0f, 0.0f);
        EXPECT_EQ(lastPriority, 1.0f);
        EXPECT_EQ(vram.base, rangeMemory);
        vram.ActivateRange(); // Mesa has no range: it can't be valid
        ClearErrors();
        // A mesh in system memory draws with the range switched off around
        // it; one in the pool draws from the range.
        VertexArrayPool* own = engine->vertexPool;
        engine->vertexPool = &vram;
        Mesh inPool, inSystem(true);
        ASSERT_TRUE(FillMesh(inPool, kSquare, kSquareFaces));
        ASSERT_TRUE(FillMesh(inSystem, kSquare, kSquareFaces));
        EXPECT_EQ(inPool.renderPositions, reinterpret_cast<float*>(rangeMemory));
        LightFromViewer();
        inSystem.SetPosition(-0.5f, 0.0f, 0.0f);
        inSystem.Draw();
        inPool.SetPosition(0.5f, 0.0f, 0.0f);
        inPool.Draw();
        ClearErrors(); // the range enumerants are unknown to Mesa
        EXPECT_GT(Pixel(16, 32)[0], 150);
        EXPECT_GT(Pixel(48, 32)[0], 150);
        engine->vertexPool = own;
    }
    ClearErrors();
    EXPECT_EQ(lastFreed, rangeMemory);

    rangeRefused = true;
    VertexArrayPool fallback;
    fallback.Init(2048, 1, 32, 0.0f, 0.0f);
    EXPECT_EQ(fallback.memoryKind, 0);
    ASSERT_EQ(boxes.boxes.size(), 1u);
    EXPECT_EQ(boxes.boxes[0].text,
              "## AGP or video memory allocation error ##\n\nAllocate in main memory :-((");
    EXPECT_EQ(boxes.boxes[0].caption, "Not enough memory");
    EXPECT_EQ(boxes.boxes[0].style, 0u);
    // Without the extension a request for range memory gets RAM, silently.
    engine->capabilities.hasVertexArrayRange = false;
    lastPriority = -1.0f;
    VertexArrayPool plain;
    plain.Init(4096, 1, 32, 0.0f, 0.0f);
    EXPECT_EQ(lastPriority, -1.0f);
    EXPECT_EQ(plain.memoryKind, 0);
    plain.ActivateRange();
    EXPECT_EQ(boxes.boxes.size(), 1u);
    ep_wglAllocateMemoryNV = nullptr;
    ep_wglFreeMemoryNV = nullptr;
    ep_glVertexArrayRangeNV = nullptr;
    rangeRefused = false;
    EXPECT_EQ(NewLines(), (std::vector<std::string>{
                              "> 0 kbytes allocated in AGP for vertices array",
                              "> 8 kbytes allocated in VRAM for vertices array",
                              "> vertex array range invalid",
                              "> 2 kbytes allocated in RAM for vertices array",
                              "> 4 kbytes allocated in RAM for vertices array",
                          }));
}

TEST_F(SceneGl, ModelFilesLoadWholeMeshesAndSayWhatWentWrong)
{
    std::vector<MeshSet> sets(8);
    auto load = [&](int i, const std::string& file, const std::string& bytes)
    {
        WriteText(file, bytes);
        sets[i].Load(file.c_str(), "", nullptr);
    };
    // Two meshes, each in its place; the path is named as given.
    load(0, "two.tsm",
         ModelBytes(2)
             .Mesh("wing", "A", kSquare, kSquareFaces, 1, 2, 3)
             .Mesh("tail", "B", kTriangle, {0, 1, 2})
             .String());
    MeshSet& two = sets[0];
    ASSERT_EQ(two.meshCount, 2u);
    EXPECT_STREQ(two.meshes[0].name, "wing");
    EXPECT_EQ(two.meshes[0].transform.m[7], 2.0f);
    EXPECT_EQ(two.meshes[1].faceCount, 1u);
    int32_t before = engine->stats.polygonCount;
    two.DrawAll();
    EXPECT_EQ(engine->stats.polygonCount, before + 3);
    // A shader deleted under the meshes (as the console can) leaves them
    // drawing without it, not through a dangling pointer.
    engine->DeleteShaderByName("B");
    EXPECT_EQ(two.meshes[1].shader, nullptr);
    EXPECT_NE(two.meshes[0].shader, nullptr);
    two.DrawAll();
    EXPECT_EQ(engine->stats.polygonCount, before + 6);

    // Missing, empty and hostile files; the pool keeps nothing of a record
    // that is refused.
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
    const uint32_t counts[8] = {2, 0, 0, 1, 1, 0, 0, 1};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(sets[i].meshCount, counts[i]) << i;
    EXPECT_EQ(NewLines(), (std::vector<std::string>{
                              "> 2 mesh loaded from file 'two.tsm'",
                              "> 0 mesh loaded from file 'missing.tsm'",
                              "> 0 mesh loaded from file 'empty.tsm'",
                              "> 1 mesh loaded from file 'cut.tsm'",
                              "  mesh 2 of 2 is cut short",
                              "> 1 mesh loaded from file 'huge.tsm'",
                              "  mesh 2 of 4294967295 is cut short",
                              "> 0 mesh loaded from file 'index.tsm'",
                              "  mesh 1 of 1 names a vertex it doesn't have",
                              "> 0 mesh loaded from file 'billions.tsm'",
                              "  mesh 1 of 1 is cut short",
                              "> 1 mesh loaded from file 'big.tsm'",
                              "  mesh 2 of 2 doesn't fit in the vertex memory",
                          }));
}

#if TESSIMO_IMPORT

// Two objects on two materials: a quad with its own normals and texture
// coordinates, and a pentagon without either.
const char* const kObj = "mtllib two.mtl\n"
                         "v 0 0 0\nv 2 0 0\nv 2 1 0\nv 0 1 0\n"
                         "v 0 0 1\nv 1 0 2\nv 2 0 1\nv 2 0 0\nv 1 0 -1\n"
                         "vt 0 0\nvt 1 0\nvt 1 0.5\nvt 0 0.5\n"
                         "vn 0 0 1\n"
                         "o wing\nusemtl red\nf 1/1/1 2/2/1 3/3/1 4/4/1\n"
                         "o tail\nusemtl blue\nf 5 6 7 8 9\n";
const char* const kMtl = "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\n";

// Every triangle Assimp reports for the source, triangulated, with the
// smooth normals it generates where the source has none; sorted, and
// without texture coordinates unless asked.
std::vector<Triangle> AssimpTriangles(const char* path)
{
    Assimp::Importer importer;
    const aiScene* scene =
        importer.ReadFile(path, aiProcess_Triangulate | aiProcess_GenSmoothNormals);
    std::vector<Triangle> out;
    for (unsigned m = 0; scene && m < scene->mNumMeshes; ++m)
    {
        const aiMesh* mesh = scene->mMeshes[m];
        for (unsigned f = 0; f < mesh->mNumFaces; ++f)
        {
            Triangle t;
            for (int c = 0; c < 3; ++c)
            {
                unsigned v = mesh->mFaces[f].mIndices[c];
                const aiVector3D &p = mesh->mVertices[v], &n = mesh->mNormals[v];
                aiVector3D uv =
                    mesh->HasTextureCoords(0) ? mesh->mTextureCoords[0][v] : aiVector3D();
                t[c] = {p.x, p.y, p.z, n.x, n.y, n.z, uv.x, uv.y};
            }
            out.push_back(t);
        }
    }
    return out;
}

// Generated texture coordinates are the tool's own: they are compared only
// where the source had some.
void Compare(std::vector<Triangle> ours, std::vector<Triangle> theirs, bool withTexCoords)
{
    for (auto* ts : {&ours, &theirs})
    {
        for (Triangle& t : *ts)
            for (auto& c : t)
                if (!withTexCoords)
                    c[6] = c[7] = 0.0f;
        std::sort(ts->begin(), ts->end());
    }
    ASSERT_EQ(ours.size(), theirs.size());
    for (size_t i = 0; i < ours.size(); ++i)
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 8; ++k)
                EXPECT_NEAR(ours[i][c][k], theirs[i][c][k], 1e-5f) << i << " " << c << " " << k;
}

TEST_F(SceneGl, ImportedModelHasTheSourcesTrianglesAndMaterials)
{
    WriteText("two.obj", kObj);
    WriteText("two.mtl", kMtl);
    ASSERT_EQ(Import("--strokes keep --no-outline two.obj two.tsm").status, 0);
    MeshSet set;
    set.Load("two.tsm", "", nullptr);
    EXPECT_EQ(LastLine(), "> 2 mesh loaded from file 'two.tsm'");
    ASSERT_EQ(set.meshCount, 2u);
    EXPECT_STREQ(set.meshes[0].name, "wing");
    EXPECT_EQ(set.meshes[1].faceCount, 3u); // the pentagon, triangulated
    std::vector<Triangle> all = AssimpTriangles("two.obj");
    Compare(Triangles(set.meshes[0]), {all.begin(), all.begin() + 2}, true);
    Compare(Triangles(set.meshes[1]), {all.begin() + 2, all.end()}, false);
    // The generated projection spans 0 to 1 over the pentagon's x and z.
    for (uint32_t v = 0; v < set.meshes[1].vertexCount; ++v)
    {
        EXPECT_EQ(set.meshes[1].texCoords[2 * v], set.meshes[1].positions[3 * v] * 0.5f);
        EXPECT_GE(set.meshes[1].texCoords[2 * v + 1], 0.0f);
    }
    // Two materials, two shaders; one material for all, one shared shader.
    ASSERT_NE(set.meshes[0].shader, nullptr);
    EXPECT_NE(set.meshes[0].shader, set.meshes[1].shader);
    EXPECT_STREQ(set.meshes[1].shader->name, "blue");
    ASSERT_EQ(
        Import("--no-outline --material Hatching --scale 2 --position 0,-2,-5 two.obj one.tsm")
            .status,
        0);
    MeshSet one;
    one.Load("one.tsm", "", nullptr);
    ASSERT_EQ(one.meshCount, 2u);
    EXPECT_EQ(one.meshes[0].shader, one.meshes[1].shader);
    EXPECT_STREQ(one.meshes[0].shader->name, "Hatching");
    EXPECT_EQ(one.meshes[1].transform.m[11], -5.0f);
    EXPECT_EQ(one.meshes[0].sizeX, 4.0f);
    ASSERT_EQ(Import("--strokes keep --no-outline --merge all --center two.obj all.tsm").status, 0);
    MeshSet merged;
    merged.Load("all.tsm", "", nullptr);
    ASSERT_EQ(merged.meshCount, 1u);
    EXPECT_EQ(merged.meshes[0].faceCount, 5u);
    EXPECT_EQ(merged.meshes[0].vertexCount, 9u);
    EXPECT_FLOAT_EQ(merged.meshes[0].boundingSphere.radius, std::sqrt(2.5f));
}

// A source model built here: OBJ vertices and triangles, each object a
// piece of its own.
struct Obj
{
    std::string text;
    int count = 0;
    int V(float x, float y, float z)
    {
        text += "v " + std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(z) + "\n";
        return ++count;
    }
    void F(int a, int b, int c)
    {
        text += "f " + std::to_string(a) + " " + std::to_string(b) + " " + std::to_string(c) + "\n";
    }
    void Object(const char* name) { text += std::string("o ") + name + "\n"; }
    // A box from `low` to `high`, faces turned outwards.
    void Box(const float* low, const float* high)
    {
        int c[8];
        for (int i = 0; i < 8; ++i)
            c[i] = V(i & 1 ? high[0] : low[0], i & 2 ? high[1] : low[1], i & 4 ? high[2] : low[2]);
        for (const auto& q : {std::array<int, 4>{0, 4, 6, 2},
                              {1, 3, 7, 5},
                              {0, 1, 5, 4},
                              {2, 6, 7, 3},
                              {0, 2, 3, 1},
                              {4, 5, 7, 6}})
        {
            F(c[q[0]], c[q[1]], c[q[2]]);
            F(c[q[0]], c[q[2]], c[q[3]]);
        }
    }
    // Rings of `sides` points (ring(r, i) gives each), joined into a tube;
    // closed at either end by a point when one is given.
    template <typename Ring>
    void Tube(int rings, int sides, Ring ring, const float* first, const float* last)
    {
        std::vector<int> v;
        for (int r = 0; r < rings; ++r)
            for (int i = 0; i < sides; ++i)
                v.push_back(ring(r, i));
        auto at = [&](int r, int i) { return v[r * sides + (i % sides)]; };
        int ends[2] = {first ? V(first[0], first[1], first[2]) : 0,
                       last ? V(last[0], last[1], last[2]) : 0};
        for (int i = 0; i < sides; ++i)
        {
            for (int r = 0; r + 1 < rings; ++r)
            {
                F(at(r, i), at(r, i + 1), at(r + 1, i + 1));
                F(at(r, i), at(r + 1, i + 1), at(r + 1, i));
            }
            if (ends[0])
                F(ends[0], at(0, i + 1), at(0, i));
            if (ends[1])
                F(ends[1], at(rings - 1, i), at(rings - 1, i + 1));
        }
    }
};

float Dot3(const float* a, const float* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

TEST_F(SceneGl, ImportedStrokesFollowTheFormAndTheOutlineHugsTheHull)
{
    // A capped cylinder about x, radius 1, from x = 20 to 30, 24 sides from
    // +y; a plate 10 long in x, 4 wide in z, 0.4 thick; a sphere of radius
    // 3 about (0, 0, -20), 12 sides and 8 rings.
    Obj obj;
    const float pi = float(M_PI), ends[2][3] = {{20, 0, 0}, {30, 0, 0}};
    obj.Object("cylinder");
    obj.Tube(
        2, 24,
        [&](int r, int i)
        { return obj.V(20.0f + 10.0f * r, std::cos(pi * i / 12), std::sin(pi * i / 12)); },
        ends[0], ends[1]);
    obj.Object("plate");
    const float low[3] = {-5, -0.2f, 10}, high[3] = {5, 0.2f, 14},
                poles[2][3] = {{0, 3, -20}, {0, -3, -20}};
    obj.Box(low, high);
    obj.Object("sphere");
    obj.Tube(
        7, 12,
        [&](int r, int i)
        {
            float polar = pi * (r + 1) / 8, around = pi * i / 6;
            return obj.V(3 * std::sin(polar) * std::cos(around), 3 * std::cos(polar),
                         -20 + 3 * std::sin(polar) * std::sin(around));
        },
        poles[0], poles[1]);
    WriteText("form.obj", obj.text);
    testsupport::ToolRun run = Import("--stroke-size 1 --outline 3 --info form.obj form.tsm");
    ASSERT_EQ(run.status, 0) << run.err;
    for (const char* line :
         {"  cylinder                         elongated", "  plate                            flat",
          "  sphere                           other", "6 turns"})
        EXPECT_NE(run.out.find(line), std::string::npos) << line << "\n" << run.out;
    MeshSet set;
    set.Load("form.tsm", "", nullptr);
    ASSERT_EQ(set.meshCount, 4u);
    const Mesh &cylinder = set.meshes[0], &plate = set.meshes[1], &outline = set.meshes[3];

    // Around the cylinder s runs 6 repeats (2 pi r, a repeat a unit), a
    // quarter a side, from +y either way round; t runs along the axis a unit
    // a unit. The seam is the one line of places with two values of s, 6
    // apart, on the underside, and no side's face crosses it.
    std::map<std::vector<float>, std::set<float>> sAt;
    for (uint32_t v = 0; v < cylinder.vertexCount; ++v)
    {
        const float *p = &cylinder.positions[3 * v], *n = &cylinder.normals[3 * v];
        const float* st = &cylinder.texCoords[2 * v];
        if (std::fabs(n[0]) > 0.5f)
            continue; // an end cap
        EXPECT_NEAR(std::fabs(st[1] - (p[0] - 25.0f)), 0.0f, 1e-4f) << p[0];
        float around = std::atan2(p[2], p[1]) * 12.0f / pi;
        EXPECT_NEAR(std::min(std::fabs(std::remainder(st[0] * 4.0f - around, 24.0f)),
                             std::fabs(std::remainder(st[0] * 4.0f + around, 24.0f))),
                    0.0f, 1e-3f)
            << p[1] << " " << p[2] << " " << st[0];
        sAt[{p[0], p[1], p[2]}].insert(st[0]);
        EXPECT_NEAR(n[1] * p[1] + n[2] * p[2], 1.0f, 1e-4f); // smooth: the radius
    }
    EXPECT_EQ(sAt.size(), 48u);
    int seam = 0;
    for (const auto& [place, s] : sAt)
        if (s.size() > 1)
        {
            ++seam;
            ASSERT_EQ(s.size(), 2u);
            EXPECT_LT(place[1], -0.9f) << place[2];
            EXPECT_NEAR(*s.rbegin() - *s.begin(), 6.0f, 1e-4f);
        }
    EXPECT_EQ(seam, 2); // one side's two corners
    for (uint32_t f = 0; f < cylinder.faceCount; ++f)
    {
        std::vector<float> s;
        for (int k = 0; k < 3; ++k)
        {
            uint32_t v = cylinder.indices[3 * f + k];
            if (std::fabs(cylinder.normals[3 * v]) < 0.5f)
                s.push_back(cylinder.texCoords[2 * v]);
        }
        std::sort(s.begin(), s.end());
        EXPECT_LT(s.size() == 3 ? s[2] - s[0] : 0.0f, 0.2501f) << f;
    }
    // On the plate's broad faces s runs across the short side (z) and t
    // along the long one (x), a unit a unit.
    int broad = 0;
    for (uint32_t a = 0; a < plate.vertexCount; ++a)
        for (uint32_t b = 0; b < plate.vertexCount; ++b)
        {
            const float *pa = &plate.positions[3 * a], *pb = &plate.positions[3 * b];
            if (std::fabs(plate.normals[3 * a + 1]) < 0.99f ||
                plate.normals[3 * a + 1] != plate.normals[3 * b + 1])
                continue;
            ++broad;
            EXPECT_NEAR(std::fabs(plate.texCoords[2 * a] - plate.texCoords[2 * b]),
                        std::fabs(pa[2] - pb[2]), 1e-4f);
            EXPECT_NEAR(std::fabs(plate.texCoords[2 * a + 1] - plate.texCoords[2 * b + 1]),
                        std::fabs(pa[0] - pb[0]), 1e-4f);
        }
    EXPECT_EQ(broad, 2 * 16); // two faces of four corners, every pair

    // The outline: last, on "Outline", every place once, the cylinder (the
    // first mesh) turned half a turn about y, s = the width; its normals
    // unit and pointing out of each of the three convex shapes.
    ASSERT_NE(outline.shader, nullptr);
    EXPECT_STREQ(outline.shader->name, "Outline");
    EXPECT_EQ(outline.vertexCount, 50u + 8u + 86u);
    EXPECT_EQ(outline.faceCount,
              set.meshes[0].faceCount + set.meshes[1].faceCount + set.meshes[2].faceCount);
    std::set<std::vector<float>> places;
    for (uint32_t v = 0; v < outline.vertexCount; ++v)
    {
        const float *p = &outline.positions[3 * v], *n = &outline.normals[3 * v];
        EXPECT_TRUE(places.insert({p[0], p[1], p[2]}).second) << "welded";
        EXPECT_EQ(outline.texCoords[2 * v], 3.0f);
        EXPECT_EQ(outline.texCoords[2 * v + 1], 0.0f);
        EXPECT_NEAR(Dot3(n, n), 1.0f, 1e-4f);
        float centre[3] = {p[0] < -19.9f ? -25.0f : 0.0f, 0.0f,
                           p[0] < -19.9f ? 0.0f
                           : p[2] > 9.9f ? 12.0f
                                         : -20.0f};
        float out[3] = {p[0] - centre[0], p[1] - centre[1], p[2] - centre[2]};
        EXPECT_GT(Dot3(n, out), 0.3f * std::sqrt(Dot3(out, out))) << p[0] << " " << p[2];
    }
    EXPECT_EQ(places.count({-30.0f, 1.0f, 0.0f}), 1u); // the cylinder turned
    EXPECT_EQ(places.count({5.0f, 0.2f, 14.0f}), 1u);  // the plate as it is

    // With repeats of 20 units the cylinder is too thin for half of one
    // around: s folds, as far as the way round from the top, no seam.
    run = Import("--stroke-size 20 --info form.obj thin.tsm");
    ASSERT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("folded"), std::string::npos) << run.out;
    MeshSet thin;
    thin.Load("thin.tsm", "", nullptr);
    std::set<std::vector<float>> sides;
    for (uint32_t v = 0; v < thin.meshes[0].vertexCount; ++v)
    {
        const float* p = &thin.meshes[0].positions[3 * v];
        if (std::fabs(thin.meshes[0].normals[3 * v]) > 0.5f)
            continue;
        EXPECT_NEAR(thin.meshes[0].texCoords[2 * v], std::fabs(std::atan2(p[2], p[1])) * 0.99f / 20,
                    0.01f / 20.0f);
        EXPECT_TRUE(sides.insert({p[0], p[1], p[2]}).second) << "a seam";
    }
}

TEST_F(SceneGl, ImportOfBadInputGivesADrawableModelOrOneLineWhy)
{
    // No normals anywhere; a sheet with a triangle twice and one on a line;
    // three triangles on one edge; a speck far smaller than a repeat.
    Obj obj;
    obj.Object("sheet");
    int a = obj.V(0, 0, 0), b = obj.V(4, 0, 0), c = obj.V(4, 0, -4), d = obj.V(0, 0, -4);
    int e = obj.V(2, 0, 0);
    obj.F(a, b, c);
    obj.F(a, c, d);
    obj.F(a, b, c);
    obj.F(a, e, b);
    obj.Object("fan");
    int h0 = obj.V(10, 0, 0), h1 = obj.V(10, 2, 0);
    obj.F(h0, h1, obj.V(12, 1, 0));
    obj.F(h1, h0, obj.V(8, 1, 0));
    obj.F(h0, h1, obj.V(10, 1, 2));
    obj.Object("speck");
    const float low[3] = {-10, 0, 0}, high[3] = {-9.999f, 0.001f, 0.001f};
    obj.Box(low, high);
    WriteText("bad.obj", obj.text);
    testsupport::ToolRun run = Import("--info bad.obj bad.tsm");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "tessimo-import: left out triangles: 1 without area, 1 repeated\n"
                       "tessimo-import: box coordinates for parts too small to have axes: 1\n"
                       "tessimo-import: outline written with edges of more than two triangles: 1\n"
                       "tessimo-import: outline left out for flat open sheets: 1\n");
    MeshSet set;
    set.Load("bad.tsm", "", nullptr);
    ASSERT_EQ(set.meshCount, 4u);
    EXPECT_EQ(set.meshes[0].faceCount, 2u);
    // Only the fan has an outline: the sheet is flat and open, and the
    // speck lies within the welding distance (a ten thousandth of 22 units).
    EXPECT_EQ(set.meshes[3].faceCount, 3u);
    for (uint32_t m = 0; m < set.meshCount; ++m)
        for (uint32_t v = 0; v < set.meshes[m].vertexCount; ++v)
        {
            const float* n = &set.meshes[m].normals[3 * v];
            EXPECT_NEAR(Dot3(n, n), 1.0f, 1e-4f) << m;
            EXPECT_TRUE(std::isfinite(set.meshes[m].texCoords[2 * v]));
            EXPECT_TRUE(std::isfinite(set.meshes[m].texCoords[2 * v + 1]));
        }
    EXPECT_EQ(set.meshes[0].normals[1], 1.0f); // made from the faces

    // A wing's two skins modelled apart, meeting a millionth apart at the
    // leading edge (z = 0) and the trailing edge: one hull, whose edges take
    // the average of both skins and point out past the edge.
    Obj skins;
    for (float side : {1.0f, -1.0f})
    {
        skins.Object(side > 0 ? "upper" : "lower");
        float off = side > 0 ? 0.0f : 1e-6f;
        int l0 = skins.V(0, off, 0), l1 = skins.V(4, 0, off), m0 = skins.V(0, 0.5f * side, -2),
            m1 = skins.V(4, 0.5f * side, -2), t0 = skins.V(off, 0, -4), t1 = skins.V(4, 0, -4);
        for (auto f : {std::array<int, 3>{l0, l1, m1}, {l0, m1, m0}, {m0, m1, t1}, {m0, t1, t0}})
            side > 0 ? skins.F(f[0], f[1], f[2]) : skins.F(f[0], f[2], f[1]);
    }
    WriteText("skins.obj", skins.text);
    run = Import("--merge all skins.obj skins.tsm");
    ASSERT_EQ(run.status, 0) << run.err;
    MeshSet wing;
    wing.Load("skins.tsm", "", nullptr);
    ASSERT_EQ(wing.meshCount, 2u);
    const Mesh& hull = wing.meshes[1];
    EXPECT_EQ(hull.vertexCount, 8u);
    int edges = 0;
    for (uint32_t v = 0; v < hull.vertexCount; ++v)
    {
        // Turned half a turn: the leading edge at z = 0, the trailing one at 4.
        float z = hull.positions[3 * v + 2], nz = hull.normals[3 * v + 2];
        if (std::fabs(z) < 1e-3f || std::fabs(z - 4.0f) < 1e-3f)
        {
            ++edges;
            EXPECT_NEAR(std::fabs(nz), 1.0f, 1e-4f) << z;
            EXPECT_GT(nz * (z - 2.0f), 0.0f) << z;
        }
    }
    EXPECT_EQ(edges, 4);

    // 182 by 182 vertices on a flat grid: written, with a warning that the
    // demo's 1 MiB will not hold their 1060000 bytes (and the up to 31 that
    // aligning the first array skips).
    std::string grid;
    for (int y = 0; y < 182; ++y)
        for (int x = 0; x < 182; ++x)
            grid += "v " + std::to_string(x) + " 0 " + std::to_string(y) + "\n";
    for (int v = 1; v < 181 * 182; ++v)
        if (v % 182 != 0)
            grid += "f " + std::to_string(v) + " " + std::to_string(v + 182) + " " +
                    std::to_string(v + 183) + " " + std::to_string(v + 1) + "\n";
    WriteText("grid.obj", grid);
    EXPECT_EQ(Import("--no-outline grid.obj grid.tsm").err,
              "tessimo-import: warning: the model needs up to 1060031 bytes of vertex memory, "
              "more than the demo's 1048576\n");
    EXPECT_TRUE(std::filesystem::exists("grid.tsm"));
    // One triangle alone is a model, a flat open sheet without outline.
    WriteText("one.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    run = Import("one.obj one.tsm");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "tessimo-import: outline left out for flat open sheets: 1\n");
    // A fold whose faces turn by 55 degrees: its edge keeps each face's
    // normal by default, and takes their mean with --crease 60.
    WriteText("fold.obj", "v 0 0 0\nv 1 0 0\nv 0.5 1 0\nv 0.5 " +
                              std::to_string(-std::cos(55 * M_PI / 180)) + " " +
                              std::to_string(std::sin(55 * M_PI / 180)) + "\nf 1 2 3\nf 2 1 4\n");
    for (const char* crease : {"", "--crease 60 "})
    {
        ASSERT_EQ(Import(crease + std::string("fold.obj fold.tsm")).status, 0) << crease;
        MeshSet fold;
        fold.Load("fold.tsm", "", nullptr);
        ASSERT_GE(fold.meshCount, 1u);
        std::set<std::vector<long>> normals;
        for (uint32_t v = 0; v < fold.meshes[0].vertexCount; ++v)
            if (fold.meshes[0].positions[3 * v + 1] == 0 &&
                fold.meshes[0].positions[3 * v + 2] == 0)
                normals.insert({std::lround(fold.meshes[0].normals[3 * v] * 1000),
                                std::lround(fold.meshes[0].normals[3 * v + 1] * 1000),
                                std::lround(fold.meshes[0].normals[3 * v + 2] * 1000)});
        EXPECT_EQ(normals.size(), *crease ? 1u : 2u) << crease;
    }
    WriteText("two.obj", kObj);
    WriteText("two.mtl", kMtl);
    run = Import("--info --merge material two.obj");
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("2 meshes"), std::string::npos) << run.out; // both flat, no outline
    EXPECT_NE(run.out.find("vertex memory 352 bytes, 352 without the outline, of 1048576"),
              std::string::npos)
        << run.out;

    // Refused in one line (status 1), a file already there left as it was;
    // bad arguments name the option, the value and what it takes, then the
    // usage line (status 2); help goes to standard output.
    WriteText("kept.tsm", "kept");
    WriteText("line.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n");
    WriteText("points.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n");
    const std::string usage = "usage: tessimo-import [options] SOURCE OUTPUT\n";
    const std::string notFinite =
        "tessimo-import: 'inf.obj' has coordinates that are not finite numbers\n";
    struct Refusal
    {
        const char* inf; // the bad coordinate of inf.obj
        std::string arguments, error;
        int status;
    };
    const std::vector<Refusal> refusals = {
        {"", "line.obj kept.tsm", "", 1},
        {"", "points.obj kept.tsm", "", 1},
        {"nan", "inf.obj kept.tsm", notFinite, 1},
        {"1e39", "inf.obj kept.tsm", notFinite, 1},
        {"-inf", "inf.obj new.tsm", notFinite, 1},
        {"", "--max-vertices 8 --no-outline two.obj kept.tsm",
         "tessimo-import: 9 vertices, more than the 8 allowed\n", 1},
        {"", "two.obj .", "", 1},
        {"", "--crease 400 two.obj new.tsm",
         "tessimo-import: --crease 400: expected 0 to 180\n" + usage, 2},
        {"", "--strokes wavy two.obj new.tsm",
         "tessimo-import: --strokes wavy: expected form, box or keep\n" + usage, 2},
        {"", "--outline 0 two.obj new.tsm", "", 2},
        {"", "--material ThisNameIsLongerThanThirtyOneChars two.obj new.tsm", "", 2},
        {"", "two.obj", "tessimo-import: missing OUTPUT\n" + usage, 2},
    };
    for (const Refusal& r : refusals)
    {
        SCOPED_TRACE(r.arguments);
        if (*r.inf)
            WriteText("inf.obj", std::string("v 0 0 0\nv ") + r.inf + " 0 0\nv 0 1 0\nf 1 2 3\n");
        run = Import(r.arguments);
        EXPECT_EQ(run.status, r.status);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), r.status) << run.err;
        EXPECT_EQ(run.err.substr(0, r.error.size()), r.error);
    }
    EXPECT_EQ(ReadText("kept.tsm"), "kept");
    EXPECT_FALSE(std::filesystem::exists("new.tsm"));
}

TEST_F(SceneGl, TheDemosAirplaneFillsTheDemosView)
{
    std::string archive = testsupport::Env("TESSIMO_RUN_DIR") + "/data.rar";
    MeshSet plane;
    uint32_t freeBefore = engine->vertexPool->freeBytes;
    plane.Load("tsm\\avion.tsm", archive.c_str(), "mirodune");
    // The airplane as one mesh, since the demo turns the first mesh of the
    // file and the whole plane has to turn with it; then its outline, as
    // many triangles (welding loses a few slivers), on "Outline".
    EXPECT_EQ(LastLine(), "> 2 mesh loaded from file 'tsm\\avion.tsm'");
    ASSERT_EQ(plane.meshCount, 2u);
    for (uint32_t i = 0; i < plane.meshCount; ++i)
    {
        ASSERT_NE(plane.meshes[i].shader, nullptr);
        EXPECT_STREQ(plane.meshes[i].shader->name, i == 0 ? "Hatching" : "Outline");
    }
    EXPECT_LE(plane.meshes[1].faceCount, plane.meshes[0].faceCount);
    EXPECT_GE(plane.meshes[1].faceCount, plane.meshes[0].faceCount * 99 / 100);
    EXPECT_LE(plane.meshes[0].vertexCount + plane.meshes[1].vertexCount, 32000u);
    EXPECT_LT(freeBefore - engine->vertexPool->freeBytes, 0x100000u / 4);

    // The demo's view: 45 degrees, the camera at (13.6, 7.7, 11.8) looking
    // at (0, -2, -5), the first mesh turned half a turn, drawn lit without
    // its material. On white paper the plane covers most of the frame's
    // width, and stays inside it.
    Matrix4 turn;
    turn.RotationY(DegToRad * 180.0f);
    plane.meshes[0].transform = plane.meshes[0].transform * turn;
    glViewport(0, 0, kWidth, kHeight);
    SetPerspective(kWidth, kHeight, 0.1f, 1000.0f);
    glClearColor(1, 1, 1, 1);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    Camera camera;
    camera.LookAt(Vec4(13.6f, 7.7f, 11.8f), Vec4(0.0f, -2.0f, -5.0f));
    camera.ApplyView();
    Light light(GL_LIGHT0);
    light.SetPosition(15.0f, 40.0f, 0.0f);
    light.SetKind(1);
    light.Apply();
    plane.meshes[0].shader = nullptr;
    engine->SetShader(nullptr);
    // GL's own material, whatever the materials drawn before left.
    const float grey[4] = {0.8f, 0.8f, 0.8f, 1}, dark[4] = {0.2f, 0.2f, 0.2f, 1},
                none[4] = {0, 0, 0, 1};
    glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, grey);
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, dark);
    glMaterialfv(GL_FRONT_AND_BACK, GL_SPECULAR, none);
    glMaterialfv(GL_FRONT_AND_BACK, GL_EMISSION, none);
    int32_t before = engine->stats.polygonCount;
    plane.DrawAll();
    glPopMatrix();
    EXPECT_GT(engine->stats.polygonCount - before, 500);
    std::vector<unsigned char> frame(kWidth * kHeight * 4);
    glReadPixels(0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, frame.data());
    int left = kWidth, right = -1, bottom = kHeight, top = -1;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            if (std::min({frame[4 * (y * kWidth + x)], frame[4 * (y * kWidth + x) + 1],
                          frame[4 * (y * kWidth + x) + 2]}) < 255)
            {
                left = std::min(left, x);
                right = std::max(right, x);
                bottom = std::min(bottom, y);
                top = std::max(top, y);
            }
    ASSERT_GE(right, 0) << "nothing drawn";
    EXPECT_GT(right - left + 1, kWidth * 6 / 10);
    EXPECT_TRUE(left > 0 && right < kWidth - 1 && bottom > 0 && top < kHeight - 1)
        << left << " " << right << " " << bottom << " " << top;
}
#endif

} // namespace
