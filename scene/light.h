// Light: one light of the fixed-function pipeline, its colours and its
// position kept on the CPU and sent to GL by Apply.
//
//     Light light(GL_LIGHT0);
//     light.SetPosition(15.0f, 40.0f, 0.0f);
//     light.SetKind(1);       // directional: the position is a direction
//     camera.ApplyView();     // GL takes the position through the modelview
//     light.Apply();
#pragma once

#include <GL/gl.h>
#include <cstdint>

#include "scene/scene_object.h"

class Light : public SceneObject
{
public:
    explicit Light(GLenum lightId);
    ~Light() override;

    // A cube of side 0.2 around the position, in the diffuse colour.
    void Draw() override;
    // These work on `position`; the transform plays no part in a light.
    void Translate(const Vec4& v) override;
    void Translate(float x, float y, float z) override;
    // x, y and z only: w, which says point or direction, stays.
    void SetPosition(const Vec4& v) override;
    void SetPosition(float x, float y, float z) override;
    Vec4 GetPosition() override;

    // Colours and position to GL, then the light on.
    void Apply();
    // 0 a point light (w = 1), anything else a light at infinity (w = 0).
    void SetKind(int32_t newKind);

    Vec4 ambient{1.0f, 1.0f, 1.0f, 1.0f};
    Vec4 diffuse{1.0f, 1.0f, 1.0f, 1.0f};
    Vec4 specular{1.0f, 1.0f, 1.0f, 1.0f};
    Vec4 position{0.0f, 0.0f, 0.0f, 1.0f};
    int32_t kind = 0;
    GLenum lightId;
};
