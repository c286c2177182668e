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
#include <fstream>
#include <map>
#include <set>
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
// own: compare them only where the source had some. The normals of both
// sources are those of their flat faces, whatever the crease.
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
    ASSERT_EQ(Import("--strokes keep --no-outline two.obj two.tsm"), 0);
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
        Import("--no-outline --material Hatching --scale 2 --position 0,-2,-5 two.obj one.tsm"), 0);
    MeshSet one;
    one.Load("one.tsm", "", nullptr);
    ASSERT_EQ(one.meshCount, 2u);
    EXPECT_EQ(one.meshes[0].shader, one.meshes[1].shader);
    EXPECT_STREQ(one.meshes[0].shader->name, "Hatching");
    EXPECT_EQ(one.meshes[1].transform.m[11], -5.0f);
    EXPECT_EQ(one.meshes[0].sizeX, 4.0f);

    ASSERT_EQ(Import("--strokes keep --no-outline --merge all --center two.obj all.tsm"), 0);
    MeshSet merged;
    merged.Load("all.tsm", "", nullptr);
    ASSERT_EQ(merged.meshCount, 1u);
    EXPECT_EQ(merged.meshes[0].faceCount, 5u);
    EXPECT_EQ(merged.meshes[0].vertexCount, 9u);
    EXPECT_FLOAT_EQ(merged.meshes[0].boundingSphere.radius, std::sqrt(2.5f));
}

// A source model built in the test: vertices and triangles of OBJ, each
// object a piece of its own.
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
        const int quads[6][4] = {{0, 4, 6, 2}, {1, 3, 7, 5}, {0, 1, 5, 4},
                                 {2, 6, 7, 3}, {0, 2, 3, 1}, {4, 5, 7, 6}};
        for (const auto& q : quads)
        {
            F(c[q[0]], c[q[1]], c[q[2]]);
            F(c[q[0]], c[q[2]], c[q[3]]);
        }
    }
};

// A capped cylinder about x, radius 1, from x = 20 to 30, 24 sides: the
// first vertex of each ring on +y.
void Cylinder(Obj& obj)
{
    obj.Object("cylinder");
    int ring[2][24];
    for (int e = 0; e < 2; ++e)
        for (int i = 0; i < 24; ++i)
            ring[e][i] = obj.V(20.0f + 10.0f * e, std::cos(float(M_PI) * i / 12),
                               std::sin(float(M_PI) * i / 12));
    int ends[2] = {obj.V(20, 0, 0), obj.V(30, 0, 0)};
    for (int i = 0; i < 24; ++i)
    {
        int j = (i + 1) % 24;
        obj.F(ring[0][i], ring[0][j], ring[1][j]);
        obj.F(ring[0][i], ring[1][j], ring[1][i]);
        obj.F(ends[0], ring[0][j], ring[0][i]);
        obj.F(ends[1], ring[1][i], ring[1][j]);
    }
}

// A sphere of radius 3 about (0, 0, -20), 12 sides and 8 rings.
void Sphere(Obj& obj)
{
    obj.Object("sphere");
    int top = obj.V(0, 3, -20), bottom = obj.V(0, -3, -20), rows[7][12];
    for (int r = 0; r < 7; ++r)
        for (int i = 0; i < 12; ++i)
        {
            float polar = float(M_PI) * (r + 1) / 8, around = float(M_PI) * i / 6;
            rows[r][i] = obj.V(3 * std::sin(polar) * std::cos(around), 3 * std::cos(polar),
                               -20 + 3 * std::sin(polar) * std::sin(around));
        }
    for (int i = 0; i < 12; ++i)
    {
        int j = (i + 1) % 12;
        obj.F(top, rows[0][j], rows[0][i]);
        obj.F(bottom, rows[6][i], rows[6][j]);
        for (int r = 0; r < 6; ++r)
        {
            obj.F(rows[r][i], rows[r][j], rows[r + 1][j]);
            obj.F(rows[r][i], rows[r + 1][j], rows[r + 1][i]);
        }
    }
}

float Dot3(const float* a, const float* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

TEST_F(SceneImport, StrokesFollowTheFormAndTheOutlineHugsTheHull)
{
    Obj obj;
    Cylinder(obj);
    obj.Object("plate"); // 10 long in x, 4 wide in z, 0.4 thick
    const float low[3] = {-5, -0.2f, 10}, high[3] = {5, 0.2f, 14};
    obj.Box(low, high);
    Sphere(obj);
    WriteText("form.obj", obj.text);
    ASSERT_EQ(Import("--stroke-size 1 --outline 3 --info form.obj form.tsm"), 0);
    std::string info = ReadText("import.out");
    for (const char* line :
         {"  cylinder                         elongated", //
          "  plate                            flat", "  sphere                           other"})
        EXPECT_NE(info.find(line), std::string::npos) << line << "\n" << info;
    EXPECT_NE(info.find("6 turns"), std::string::npos) << info; // 2 pi r, one repeat a unit

    MeshSet set;
    set.Load("form.tsm", "", nullptr);
    ASSERT_EQ(set.meshCount, 4u);
    const Mesh& cylinder = set.meshes[0];
    const Mesh& plate = set.meshes[1];

    // Around the cylinder s runs 6 repeats, a quarter a side, from +y; t
    // runs along the axis a unit a unit. The seam is the one line of
    // places with two values of s, 6 apart, on the underside.
    std::map<std::vector<float>, std::vector<float>> sAt;
    for (uint32_t v = 0; v < cylinder.vertexCount; ++v)
    {
        const float* p = &cylinder.positions[3 * v];
        const float* n = &cylinder.normals[3 * v];
        const float* st = &cylinder.texCoords[2 * v];
        if (std::fabs(n[0]) > 0.5f)
            continue; // an end cap
        EXPECT_NEAR(std::fabs(st[1] - (p[0] - 25.0f)), 0.0f, 1e-4f) << p[0];
        // s = 6 turns * angle / 2 pi, the angle either way round and the
        // whole turns either side of the seam.
        float around = std::atan2(p[2], p[1]) * 12.0f / float(M_PI); // sides from +y
        float either = std::min(std::fabs(std::remainder(st[0] * 4.0f - around, 24.0f)),
                                std::fabs(std::remainder(st[0] * 4.0f + around, 24.0f)));
        EXPECT_NEAR(either, 0.0f, 1e-3f) << p[1] << " " << p[2] << " " << st[0];
        sAt[{p[0], p[1], p[2]}].push_back(st[0]);
        // Smooth: the side's normal is the radius, whatever the caps.
        EXPECT_NEAR(n[1] * p[1] + n[2] * p[2], 1.0f, 1e-4f);
    }
    EXPECT_EQ(sAt.size(), 48u);
    int seam = 0;
    for (const auto& place : sAt)
    {
        std::vector<float> s = place.second;
        std::sort(s.begin(), s.end());
        s.erase(std::unique(s.begin(), s.end()), s.end());
        if (s.size() == 1)
            continue;
        ++seam;
        ASSERT_EQ(s.size(), 2u);
        EXPECT_LT(place.first[1], -0.9f) << place.first[2];
        EXPECT_NEAR(s[1] - s[0], 6.0f, 1e-4f);
    }
    EXPECT_EQ(seam, 2); // one side's two corners
    for (uint32_t f = 0; f < cylinder.faceCount; ++f)
    {
        float lowest = 1e9f, highest = -1e9f;
        bool cap = false;
        for (int k = 0; k < 3; ++k)
        {
            uint32_t v = cylinder.indices[3 * f + k];
            cap = cap || std::fabs(cylinder.normals[3 * v]) > 0.5f;
            lowest = std::min(lowest, cylinder.texCoords[2 * v]);
            highest = std::max(highest, cylinder.texCoords[2 * v]);
        }
        if (!cap)
        {
            EXPECT_LT(highest - lowest, 0.2501f) << f; // sides: none across the seam
        }
    }

    // With repeats of 20 units the cylinder is too thin for half of one
    // around: s folds, as far as the way round from the top, no seam.
    ASSERT_EQ(Import("--stroke-size 20 --info form.obj thin.tsm"), 0);
    std::string thinInfo = ReadText("import.out");
    EXPECT_NE(thinInfo.find("cylinder                         elongated"), std::string::npos);
    EXPECT_NE(thinInfo.find("folded"), std::string::npos) << thinInfo;
    MeshSet thin;
    thin.Load("thin.tsm", "", nullptr);
    std::set<std::vector<float>> sides;
    for (uint32_t v = 0; v < thin.meshes[0].vertexCount; ++v)
    {
        const float* p = &thin.meshes[0].positions[3 * v];
        if (std::fabs(thin.meshes[0].normals[3 * v]) > 0.5f)
            continue;
        float fromTop = std::fabs(std::atan2(p[2], p[1]));
        EXPECT_NEAR(thin.meshes[0].texCoords[2 * v], fromTop * 0.99f / 20.0f, 0.01f / 20.0f);
        EXPECT_TRUE(sides.insert({p[0], p[1], p[2]}).second) << "a seam";
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
    const Mesh& outline = set.meshes[3];
    ASSERT_NE(outline.shader, nullptr);
    EXPECT_STREQ(outline.shader->name, "Outline");
    EXPECT_EQ(outline.vertexCount, 50u + 8u + 86u);
    uint32_t faces = 0;
    for (int m = 0; m < 3; ++m)
        faces += set.meshes[m].faceCount;
    EXPECT_EQ(outline.faceCount, faces);
    std::set<std::vector<float>> places;
    for (uint32_t v = 0; v < outline.vertexCount; ++v)
    {
        const float* p = &outline.positions[3 * v];
        const float* n = &outline.normals[3 * v];
        EXPECT_TRUE(places.insert({p[0], p[1], p[2]}).second) << "welded";
        EXPECT_EQ(outline.texCoords[2 * v], 3.0f);
        EXPECT_EQ(outline.texCoords[2 * v + 1], 0.0f);
        EXPECT_NEAR(Dot3(n, n), 1.0f, 1e-4f);
        float centre[3] = {0, 0, -20};
        if (p[0] < -19.9f)
        {
            centre[0] = -25;
            centre[2] = 0;
        }
        else if (p[2] > 9.9f)
            centre[2] = 12;
        float out[3] = {p[0] - centre[0], p[1] - centre[1], p[2] - centre[2]};
        EXPECT_GT(Dot3(n, out), 0.3f * std::sqrt(Dot3(out, out))) << p[0] << " " << p[2];
    }
    EXPECT_EQ(places.count({-30.0f, 1.0f, 0.0f}), 1u); // the cylinder turned
    EXPECT_EQ(places.count({5.0f, 0.2f, 14.0f}), 1u);  // the plate as it is
}

TEST_F(SceneImport, BadInputStillGivesADrawableModel)
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
    std::string error;
    ASSERT_EQ(Import("--info bad.obj bad.tsm", &error), 0) << error;
    EXPECT_EQ(error, "tessimo-import: left out triangles: 1 without area, 1 repeated\n"
                     "tessimo-import: box coordinates for parts too small to have axes: 1\n"
                     "tessimo-import: outline written with edges of more than two triangles: 1\n"
                     "tessimo-import: outline left out for flat open sheets: 1\n");
    MeshSet set;
    set.Load("bad.tsm", "", nullptr);
    ASSERT_EQ(set.meshCount, 4u);
    EXPECT_EQ(set.meshes[0].faceCount, 2u);
    // Only the fan has an outline: the sheet is flat and open, and the
    // speck lies within the welding distance (a ten thousandth of the
    // model's 22 units).
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

    // One triangle alone is a model, a flat open sheet without outline.
    WriteText("one.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    EXPECT_EQ(Import("one.obj one.tsm", &error), 0) << error;
    EXPECT_EQ(error, "tessimo-import: outline left out for flat open sheets: 1\n");
    MeshSet one;
    one.Load("one.tsm", "", nullptr);
    EXPECT_EQ(one.meshCount, 1u);

    // A wing's two skins modelled apart, meeting a millionth apart at the
    // leading edge (z = 0) and the trailing edge: one hull, whose edges
    // take the average of both skins and point out past the edge.
    Obj skins;
    skins.Object("upper");
    int l0 = skins.V(0, 0, 0), l1 = skins.V(4, 0, 0), m0 = skins.V(0, 0.5f, -2),
        m1 = skins.V(4, 0.5f, -2), t0 = skins.V(0, 0, -4), t1 = skins.V(4, 0, -4);
    skins.F(l0, l1, m1);
    skins.F(l0, m1, m0);
    skins.F(m0, m1, t1);
    skins.F(m0, t1, t0);
    skins.Object("lower");
    l0 = skins.V(0, 1e-6f, 0), l1 = skins.V(4, 0, 1e-6f), m0 = skins.V(0, -0.5f, -2),
    m1 = skins.V(4, -0.5f, -2), t0 = skins.V(1e-6f, 0, -4), t1 = skins.V(4, 0, -4);
    skins.F(l0, m1, l1);
    skins.F(l0, m0, m1);
    skins.F(m0, t1, m1);
    skins.F(m0, t0, t1);
    WriteText("skins.obj", skins.text);
    ASSERT_EQ(Import("--merge all skins.obj skins.tsm", &error), 0) << error;
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

    // Refused: nothing left with an area, and coordinates that are not
    // numbers; a file already there stays as it was.
    WriteText("kept.tsm", "kept");
    WriteText("line.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n");
    EXPECT_EQ(Import("line.obj kept.tsm", &error), 1);
    EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << error;
    for (const char* bad : {"nan", "1e39", "-inf"})
    {
        WriteText("inf.obj", std::string("v 0 0 0\nv ") + bad + " 0 0\nv 0 1 0\nf 1 2 3\n");
        EXPECT_EQ(Import("inf.obj kept.tsm", &error), 1);
        EXPECT_EQ(error, "tessimo-import: 'inf.obj' has coordinates that are not finite numbers\n");
        EXPECT_EQ(Import("inf.obj new.tsm"), 1);
    }
    EXPECT_EQ(ReadText("kept.tsm"), "kept");
    EXPECT_FALSE(std::ifstream("new.tsm").good());
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
    EXPECT_EQ(Import("--max-vertices 8 --no-outline two.obj out.tsm", &error), 1);
    EXPECT_EQ(error, "tessimo-import: 9 vertices, more than the 8 allowed\n");
    EXPECT_EQ(Import("--no-outline two.obj /dev/full", &error), 1);
    EXPECT_EQ(error, "tessimo-import: cannot write '/dev/full': No space left on device\n");
    EXPECT_EQ(Import("two.obj .", &error), 1);
    EXPECT_FALSE(std::ifstream("out.tsm").good());

    // Bad arguments: the option, the value and what it takes, then the
    // usage line, status 2; help on standard output, status 0.
    const std::string usage = "usage: tessimo-import [options] SOURCE OUTPUT\n";
    EXPECT_EQ(Import("--crease 400 two.obj out.tsm", &error), 2);
    EXPECT_EQ(error, "tessimo-import: --crease 400: expected 0 to 180\n" + usage);
    EXPECT_EQ(Import("--strokes wavy two.obj out.tsm", &error), 2);
    EXPECT_EQ(error, "tessimo-import: --strokes wavy: expected form, box or keep\n" + usage);
    EXPECT_EQ(Import("--outline 0 two.obj out.tsm", &error), 2);
    EXPECT_EQ(Import("--material ThisNameIsLongerThanThirtyOneChars two.obj out.tsm", &error), 2);
    EXPECT_EQ(Import("two.obj", &error), 2);
    EXPECT_EQ(error, "tessimo-import: missing OUTPUT\n" + usage);
    EXPECT_EQ(Import("--help", &error), 0);
    EXPECT_EQ(error, "");
    EXPECT_EQ(ReadText("import.out").rfind("usage: tessimo-import", 0), 0u);

    // 182 by 182 vertices on a flat grid: written, with a warning that the
    // demo's 1 MiB will not hold their 1060000 bytes (and the up to 31
    // that aligning the first array skips).
    std::string grid;
    for (int y = 0; y < 182; ++y)
        for (int x = 0; x < 182; ++x)
            grid += "v " + std::to_string(x) + " 0 " + std::to_string(y) + "\n";
    for (int y = 0; y < 181; ++y)
        for (int x = 0; x < 181; ++x)
        {
            int v = y * 182 + x + 1;
            grid += "f " + std::to_string(v) + " " + std::to_string(v + 182) + " " +
                    std::to_string(v + 183) + " " + std::to_string(v + 1) + "\n";
        }
    WriteText("grid.obj", grid);
    EXPECT_EQ(Import("--no-outline grid.obj grid.tsm", &error), 0);
    EXPECT_EQ(error, "tessimo-import: warning: the model needs up to 1060031 bytes of vertex "
                     "memory, more than the demo's 1048576\n");
    EXPECT_TRUE(std::ifstream("grid.tsm").good());

    EXPECT_EQ(Import("--info --merge material two.obj"), 0);
    std::string info = ReadText("import.out");
    EXPECT_NE(info.find("2 meshes"), std::string::npos) << info; // both flat, no outline
    EXPECT_NE(info.find("vertex memory 352 bytes, 352 without the outline, of 1048576"),
              std::string::npos)
        << info;
}

TEST_F(SceneImport, TheDemosAirplaneFillsTheDemosView)
{
    std::string archive = std::string(getenv("TESSIMO_RUN_DIR")) + "/data.rar";
    MeshSet plane;
    uint32_t freeBefore = engine->vertexPool->freeBytes;
    plane.Load("tsm\\avion.tsm", archive.c_str(), "mirodune");
    // The airplane as one mesh, since the demo turns the first mesh of the
    // file and the whole plane has to turn with it; then its outline, as
    // many triangles, on the material "Outline".
    EXPECT_EQ(LastLine(), "> 2 mesh loaded from file 'tsm\\avion.tsm'");
    ASSERT_EQ(plane.meshCount, 2u);
    uint32_t vertices = 0;
    for (uint32_t i = 0; i < plane.meshCount; ++i)
    {
        vertices += plane.meshes[i].vertexCount;
        ASSERT_NE(plane.meshes[i].shader, nullptr);
        EXPECT_STREQ(plane.meshes[i].shader->name, i == 0 ? "Hatching" : "Outline");
    }
    // Welding the hull loses a few slivers, no more.
    EXPECT_LE(plane.meshes[1].faceCount, plane.meshes[0].faceCount);
    EXPECT_GE(plane.meshes[1].faceCount, plane.meshes[0].faceCount * 99 / 100);
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
    int32_t before = engine->stats.polygonCount;
    plane.DrawAll();
    glPopMatrix();
    EXPECT_GT(engine->stats.polygonCount - before, 500);

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
