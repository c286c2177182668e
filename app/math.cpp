#include "app/math.h"

#include <cmath>
#include <cstring>

const Vec4 VecZero(0.0f, 0.0f, 0.0f, 0.0f);
const Vec4 VecUnitX(1.0f, 0.0f, 0.0f, 0.0f);
const Vec4 VecUnitY(0.0f, 1.0f, 0.0f, 0.0f);
const Vec4 VecUnitZ(0.0f, 0.0f, 1.0f, 0.0f);

float FastInvSqrt(float v)
{
    int32_t i;
    memcpy(&i, &v, sizeof i);
    i = 0x5F3759DF - (i >> 1);
    float y;
    memcpy(&y, &i, sizeof y);
    return (1.5f - v * 0.5f * y * y) * y;
}

Vec4& Vec4::Set(float x_, float y_, float z_, float w_)
{
    x = x_, y = y_, z = z_, w = w_;
    return *this;
}

Vec4& Vec4::SetXYZ(const Vec4& v)
{
    x = v.x, y = v.y, z = v.z;
    return *this;
}

Vec4 Vec4::operator-(const Vec4& b) const
{
    return Vec4(x - b.x, y - b.y, z - b.z, 0.0f);
}

Vec4 Vec4::operator*(float s) const
{
    return Vec4(x * s, y * s, z * s, 0.0f);
}

Vec4 Vec4::Cross(const Vec4& b) const
{
    return Vec4(y * b.z - z * b.y, z * b.x - x * b.z, x * b.y - y * b.x, 0.0f);
}

float Vec4::Normalize()
{
    float inv = FastInvSqrt(x * x + y * y + z * z);
    // The bit trick on 0 gives a huge finite number; 0 times it stays 0.
    x *= inv, y *= inv, z *= inv;
    return inv;
}

Matrix4::Matrix4()
{
    SetIdentity();
}

void Matrix4::SetIdentity()
{
    for (int i = 0; i < 16; ++i)
        m[i] = (i % 5 == 0) ? 1.0f : 0.0f;
}

Matrix4 Matrix4::operator*(const Matrix4& b) const
{
    Matrix4 r;
    for (int row = 0; row < 4; ++row)
        for (int col = 0; col < 4; ++col)
        {
            float sum = 0.0f;
            for (int k = 0; k < 4; ++k)
                sum += m[4 * row + k] * b.m[4 * k + col];
            r.m[4 * row + col] = sum;
        }
    return r;
}

namespace
{

// Rows given as in the row-major storage.
void Fill(Matrix4& a, const float (&rows)[16])
{
    memcpy(a.m, rows, sizeof a.m);
}

} // namespace

void Matrix4::RotationX(float angle)
{
    float c = std::cos(angle), s = std::sin(angle);
    Fill(*this, {1, 0, 0, 0, 0, c, -s, 0, 0, s, c, 0, 0, 0, 0, 1});
}

void Matrix4::RotationY(float angle)
{
    float c = std::cos(angle), s = std::sin(angle);
    Fill(*this, {c, 0, s, 0, 0, 1, 0, 0, -s, 0, c, 0, 0, 0, 0, 1});
}

void Matrix4::RotationZ(float angle)
{
    float c = std::cos(angle), s = std::sin(angle);
    Fill(*this, {c, -s, 0, 0, s, c, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
}

void Matrix4::LookAt(const Vec4& eye, const Vec4& target, const Vec4& up)
{
    // The camera looks along -dir; side and trueUp complete its frame.
    Vec4 dir = eye - target;
    dir.Normalize();
    Vec4 upNorm = up;
    upNorm.Normalize();
    Vec4 side = upNorm.Cross(dir);
    Vec4 trueUp = dir.Cross(side);
    side.Normalize();
    trueUp.Normalize();
    Fill(*this, {side.x, side.y, side.z, -side.Dot3(eye),         //
                 trueUp.x, trueUp.y, trueUp.z, -trueUp.Dot3(eye), //
                 dir.x, dir.y, dir.z, -dir.Dot3(eye),             //
                 0, 0, 0, 1});
}

void Matrix4::LookAt(const Vec4& eye, const Vec4& target)
{
    Vec4 dir = eye - target;
    dir.Normalize();
    float d = dir.y;
    Vec4 up;
    if (d == 1.0f || d == -1.0f)
    {
        // Straight along the y axis: any horizontal up will do.
        up.Set(0.0f, 0.0f, -d, 0.0f);
    }
    else
    {
        Vec4 t = VecUnitY.Cross(dir);
        Vec4 u = t.Cross(dir);
        up = u * -1.0f;
        up.Normalize();
        up.w = 0.0f;
    }
    LookAt(eye, target, up);
}

uint32_t RoundUpToPowerOfTwo(uint32_t n)
{
    if (n == 0)
        return 1;
    uint32_t p = n & (~n + 1);
    while (p < n && p < 0x80000000u)
        p <<= 1;
    return p;
}
