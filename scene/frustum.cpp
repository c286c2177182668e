#include "scene/frustum.h"

#include <GL/gl.h>

Frustum::Frustum() = default;

Frustum::~Frustum() = default;

namespace
{

// Each plane is the fourth column of the combined matrix plus or minus one
// of the others.
struct PlaneRule
{
    float sign;
    int column;
};

const PlaneRule kPlaneRules[6] = {
    {-1.0f, 0}, // right
    {1.0f, 0},  // left
    {1.0f, 1},  // bottom
    {-1.0f, 1}, // top
    {-1.0f, 2}, // far
    {1.0f, 2},  // near
};

} // namespace

void Frustum::Update()
{
    float proj[16];
    float modl[16];
    glGetFloatv(GL_PROJECTION_MATRIX, proj);
    glGetFloatv(GL_MODELVIEW_MATRIX, modl);

    // Both in GL's column order, multiplied in that same order.
    float clip[16];
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
        {
            float sum = 0.0f;
            for (int k = 0; k < 4; ++k)
                sum += modl[4 * r + k] * proj[4 * k + c];
            clip[4 * r + c] = sum;
        }

    for (int p = 0; p < 6; ++p)
    {
        float s = kPlaneRules[p].sign;
        int i = kPlaneRules[p].column;
        float* plane = planes[p];
        plane[0] = clip[3] + s * clip[i];
        plane[1] = clip[7] + s * clip[4 + i];
        plane[2] = clip[11] + s * clip[8 + i];
        plane[3] = clip[15] + s * clip[12 + i];
        float scale = FastInvSqrt(plane[0] * plane[0] + plane[1] * plane[1] + plane[2] * plane[2]);
        for (int k = 0; k < 4; ++k)
            plane[k] *= scale;
    }
}

bool Frustum::TestSphere(const Sphere& sphere) const
{
    const Vec4& c = sphere.center;
    for (const auto& plane : planes)
    {
        float distance = plane[0] * c.x + plane[1] * c.y + plane[2] * c.z + plane[3];
        if (distance <= -sphere.radius)
            return false;
    }
    return true;
}
