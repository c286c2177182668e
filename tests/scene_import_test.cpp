// tessimo-import end to end: a source model written here, converted by the
// real tool, read back by MeshSet::Load and compared with what Assimp
// itself reports for the source; the tool's options and refusals; and the
// demo's airplane out of data.rar, drawn from the demo's camera.
#include <gtest/gtest.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <cmath>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <vector>

#include "app/window.h"
#include "resources/shader.h"
#include "scene/camera.h"
#include "scene/light.h"
#include "scene/mesh_set.h"
#include "support/files.h"
#include "support/mesh_builder.h"
#include "support/scene_engine.h"

namespace
{

using testsupport::ReadText;
using testsupport::Triangle;
using testsupport::Triangles;
using testsupport::WriteText;

constexpr int kWidth = 160;
constexpr int kHeight = 120;

class SceneImport : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { world = new testsupport::SceneEngine(kWidth, kHeight); }
    static void TearDownTestSuite() { delete world; }
    void SetUp() override
    {
        ASSERT_TRUE(world->context.created);
        engine = world->engine;
    }

    // Runs the tool; its exit status, and its standard error in `error`.
    static int Import(const std::string& arguments, std::string* error = nullptr)
    {
        std::string tool =
            std::string(getenv("TESSIMO_BINARY_DIR")) + "/tools/tessimo-import/tessimo-import";
        int status = system((tool + " " + arguments + " 2>import.err >import.out").c_str());
        if (error)
            *error = ReadText("import.err");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    static std::string LastLine() { return world->Lines().back(); }

    static testsupport::SceneEngine* world;
    Engine* engine = nullptr;
};
testsupport::SceneEngine* SceneImport::world = nullptr;

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
// smooth normals it generates where the source has none.
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
                const aiVector3D& p = mesh->mVertices[v];
                const aiVector3D& n = mesh->mNormals[v];
                aiVector3D uv =
                    mesh->HasTextureCoords(0) ? mesh->mTextureCoords[0][v] : aiVector3D();
                t[c] = {p.x, p.y, p.z, n.x, n.y, n.z, uv.x, uv.y};
            }
            out.push_back(t);
        }
    }
    return out;
}

// Texture coordinates generated for a source without them are the tool's
// own: compare them only where the source had some.
void Compare(std::vector<Triangle> ours, std::vector<Triangle> theirs, bool withTexCoords)
{
    auto strip = [&](std::vector<Triangle>& ts)
    {
        for (Triangle& t : ts)
            for (auto& c : t)
                if (!withTexCoords)
                    c[6] = c[7] = 0.0f;
        std::sort(ts.begin(), ts.end());
    };
    strip(ours);
    strip(theirs);
    ASSERT_EQ(ours.size(), theirs.size());
    for (size_t i = 0; i < ours.size(); ++i)
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 8; ++k)
                EXPECT_NEAR(ours[i][c][k], theirs[i][c][k], 1e-5f) << i << " " << c << " " << k;
}

TEST_F(SceneImport, ModelReadBackHasTheSourcesTrianglesAndMaterials)
{
    WriteText("two.obj", kObj);
    WriteText("two.mtl", kMtl);
    ASSERT_EQ(Import("two.obj two.tsm"), 0);
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
    ASSERT_EQ(Import("--material Hatching --scale 2 --position 0,-2,-5 two.obj one.tsm"), 0);
    MeshSet one;
    one.Load("one.tsm", "", nullptr);
    ASSERT_EQ(one.meshCount, 2u);
    EXPECT_EQ(one.meshes[0].shader, one.meshes[1].shader);
    EXPECT_STREQ(one.meshes[0].shader->name, "Hatching");
    EXPECT_EQ(one.meshes[1].transform.m[11], -5.0f);
    EXPECT_EQ(one.meshes[0].sizeX, 4.0f);

    ASSERT_EQ(Import("--merge all --center two.obj all.tsm"), 0);
    MeshSet merged;
    merged.Load("all.tsm", "", nullptr);
    ASSERT_EQ(merged.meshCount, 1u);
    EXPECT_EQ(merged.meshes[0].faceCount, 5u);
    EXPECT_EQ(merged.meshes[0].vertexCount, 9u);
    EXPECT_FLOAT_EQ(merged.meshes[0].boundingSphere.radius, std::sqrt(2.5f));
}

TEST_F(SceneImport, RefusesWhatItCannotConvertInOneLine)
{
    std::string error;
    EXPECT_EQ(Import("nothing.obj out.tsm", &error), 1);
    EXPECT_EQ(error.rfind("tessimo-import: cannot read 'nothing.obj': ", 0), 0u) << error;
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1);

    WriteText("points.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\n");
    EXPECT_EQ(Import("points.obj out.tsm", &error), 1);
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;

    WriteText("two.obj", kObj);
    WriteText("two.mtl", kMtl);
    EXPECT_EQ(Import("--max-vertices 8 two.obj out.tsm", &error), 1);
    EXPECT_EQ(error, "tessimo-import: 9 vertices, more than the 8 allowed\n");
    EXPECT_EQ(Import("--material ThisNameIsLongerThanThirtyOneChars two.obj out.tsm", &error), 1);
    EXPECT_EQ(Import("--info --merge material two.obj"), 0);
    std::string info = ReadText("import.out");
    EXPECT_NE(info.find("2 meshes"), std::string::npos) << info;
    EXPECT_NE(info.find("9 vertices, 5 faces"), std::string::npos) << info;
}

TEST_F(SceneImport, TheDemosAirplaneFillsTheDemosView)
{
    std::string archive = std::string(getenv("TESSIMO_RUN_DIR")) + "/data.rar";
    MeshSet plane;
    uint32_t freeBefore = engine->vertexPool->freeBytes;
    plane.Load("tsm\\avion.tsm", archive.c_str(), "mirodune");
    // One mesh: the demo turns the first mesh of the file, and the whole
    // plane has to turn with it.
    EXPECT_EQ(LastLine(), "> 1 mesh loaded from file 'tsm\\avion.tsm'");
    ASSERT_EQ(plane.meshCount, 1u);
    uint32_t vertices = 0;
    for (uint32_t i = 0; i < plane.meshCount; ++i)
    {
        vertices += plane.meshes[i].vertexCount;
        ASSERT_NE(plane.meshes[i].shader, nullptr);
        EXPECT_STREQ(plane.meshes[i].shader->name, "Hatching");
    }
    EXPECT_LE(vertices, 32000u);
    EXPECT_LT(freeBefore - engine->vertexPool->freeBytes, 0x100000u / 4);

    // The demo's view: 45 degrees, the camera at (13.6, 7.7, 11.8) looking
    // at (0, -2, -5), the first mesh turned half a turn. On white paper the
    // plane covers most of the frame's width, and stays inside it.
    Matrix4 turn;
    turn.RotationY(DegToRad * 180.0f);
    Matrix4 turned = plane.meshes[0].transform * turn;
    plane.meshes[0].transform = turned;
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
    // What is measured is the geometry: drawn lit, without the material.
    plane.meshes[0].shader = nullptr;
    engine->SetShader(nullptr);
    int32_t before = engine->polygonCount;
    plane.DrawAll();
    glPopMatrix();
    EXPECT_GT(engine->polygonCount - before, 500);

    std::vector<unsigned char> frame(kWidth * kHeight * 4);
    glReadPixels(0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, frame.data());
    int left = kWidth, right = -1, bottom = kHeight, top = -1;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
        {
            const unsigned char* p = &frame[4 * (y * kWidth + x)];
            if (p[0] == 255 && p[1] == 255 && p[2] == 255)
                continue;
            left = std::min(left, x);
            right = std::max(right, x);
            bottom = std::min(bottom, y);
            top = std::max(top, y);
        }
    ASSERT_GE(right, 0) << "nothing drawn";
    EXPECT_GT(right - left + 1, kWidth * 6 / 10);
    EXPECT_GT(left, 0);
    EXPECT_LT(right, kWidth - 1);
    EXPECT_GT(bottom, 0);
    EXPECT_LT(top, kHeight - 1);
    RecordProperty("covered",
                   std::to_string(right - left + 1) + "x" + std::to_string(top - bottom + 1));
}

} // namespace
