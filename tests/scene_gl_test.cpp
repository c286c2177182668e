// The scene on a real GL context (SDL's offscreen driver on Mesa): meshes
// drawn from the vertex pool into frames that are read back, culling,
// shadows, normals, the light's and the frustum's GL side, the camera, the
// pool's texts with the range extension doctored in, and model files read
// by MeshSet, hostile ones included.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "app/gl_entry_points.h"
#include "app/input.h"
#include "app/window.h"
#include "engine/engine.h"
#include "platform/keys.h"
#include "resources/vertex_array_pool.h"
#include "scene/camera.h"
#include "scene/frustum.h"
#include "scene/light.h"
#include "scene/mesh.h"
#include "scene/mesh_set.h"
#include "support/mesh_builder.h"
#include "support/model_file.h"
#include "support/report_capture.h"
#include "support/scene_engine.h"

namespace
{

using testsupport::FillMesh;
using testsupport::ModelBytes;
using testsupport::WriteText;

constexpr int kSize = 64;

class SceneGl : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { world = new testsupport::SceneEngine(kSize, kSize); }
    static void TearDownTestSuite() { delete world; }
    void SetUp() override
    {
        ASSERT_TRUE(world->context.created) << "no GL context on the offscreen driver";
        engine = world->engine;
        // Identity matrices, black paper, a cleared depth and stencil.
        glViewport(0, 0, kSize, kSize);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
        engine->drawNormals = 0;
        mark = world->console()->HeldLines();
    }
    void TearDown() override { EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR)); }

    // The console lines since the test began.
    std::vector<std::string> NewLines() const { return world->Lines(mark); }
    // One pixel of the frame, x from the left, y from the bottom.
    static std::vector<int> Pixel(int x, int y)
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

    static testsupport::SceneEngine* world;
    Engine* engine = nullptr;
    uint32_t mark = 0;
};
testsupport::SceneEngine* SceneGl::world = nullptr;

const std::vector<int> kBlack = {0, 0, 0};
const std::vector<int> kWhite = {255, 255, 255};

// A square of side 1 around the origin, facing +z.
const std::vector<float> kSquare = {-0.5f, -0.5f, 0, 0.5f, -0.5f, 0, 0.5f, 0.5f, 0, -0.5f, 0.5f, 0};
const std::vector<uint32_t> kSquareFaces = {0, 1, 2, 0, 2, 3};

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
    EXPECT_EQ(Pixel(22, 32), kBlack);
    EXPECT_EQ(Pixel(57, 32), kBlack);
    EXPECT_EQ(Pixel(40, 14), kBlack);
    EXPECT_EQ(Pixel(40, 50), kBlack);

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
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    mesh.Draw();
    EXPECT_GT(Pixel(40, 32)[0], 150);
    mesh.UploadVertices();
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    mesh.Draw();
    EXPECT_EQ(Pixel(40, 32), kBlack);
}

TEST_F(SceneGl, FrustumPlanesFollowTheMatricesAndCullingFailsAtEquality)
{
    Frustum frustum;
    // Orthographic: x in -2..2, y in -1..1, z from -1 to -10, then moved one
    // unit right by the modelview, so that the right face is at x = 1 in the
    // modelview's input space.
    glMatrixMode(GL_PROJECTION);
    glOrtho(-2, 2, -1, 1, 1, 10);
    glMatrixMode(GL_MODELVIEW);
    glTranslatef(1.0f, 0.0f, 0.0f);
    frustum.Update();
    const float expected[6][4] = {{-1, 0, 0, 1}, {1, 0, 0, 3},  {0, 1, 0, 1},
                                  {0, -1, 0, 1}, {0, 0, 1, 10}, {0, 0, -1, -1}};
    for (int p = 0; p < 6; ++p)
        for (int k = 0; k < 4; ++k)
            EXPECT_NEAR(frustum.planes[p][k], expected[p][k], 0.002f * 10) << p << "," << k;

    // Identity: the cube from -1 to 1. A mesh wholly right of it is skipped;
    // one whose sphere touches the right face from outside too; a hair
    // larger and it is drawn.
    glLoadIdentity();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    frustum.Update();
    Sphere origin;
    EXPECT_TRUE(frustum.TestSphere(origin));

    Mesh mesh;
    ASSERT_TRUE(FillMesh(mesh, kSquare, kSquareFaces));
    mesh.SetPosition(3.0f, 0.0f, 0.0f);
    int32_t before = engine->stats.polygonCount;
    mesh.DrawCulled(frustum);
    EXPECT_EQ(engine->stats.polygonCount, before);

    const float* right = frustum.planes[0];
    float distance = right[0] * 3.0f + right[3];
    mesh.boundingSphere.radius = -distance;
    mesh.DrawCulled(frustum);
    EXPECT_EQ(engine->stats.polygonCount, before);
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

    std::vector<int> single = Pixel(16, 24);
    std::vector<int> both = Pixel(32, 24);
    EXPECT_NEAR(single[0], 128, 2);
    EXPECT_EQ(both, single);
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

TEST_F(SceneGl, NormalsAreDrawnAsWhiteLinesWhenAskedFor)
{
    // A small triangle at the centre whose normals point right, one unit:
    // with r_drawnormals each vertex has a white line to x + 1.
    Mesh mesh;
    ASSERT_TRUE(FillMesh(mesh, {-0.1f, 0.02f, 0, 0.0f, 0.02f, 0, -0.1f, 0.12f, 0}, {0, 1, 2},
                         {1, 0, 0, 1, 0, 0, 1, 0, 0}));
    mesh.Draw();
    EXPECT_EQ(Pixel(48, 32), kBlack);
    engine->drawNormals = 1;
    mesh.Draw();
    EXPECT_EQ(Pixel(48, 32), kWhite);
    EXPECT_EQ(Pixel(48, 40), kBlack);
    EXPECT_TRUE(glIsEnabled(GL_LIGHTING));
    EXPECT_EQ(engine->currentShader, nullptr);
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
    light.Apply();
    float v[4];
    glGetLightfv(GL_LIGHT1, GL_POSITION, v);
    EXPECT_EQ(std::vector<float>(v, v + 4), (std::vector<float>{11, 2, 3, 1}));
    glGetLightfv(GL_LIGHT1, GL_AMBIENT, v);
    EXPECT_EQ(std::vector<float>(v, v + 4), (std::vector<float>{0.25f, 0.5f, 0.75f, 1}));
    glGetLightfv(GL_LIGHT1, GL_DIFFUSE, v);
    EXPECT_EQ(v[1], 0.0f);
    EXPECT_TRUE(glIsEnabled(GL_LIGHT1));

    light.SetKind(2);
    light.SetPosition(4.0f, 5.0f, 6.0f);
    EXPECT_EQ(light.kind, 2);
    light.Apply();
    glGetLightfv(GL_LIGHT1, GL_POSITION, v);
    EXPECT_EQ(std::vector<float>(v, v + 4), (std::vector<float>{4, 5, 6, 0}));
    glDisable(GL_LIGHT1);

    // The marker: a cube in the diffuse colour around the position, drawn
    // unlit; lighting is on again afterwards and culling off.
    glLoadIdentity();
    light.SetPosition(0.0f, 0.0f, 0.0f);
    light.Draw();
    EXPECT_EQ(Pixel(32, 32), (std::vector<int>{255, 0, 0}));
    EXPECT_EQ(Pixel(32, 40), kBlack);
    EXPECT_TRUE(glIsEnabled(GL_LIGHTING));
    EXPECT_FALSE(glIsEnabled(GL_CULL_FACE));
}

TEST_F(SceneGl, CameraAimsFliesAndAppliesTheView)
{
    Camera camera;
    camera.LookAt(Vec4(13.6f, 7.7f, 11.8f), Vec4(0.0f, -2.0f, -5.0f));
    Vec4 at = camera.GetPosition();
    EXPECT_EQ(at.x, 0.0f);
    EXPECT_EQ(at.w, 0.0f);
    camera.ApplyView();
    float m[16];
    glGetFloatv(GL_MODELVIEW_MATRIX, m);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            EXPECT_EQ(m[4 * c + r], camera.transform.m[4 * r + c]);
    glPopMatrix();

    // An inactive window: nothing, keys or not. An active one with no key
    // and the cursor parked in the centre: the look-at stays.
    Matrix4 aimed = camera.transform;
    unsigned char active = g_window->active;
    g_window->active = 0;
    g_input->keys[VK_UP] = 1;
    camera.Fly(g_input, g_mouse, g_window, 1.0f);
    g_input->keys[VK_UP] = 0;
    EXPECT_EQ(camera.GetPosition().z, 0.0f);
    g_window->active = 1;
    g_mouse->SetPosition(kSize / 2, kSize / 2);
    camera.Fly(g_input, g_mouse, g_window, 1.0f);
    EXPECT_EQ(std::vector<float>(camera.transform.m, camera.transform.m + 16),
              std::vector<float>(aimed.m, aimed.m + 16));

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
bool rangeMemoryRefused = false;
float lastPriority = -1.0f;
void* lastFreed = nullptr;
void* APIENTRY FakeAllocate(GLsizei, GLfloat, GLfloat, GLfloat priority)
{
    lastPriority = priority;
    return rangeMemoryRefused ? nullptr : rangeMemory;
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

    rangeMemoryRefused = true;
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
    rangeMemoryRefused = false;

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
    const std::vector<float> triangle = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    auto load = [&](const std::string& file, const std::string& bytes, MeshSet& set)
    {
        WriteText(file, bytes);
        set.Load(file.c_str(), "", nullptr);
    };

    // Two meshes, each in its place; the path is named as given.
    MeshSet two;
    load("two.tsm",
         ModelBytes(2)
             .Mesh("wing", "A", kSquare, kSquareFaces, 1, 2, 3)
             .Mesh("tail", "B", triangle, {0, 1, 2})
             .String(),
         two);
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

    // Missing, empty, and hostile files; the pool stays as it was for
    // every record that is refused.
    MeshSet missing, empty, cut, huge, badIndex, billions, tooBig;
    missing.Load("missing.tsm", "", nullptr);
    load("empty.tsm", ModelBytes(0).String(), empty);
    empty.DrawAll();
    std::string whole = ModelBytes(2).Mesh("a", "A", triangle, {0, 1, 2}).String();
    load("cut.tsm",
         whole + ModelBytes(0).Mesh("b", "A", triangle, {0, 1, 2}).String().substr(27, 100), cut);
    load("huge.tsm", ModelBytes(0xFFFFFFFFu).Mesh("a", "A", triangle, {0, 1, 2}).String(), huge);
    load("index.tsm", ModelBytes(1).Mesh("a", "A", triangle, {0, 1, 3}).String(), badIndex);
    load("billions.tsm", ModelBytes(1).Head("a", "A", 0xFFFFFFF0u, 0xFFFFFFF0u).String(), billions);
    uint32_t freeBefore = engine->vertexPool->freeBytes;
    std::vector<float> many(3 * 40000, 0.0f);
    load("big.tsm",
         ModelBytes(2).Mesh("a", "A", triangle, {0, 1, 2}).Mesh("b", "A", many, {0, 1, 2}).String(),
         tooBig);
    EXPECT_EQ(tooBig.meshCount, 1u);
    EXPECT_GT(engine->vertexPool->freeBytes + 256, freeBefore); // only mesh a's arrays
    EXPECT_EQ(empty.meshCount, 0u);
    EXPECT_EQ(cut.meshCount, 1u);
    EXPECT_EQ(huge.meshCount, 1u);
    EXPECT_EQ(badIndex.meshCount, 0u);

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

} // namespace
