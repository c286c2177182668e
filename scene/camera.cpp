#include "scene/camera.h"

#include "app/gl_entry_points.h"
#include "app/input.h"
#include "app/window.h"
#include "platform/keys.h"

namespace
{

// Radians a pixel of mouse movement turns the view.
constexpr float kLookSpeed = 0.002f;

} // namespace

Camera::Camera() = default;

Camera::~Camera() = default;

void Camera::LookAt(const Vec4& eye, const Vec4& target, const Vec4& up)
{
    transform.LookAt(eye, target, up);
}

void Camera::LookAt(const Vec4& eye, const Vec4& target)
{
    transform.LookAt(eye, target);
}

void Camera::LookAtPoint(const Vec4& target)
{
    transform.LookAt(GetPosition(), target);
}

void Camera::LookAtPoint(float x, float y, float z)
{
    transform.LookAt(GetPosition(), Vec4(x, y, z, 0.0f));
}

void Camera::Draw() {}

void Camera::Translate(const Vec4& v)
{
    Translate(v.x, v.y, v.z);
}

void Camera::Translate(float x, float y, float z)
{
    position.x += x;
    position.y += y;
    position.z += z;
}

void Camera::SetPosition(const Vec4& v)
{
    SetPosition(v.x, v.y, v.z);
}

void Camera::SetPosition(float x, float y, float z)
{
    position.x = x;
    position.y = y;
    position.z = z;
}

Vec4 Camera::GetPosition()
{
    return position;
}

void Camera::MoveForward(float speed)
{
    Translate(Vec4(transform.m[8], transform.m[9], transform.m[10], 0.0f) * -speed);
}

void Camera::MoveBackward(float speed)
{
    Translate(Vec4(transform.m[8], transform.m[9], transform.m[10], 0.0f) * speed);
}

void Camera::MoveLeft(float speed)
{
    Translate(Vec4(transform.m[0], transform.m[1], transform.m[2], 0.0f) * -speed);
}

void Camera::MoveRight(float speed)
{
    Translate(Vec4(transform.m[0], transform.m[1], transform.m[2], 0.0f) * speed);
}

void Camera::Fly(Input* input, Mouse* mouse, Window* window, float speed)
{
    if (!g_window || !g_window->active)
        return;
    int32_t centreX = window->width >> 1;
    int32_t centreY = window->height >> 1;

    bool moved = false;
    const unsigned char* keys = input->keys;
    if (keys[VK_UP])
    {
        MoveForward(speed);
        moved = true;
    }
    if (keys[VK_DOWN])
    {
        MoveBackward(speed);
        moved = true;
    }
    if (keys[VK_LEFT])
    {
        MoveLeft(speed);
        moved = true;
    }
    if (keys[VK_RIGHT])
    {
        MoveRight(speed);
        moved = true;
    }
    if (keys[VK_PRIOR])
    {
        Translate(0.0f, speed, 0.0f);
        moved = true;
    }
    if (keys[VK_NEXT])
    {
        Translate(0.0f, -speed, 0.0f);
        moved = true;
    }

    mouse->Read();
    pitch += static_cast<float>(centreY - mouse->y) * kLookSpeed;
    mouse->Read();
    yaw += static_cast<float>(mouse->x - centreX) * kLookSpeed;
    mouse->Read();
    if (mouse->x == centreX && mouse->y == centreY && !moved)
        return;

    // The view is Rx(pitch) Ry(yaw) Rz(0) T(-position); no roll.
    Matrix4 rotation;
    transform.RotationX(pitch);
    rotation.RotationY(yaw);
    Matrix4 product = transform * rotation;
    transform = product;
    rotation.RotationZ(0.0f);
    product = transform * rotation;
    transform = product;
    Matrix4 shift;
    shift.m[3] = -position.x;
    shift.m[7] = -position.y;
    shift.m[11] = -position.z;
    product = transform * shift;
    transform = product;

    mouse->SetPosition(centreX, centreY);
}

void Camera::ApplyView()
{
    glPushMatrix();
    MultTransposeMatrix(transform.m);
}
