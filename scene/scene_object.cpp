#include "scene/scene_object.h"

SceneObject::SceneObject()
{
    transform.SetIdentity();
}

SceneObject::~SceneObject() = default;

void SceneObject::LookAt(const Vec4&, const Vec4&, const Vec4&) {}

void SceneObject::Reserved1(float) {}

void SceneObject::Reserved3(float, float, float) {}

namespace
{

// Each overload does its own work, so that a class overriding one of them
// does not change the other behind its back.
void MoveAlongOwnAxes(Matrix4& transform, float x, float y, float z)
{
    Matrix4 t;
    t.m[3] = x;
    t.m[7] = y;
    t.m[11] = z;
    Matrix4 moved = transform * t;
    transform = moved;
}

void PlaceAt(Matrix4& transform, float x, float y, float z)
{
    transform.m[3] = x;
    transform.m[7] = y;
    transform.m[11] = z;
}

} // namespace

void SceneObject::Translate(const Vec4& v)
{
    MoveAlongOwnAxes(transform, v.x, v.y, v.z);
}

void SceneObject::Translate(float x, float y, float z)
{
    MoveAlongOwnAxes(transform, x, y, z);
}

void SceneObject::SetPosition(const Vec4& v)
{
    PlaceAt(transform, v.x, v.y, v.z);
}

void SceneObject::SetPosition(float x, float y, float z)
{
    PlaceAt(transform, x, y, z);
}

Vec4 SceneObject::GetPosition()
{
    return Vec4(transform.m[3], transform.m[7], transform.m[11], 0.0f);
}
