// Camera: a scene object whose transform is the view matrix, the world as
// the camera sees it. Aimed once with a look-at, or flown with the arrow
// keys and the mouse; the position is kept apart, the orientation as pitch
// and yaw, and the view is rebuilt from them only when a flying step moves
// something.
//
//     Camera camera;
//     camera.LookAt(Vec4(13.6f, 7.7f, 11.8f), Vec4(0.0f, -2.0f, -5.0f));
//     camera.ApplyView();   // pushes the modelview; the caller pops it
#pragma once

#include "scene/scene_object.h"

class Input;
class Mouse;
class Window;

class Camera : public SceneObject
{
public:
    Camera();
    ~Camera() override;

    // The view matrix from eye, target and up.
    void LookAt(const Vec4& eye, const Vec4& target, const Vec4& up) override;
    // The camera is not visible.
    void Draw() override;
    // These move the eye, `position`; the view matrix waits for Fly.
    void Translate(const Vec4& v) override;
    void Translate(float x, float y, float z) override;
    void SetPosition(const Vec4& v) override;
    void SetPosition(float x, float y, float z) override;
    Vec4 GetPosition() override;

    // Along the current view: row 2 of the view is the camera's backward
    // axis, row 0 its right.
    virtual void MoveForward(float speed);
    virtual void MoveBackward(float speed);
    virtual void MoveLeft(float speed);
    virtual void MoveRight(float speed);
    // One step of keys and mouse look; nothing in an inactive window.
    virtual void Fly(Input* input, Mouse* mouse, Window* window, float speed);
    // A look-at from the present `position`.
    virtual void LookAtPoint(const Vec4& target);
    virtual void LookAtPoint(float x, float y, float z);
    // A look-at with the up vector derived from the view direction.
    virtual void LookAt(const Vec4& eye, const Vec4& target);

    // glPushMatrix, then the view onto the modelview. The caller pops it
    // at the end of the 3D drawing.
    void ApplyView();

    Vec4 position;
    float pitch = 0.0f;
    float yaw = 0.0f;
};
