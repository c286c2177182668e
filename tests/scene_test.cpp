// The scene without GL: the vertex pool, object positions and mesh operations.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <cmath>

#include "resources/vertex_array_pool.h"
#include "support/model_file.h"

namespace
{

using namespace testsupport;

void ExpectXyz(const Vec4& v, float x, float y, float z)
{
    EXPECT_LT(std::fabs(v.x - x) + std::fabs(v.y - y) + std::fabs(v.z - z) + std::fabs(v.w), 3e-5f)
        << v.x << " " << v.y << " " << v.z << " " << v.w;
}

TEST(Scene, VertexPoolPositionsBoundsCentringNormalsAndReorder)
{
    const uint32_t rounded[][2] = {{32, 32}, {24, 32}, {33, 64},
                                   {1, 1},   {0, 1},   {0xFFFFFFFFu, 0x80000000u}};
    for (const auto& r : rounded)
        EXPECT_EQ(RoundAlignment(r[0]), r[1]) << r[0];
    VertexArrayPool pool;
    EXPECT_EQ(pool.Allocate(4), nullptr); // no memory before Init
    pool.Init(1000, 2, 24, 0.0f, 0.0f);   // no range extension: main memory
    // A block that doesn't start on the alignment loses its first bytes.
    pool.cursor = pool.base + 1;
    uint8_t* first = static_cast<uint8_t*>(pool.Allocate(12));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(first) % 32, 0u);
    uint8_t* second = static_cast<uint8_t*>(pool.Allocate(12));
    EXPECT_EQ(second, first + 32);
    EXPECT_EQ(pool.freeBytes, uint32_t(pool.end - (second + 12)));
    // Exhausted: a refusal changes nothing; what fits exactly still comes.
    uint8_t* cursor = pool.cursor;
    uint32_t left = pool.freeBytes,
             skip = uint32_t((32 - reinterpret_cast<uintptr_t>(cursor)) & 31);
    EXPECT_EQ(pool.Allocate(1000), nullptr);
    EXPECT_EQ(pool.freeBytes + (pool.cursor - cursor), left);
    ASSERT_NE(pool.Allocate(left - skip), nullptr);
    EXPECT_EQ(pool.freeBytes, 0u);
    EXPECT_EQ(pool.Allocate(1), nullptr);
    pool.Reset();
    EXPECT_EQ(pool.freeBytes, 1000u);
    // Positions and moves on a turned object; bounds, normals, reorder.
    Mesh mesh(true);
    mesh.SetPosition(Vec4(1.0f, 2.0f, 3.0f, 9.0f));
    ExpectXyz(mesh.GetPosition(), 1, 2, 3);
    // Half a turn about y: moving along its own x and z goes the other way.
    mesh.transform.RotationY(Pi);
    mesh.SetPosition(10.0f, 0.0f, 10.0f);
    const Matrix4 turned = mesh.transform;
    mesh.Translate(Vec4(1.0f, 1.0f, 2.0f, 100.0f));
    ExpectXyz(mesh.GetPosition(), 9, 1, 8);
    for (int i : {0, 1, 2, 4, 5, 6, 8, 9, 10})
        EXPECT_EQ(mesh.transform.m[i], turned.m[i]) << i;
    ASSERT_TRUE(FillMesh(mesh, {2, 1, -1, 4, 3, 1, 3, 1, 0}, {0, 1, 2}));
    EXPECT_EQ((std::vector<float>{mesh.sizeX, mesh.sizeY, mesh.sizeZ}),
              (std::vector<float>{2, 2, 2}));
    EXPECT_FLOAT_EQ(mesh.boundingSphere.radius, std::sqrt(26.0f)); // from the mesh's origin
    // Two faces folded along x = 0, its vertices there twice: those share the
    // mean normal (0, 0, -1), the outer corners keep their face's.
    Mesh fold(true);
    ASSERT_TRUE(FillMesh(fold, {0, 0, 0, 0, 1, 0, -1, 0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 1},
                         {0, 2, 1, 3, 4, 5}));
    fold.ComputeNormals();
    const float* n = fold.normals;
    EXPECT_EQ(std::vector<float>(n, n + 6), std::vector<float>(n + 9, n + 15));
    for (auto [i, value] :
         {std::pair{0, 0.0f}, {2, -1.0f}, {6, -std::sqrt(0.5f)}, {15, std::sqrt(0.5f)}})
        EXPECT_NEAR(n[i], value, 0.002f) << i;
    // Reordered: the same triangles, numbered by first use, the unused last.
    Mesh shuffled(true);
    ASSERT_TRUE(FillMesh(shuffled, {9, 9, 9, 1, 1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0},
                         {4, 3, 2, 2, 3, 1, 1, 3, 4}));
    auto before = Triangles(shuffled);
    shuffled.ReorderVertices();
    EXPECT_EQ(Triangles(shuffled), before);
    EXPECT_EQ(std::vector<uint32_t>(shuffled.indices, shuffled.indices + 9),
              (std::vector<uint32_t>{0, 1, 2, 2, 1, 3, 3, 1, 0}));
    EXPECT_EQ(shuffled.positions[12], 9.0f);
    EXPECT_EQ(shuffled.texCoords[8], 0.0f); // it was vertex 0
}

} // namespace
