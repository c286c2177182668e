#include "scene/light.h"

#include "resources/engine_base.h"

Light::Light(GLenum id) : lightId(id) {}

Light::~Light() = default;

void Light::Translate(const Vec4& v)
{
    Translate(v.x, v.y, v.z);
}

void Light::Translate(float x, float y, float z)
{
    position.x += x;
    position.y += y;
    position.z += z;
}

void Light::SetPosition(const Vec4& v)
{
    SetPosition(v.x, v.y, v.z);
}

void Light::SetPosition(float x, float y, float z)
{
    position.x = x;
    position.y = y;
    position.z = z;
}

Vec4 Light::GetPosition()
{
    return position;
}

void Light::SetKind(int32_t newKind)
{
    kind = newKind;
    position.w = kind == 0 ? 1.0f : 0.0f;
}

void Light::Apply()
{
    glLightfv(lightId, GL_AMBIENT, &ambient.x);
    glLightfv(lightId, GL_DIFFUSE, &diffuse.x);
    glLightfv(lightId, GL_SPECULAR, &specular.x);
    glLightfv(lightId, GL_POSITION, &position.x);
    glEnable(lightId);
}

namespace
{

// The marker's six faces, each as four corners given by the signs of x, y
// and z.
const signed char kCubeCorners[6][4][3] = {
    {{1, 1, 1}, {1, 1, -1}, {1, -1, -1}, {1, -1, 1}},     // x+
    {{-1, 1, 1}, {-1, 1, -1}, {-1, -1, -1}, {-1, -1, 1}}, // x-
    {{1, 1, 1}, {1, 1, -1}, {-1, 1, -1}, {-1, 1, 1}},     // y+
    {{1, -1, 1}, {1, -1, -1}, {-1, -1, -1}, {-1, -1, 1}}, // y-
    {{1, 1, 1}, {-1, 1, 1}, {-1, -1, 1}, {1, -1, 1}},     // z+
    {{1, 1, -1}, {-1, 1, -1}, {-1, -1, -1}, {1, -1, -1}}, // z-
};

float Offset(float at, signed char sign)
{
    return sign > 0 ? at + 0.1f : at - 0.1f;
}

} // namespace

void Light::Draw()
{
    g_engine->renderState.SelectUnit(GL_TEXTURE0_ARB);
    g_engine->renderState.Enable(GL_CULL_FACE, false);
    g_engine->renderState.Enable(GL_LIGHTING, false);
    g_engine->renderState.UnitTexture(GL_TEXTURE_2D, false);
    g_engine->renderState.SetDepthMask(true);
    g_engine->renderState.Enable(GL_DEPTH_TEST, true);

    glBegin(GL_QUADS);
    glColor4fv(&diffuse.x);
    for (const auto& face : kCubeCorners)
        for (const auto& corner : face)
            glVertex3f(Offset(position.x, corner[0]), Offset(position.y, corner[1]),
                       Offset(position.z, corner[2]));
    glEnd();

    g_engine->renderState.Enable(GL_LIGHTING, true);
    g_engine->renderState.UnitTexture(GL_TEXTURE_2D, true);
}
