// The abstract base of everything that has a place in the scene (light,
// camera, mesh): a transform, a name and ten virtual operations. Camera and
// Light keep their position in a field of their own and override the
// position operations, so any object can be moved through this interface.
#pragma once

#include "app/math.h"

class SceneObject
{
public:
    // The transform starts as the identity; the name is left unset.
    SceneObject();
    virtual ~SceneObject();
    // Empty here; the camera implements it.
    virtual void LookAt(const Vec4& eye, const Vec4& target, const Vec4& up);
    // Two slots kept free, empty in every class.
    virtual void Reserved1(float a);
    virtual void Reserved3(float a, float b, float c);
    virtual void Draw() = 0;
    // Moves along the object's own axes: transform = transform * T.
    virtual void Translate(const Vec4& v);
    virtual void Translate(float x, float y, float z);
    // Writes the world position; the rotation stays.
    virtual void SetPosition(const Vec4& v);
    virtual void SetPosition(float x, float y, float z);
    // (m[3], m[7], m[11], 0).
    virtual Vec4 GetPosition();

    Matrix4 transform;
    char name[32];
};
