// Vectors, matrices and constants: the exact float results the engine's
// normalisation gives, and the row-major conventions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "app/math.h"

namespace
{

uint32_t Bits(float f)
{
    uint32_t u;
    memcpy(&u, &f, sizeof u);
    return u;
}

TEST(Math, ConstantsHaveTheirBitPatterns)
{
    EXPECT_EQ(Bits(Pi), 0x40490FDBu);
    EXPECT_EQ(Bits(TwoPi), 0x40C90FDBu);
    EXPECT_EQ(Bits(HalfPi), 0x3FC90FDBu);
    EXPECT_EQ(Bits(QuarterPi), 0x3F490FDBu);
    EXPECT_EQ(Bits(RadToDeg), 0x42652EE0u);
    EXPECT_EQ(Bits(DegToRad), 0x3C8EFA36u);
    // One ulp above the float nearest pi / 180.
    EXPECT_EQ(Bits(DegToRad), Bits(static_cast<float>(3.14159265358979323846 / 180.0)) + 1);
    EXPECT_EQ(VecUnitY.y, 1.0f);
    EXPECT_EQ(VecUnitZ.w, 0.0f);
}

TEST(Math, FastInverseSquareRootAndNormalize)
{
    EXPECT_EQ(FastInvSqrt(1.0f), 0.99830715f);
    EXPECT_NEAR(FastInvSqrt(4.0f), 0.5f, 0.5f * 0.0018f);
    EXPECT_LT(FastInvSqrt(4.0f), 0.5f); // always short, never long
    EXPECT_NEAR(FastInvSqrt(1e-6f), 1000.0f, 1000.0f * 0.0018f);

    Vec4 v(3.0f, 4.0f, 0.0f, 7.0f);
    // 0.19968977 to the eight digits it is usually quoted with; the float
    // the single Newton step gives is 0.199689761, one ulp below that
    // literal's float.
    EXPECT_NEAR(v.Normalize(), 0.19968977f, 2e-8f);
    EXPECT_NEAR(v.x, 0.59907f, 1e-5f);
    EXPECT_NEAR(v.y, 0.79876f, 1e-5f);
    EXPECT_EQ(v.z, 0.0f);
    EXPECT_EQ(v.w, 7.0f);
    // A unit vector fed through again gets shorter.
    Vec4 unit(1.0f, 0.0f, 0.0f, 0.0f);
    unit.Normalize();
    EXPECT_EQ(unit.x, 0.99830715f);
    Vec4 zero;
    zero.Normalize();
    EXPECT_EQ(zero.x, 0.0f);
    EXPECT_EQ(zero.y, 0.0f);
    EXPECT_EQ(zero.z, 0.0f);
}

TEST(Math, VectorOperationsAndWhatTheyDoWithW)
{
    Vec4 a(1.0f, 2.0f, 3.0f, 5.0f), b(4.0f, -1.0f, 0.5f, 9.0f);
    Vec4 d = a - b;
    EXPECT_EQ(d.x, -3.0f);
    EXPECT_EQ(d.y, 3.0f);
    EXPECT_EQ(d.z, 2.5f);
    EXPECT_EQ(d.w, 0.0f);
    Vec4 c = VecUnitX.Cross(VecUnitY);
    EXPECT_EQ(c.z, 1.0f);
    Vec4 c2 = Vec4(1, 2, 3, 4).Cross(Vec4(4, 5, 6, 7));
    EXPECT_EQ(c2.x, -3.0f);
    EXPECT_EQ(c2.y, 6.0f);
    EXPECT_EQ(c2.z, -3.0f);
    EXPECT_EQ(c2.w, 0.0f);
    Vec4 t(0, 0, 0, 8);
    t.SetXYZ(a);
    EXPECT_EQ(t.z, 3.0f);
    EXPECT_EQ(t.w, 8.0f);
    t = b;
    EXPECT_EQ(t.w, 9.0f);
    EXPECT_EQ(Vec4().Set(1, 2, 3, 4).w, 4.0f);
}

TEST(Math, RowMajorProductsAndRotations)
{
    Matrix4 ry;
    ry.RotationY(HalfPi);
    Matrix4 move; // translation by (1, 2, 3)
    move.m[3] = 1.0f, move.m[7] = 2.0f, move.m[11] = 3.0f;
    // ry * move: the move first, then the turn, on a column vector.
    Matrix4 p = ry * move;
    // The origin goes to ry * (1, 2, 3) = (3, 2, -1), up to cos(pi/2)'s
    // rounding.
    EXPECT_NEAR(p.m[3], 3.0f, 1e-6f);
    EXPECT_NEAR(p.m[7], 2.0f, 1e-6f);
    EXPECT_NEAR(p.m[11], -1.0f, 1e-6f);
    EXPECT_EQ(p.m[15], 1.0f);

    Matrix4 rx, rz;
    rx.RotationX(0.5f);
    rz.RotationZ(0.5f);
    EXPECT_EQ(rx.m[6], -std::sin(0.5f));
    EXPECT_EQ(rx.m[9], std::sin(0.5f));
    EXPECT_EQ(rz.m[1], -std::sin(0.5f));
    EXPECT_EQ(rz.m[4], std::sin(0.5f));
    EXPECT_EQ(ry.m[8], -std::sin(HalfPi));
    Matrix4 id;
    Matrix4 same = rx * id;
    EXPECT_EQ(memcmp(same.m, rx.m, sizeof rx.m), 0);
}

TEST(Math, LookAtWithADerivedUpMatchesTheWorldUp)
{
    Vec4 eye(3.0f, 2.0f, -7.0f), target(-1.0f, 0.5f, 2.0f);
    Matrix4 derived, given;
    derived.LookAt(eye, target);
    given.LookAt(eye, target, VecUnitY);
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(derived.m[i], given.m[i], 0.01f * (1.0f + std::fabs(given.m[i]))) << i;
    // Straight down the y axis. From a unit distance dir.y is not exactly 1
    // after the fast normalisation, so the general branch runs and its up
    // collapses to zero: side and up rows are empty. From 138.75 dir.y is
    // exactly 1, and the special branch's horizontal up gives a whole frame.
    Matrix4 general, special;
    general.LookAt(Vec4(0, 1, 0), Vec4(0, 0, 0));
    special.LookAt(Vec4(0, 138.75f, 0), Vec4(0, 0, 0));
    for (int i : {0, 1, 2, 4, 5, 6})
        EXPECT_EQ(general.m[i], 0.0f) << i;
    EXPECT_NEAR(special.m[0], 1.0f, 0.01f);
    EXPECT_NEAR(special.m[6], -1.0f, 0.01f);
    EXPECT_EQ(special.m[9], 1.0f);
}

} // namespace
