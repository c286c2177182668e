// The scene's CPU side: the vertex pool's bump allocator, and the mesh
// operations that work on the editable arrays (bounds, centring, normals,
// renumbering). No GL, no engine.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "resources/vertex_array_pool.h"
#include "scene/mesh.h"
#include "support/mesh_builder.h"

namespace
{

using testsupport::FillMesh;
using testsupport::Triangles;

TEST(VertexArrayPool, AlignsToAPowerOfTwoAndRefusesWhatDoesNotFit)
{
    EXPECT_EQ(RoundAlignment(32), 32u);
    EXPECT_EQ(RoundAlignment(24), 32u);
    EXPECT_EQ(RoundAlignment(33), 64u);
    EXPECT_EQ(RoundAlignment(1), 1u);
    EXPECT_EQ(RoundAlignment(0), 1u);
    EXPECT_EQ(RoundAlignment(0xFFFFFFFFu), 0x80000000u);

    VertexArrayPool pool;
    EXPECT_EQ(pool.Allocate(4), nullptr); // no memory before Init
    pool.Init(1000, 2, 24, 0.0f, 0.0f);   // no range extension: main memory
    EXPECT_EQ(pool.memoryKind, 0);
    EXPECT_EQ(pool.alignment, 32u);
    EXPECT_EQ(pool.freeBytes, 1000u);

    // A block that doesn't start on the alignment loses its first bytes.
    pool.cursor = pool.base + 1;
    uint8_t* zero = static_cast<uint8_t*>(pool.Allocate(0));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(zero) % 32, 0u);
    EXPECT_EQ(pool.cursor, zero);
    uint8_t* first = static_cast<uint8_t*>(pool.Allocate(12));
    EXPECT_EQ(first, zero);
    uint8_t* second = static_cast<uint8_t*>(pool.Allocate(12));
    EXPECT_EQ(second, first + 32);
    EXPECT_EQ(pool.freeBytes, uint32_t(pool.end - (second + 12)));
    EXPECT_LT(pool.freeBytes, 1000u - 24u);

    // Exhaustion: nothing is handed out behind the end, and a refusal
    // changes nothing; what fits exactly still comes.
    uint8_t* cursor = pool.cursor;
    uint32_t left = pool.freeBytes;
    EXPECT_EQ(pool.Allocate(1000), nullptr);
    EXPECT_EQ(pool.cursor, cursor);
    EXPECT_EQ(pool.freeBytes, left);
    uint32_t skip = uint32_t((32 - reinterpret_cast<uintptr_t>(cursor)) & 31);
    uint8_t* rest = static_cast<uint8_t*>(pool.Allocate(left - skip));
    ASSERT_NE(rest, nullptr);
    EXPECT_EQ(pool.cursor, pool.end);
    EXPECT_EQ(pool.freeBytes, 0u);
    EXPECT_EQ(pool.Allocate(1), nullptr);

    pool.Reset();
    EXPECT_EQ(pool.cursor, pool.base);
    EXPECT_EQ(pool.freeBytes, 1000u);
    pool.Release();
    EXPECT_EQ(pool.Allocate(4), nullptr); // nothing after Release
}

TEST(MeshGeometry, BoundsOfAnOffCentreMeshAndCentring)
{
    Mesh mesh(true);
    ASSERT_TRUE(FillMesh(mesh, {2, 1, -1, 4, 3, 1, 3, 1, 0}, {0, 1, 2}));
    EXPECT_EQ(mesh.sizeX, 2.0f);
    EXPECT_EQ(mesh.sizeY, 2.0f);
    EXPECT_EQ(mesh.sizeZ, 2.0f);
    // Measured from the mesh's own origin, so the offset counts.
    EXPECT_FLOAT_EQ(mesh.boundingSphere.radius, std::sqrt(26.0f));

    mesh.boundingSphere.center = Vec4(7, 7, 7);
    mesh.CenterVertices();
    Vec4 at = mesh.GetPosition();
    EXPECT_EQ(at.x, 3.0f);
    EXPECT_EQ(at.y, 2.0f);
    EXPECT_EQ(at.z, 0.0f);
    EXPECT_EQ(mesh.boundingSphere.center.x, 0.0f);
    EXPECT_EQ(mesh.boundingSphere.center.z, 0.0f);
    EXPECT_FLOAT_EQ(mesh.boundingSphere.radius, std::sqrt(3.0f));
    const float moved[9] = {-1, -1, -1, 1, 1, 1, 0, -1, 0};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(mesh.positions[i], moved[i]) << i;
    EXPECT_EQ(mesh.sizeX, 2.0f);
}

TEST(MeshGeometry, NormalsAreSharedByCoincidentVertices)
{
    // Two faces folded along the edge x = 0: the edge's vertices are there
    // twice each, with different texture coordinates.
    Mesh mesh(true);
    ASSERT_TRUE(FillMesh(mesh, {0, 0, 0, 0, 1, 0, -1, 0, 1, //
                                0, 0, 0, 0, 1, 0, 1,  0, 1, //
                                5, 5, 5},                   // no face uses it
                         {0, 2, 1, 3, 4, 5}));
    mesh.ComputeNormals();
    const float* n = mesh.normals;
    for (int k = 0; k < 3; ++k)
    {
        EXPECT_EQ(n[0 + k], n[9 + k]) << "vertex 0 and 3, axis " << k;
        EXPECT_EQ(n[3 + k], n[12 + k]) << "vertex 1 and 4, axis " << k;
    }
    // The edge's normal is the mean of the two faces, (0, 0, -1); the
    // outer corners keep their own face's normal.
    EXPECT_NEAR(n[0], 0.0f, 1e-6f);
    EXPECT_NEAR(n[2], -1.0f, 0.002f);
    EXPECT_NEAR(n[6], -std::sqrt(0.5f), 0.002f);
    EXPECT_NEAR(n[15], std::sqrt(0.5f), 0.002f);
    for (int k = 0; k < 3; ++k)
        EXPECT_EQ(n[18 + k], 0.0f); // a zero sum stays zero
}

TEST(MeshGeometry, ReorderNumbersVerticesByFirstUse)
{
    // Already in order: nothing changes.
    Mesh ordered(true);
    ASSERT_TRUE(FillMesh(ordered, {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, {0, 1, 2, 2, 1, 3}));
    auto before = Triangles(ordered);
    ordered.ReorderVertices();
    EXPECT_EQ(Triangles(ordered), before);
    const uint32_t same[6] = {0, 1, 2, 2, 1, 3};
    EXPECT_TRUE(std::equal(same, same + 6, ordered.indices));
    EXPECT_EQ(ordered.renderPositions, ordered.positions); // system memory follows

    // Shuffled, with a vertex no face uses: the same triangles, numbers in
    // order of first use, the unused one kept behind.
    Mesh shuffled(true);
    ASSERT_TRUE(FillMesh(shuffled, {9, 9, 9, 1, 1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0},
                         {4, 3, 2, 2, 3, 1, 1, 3, 4}));
    before = Triangles(shuffled);
    shuffled.ReorderVertices();
    EXPECT_EQ(Triangles(shuffled), before);
    uint32_t next = 0;
    for (uint32_t i = 0; i < 9; ++i)
    {
        ASSERT_LE(shuffled.indices[i], next) << "entry " << i;
        if (shuffled.indices[i] == next)
            ++next;
    }
    EXPECT_EQ(next, 4u);
    EXPECT_EQ(shuffled.vertexCount, 5u);
    EXPECT_EQ(shuffled.positions[12], 9.0f);
    EXPECT_EQ(shuffled.texCoords[8], 0.0f); // it was vertex 0
}

} // namespace
