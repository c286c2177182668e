// Frustum: the six planes of the view volume, read back from the GL
// matrices of the moment, and the sphere test that culls against them.
//
//     camera.ApplyView();
//     frustum.Update();                 // in the modelview's input space
//     if (frustum.TestSphere(sphere)) ...
#pragma once

#include "app/math.h"

// A centre (x, y, z count) and a radius.
struct Sphere
{
    Vec4 center;
    float radius = 0.0f;
};

class Frustum
{
public:
    Frustum();
    virtual ~Frustum();

    // The planes from GL_PROJECTION_MATRIX and GL_MODELVIEW_MATRIX; needs a
    // current context. Until the first Update the planes are undefined.
    void Update();
    // False when the sphere lies wholly outside one plane. A sphere that
    // only touches a plane from outside is outside.
    bool TestSphere(const Sphere& sphere) const;

    // Right, left, bottom, top, far, near: a, b, c, d each, with a point p
    // inside when a p.x + b p.y + c p.z + d > 0.
    float planes[6][4];
};
