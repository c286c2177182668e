// Vectors, matrices and the constants of the engine, all single precision.
//
// Matrix4 is row-major: entry (r, c) is m[4 * r + c], the translation is in
// m[3], m[7], m[11], and vectors are columns multiplied from the right. GL
// takes it through glMultTransposeMatrixfARB / glLoadTransposeMatrixfARB.
// Every normalisation goes through FastInvSqrt, so unit vectors carry its
// small error (a result up to 0.18% short).
#pragma once

#include <cstdint>

constexpr float Pi = 3.1415927f;
constexpr float TwoPi = Pi + Pi;
constexpr float HalfPi = Pi * 0.5f;
constexpr float QuarterPi = Pi * 0.25f;
constexpr float RadToDeg = 180.0f / Pi;
// Formed with the float nearest 1/180, one ulp above the float nearest pi/180.
constexpr float DegToRad = Pi * 0.0055555557f;

// One Newton step on the bit-trick estimate of 1 / sqrt(v), v >= 0.
float FastInvSqrt(float v);

struct Vec4
{
    Vec4() = default;
    Vec4(float x_, float y_, float z_, float w_ = 0.0f) : x(x_), y(y_), z(z_), w(w_) {}

    Vec4& Set(float x_, float y_, float z_, float w_);
    // Copies x, y and z only; w stays.
    Vec4& SetXYZ(const Vec4& v);
    // x, y and z of the difference; w = 0.
    Vec4 operator-(const Vec4& b) const;
    // x, y and z scaled; w = 0.
    Vec4 operator*(float s) const;
    // this x b, w = 0.
    Vec4 Cross(const Vec4& b) const;
    // Dot product over x, y and z.
    float Dot3(const Vec4& b) const { return x * b.x + y * b.y + z * b.z; }
    // Scales x, y, z by the inverse length and returns it; w stays. A zero
    // vector stays zero.
    float Normalize();

    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
    float w = 0.0f;
};

struct Matrix4
{
    // The identity.
    Matrix4();

    void SetIdentity();
    // The ordinary product: b is applied first to a column vector. Returns a
    // new matrix; assign it back rather than forming it into an operand.
    Matrix4 operator*(const Matrix4& b) const;
    void RotationX(float angle);
    void RotationY(float angle);
    void RotationZ(float angle);
    // The view transform that gluLookAt gives, row-major.
    void LookAt(const Vec4& eye, const Vec4& target, const Vec4& up);
    // The same with an up vector derived from the view direction.
    void LookAt(const Vec4& eye, const Vec4& target);

    float m[16];
};

extern const Vec4 VecZero;
extern const Vec4 VecUnitX;
extern const Vec4 VecUnitY;
extern const Vec4 VecUnitZ;

// From the lowest set bit of n, doubled until it is not below n: the power
// of two the console's ring sizes and the vertex pool's alignment round up
// to. 0 gives 1; a number above the highest power of two gives that power.
uint32_t RoundUpToPowerOfTwo(uint32_t n);
