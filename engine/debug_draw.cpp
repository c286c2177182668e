// Debug drawing: white-or-current-colour lines in the scene, for a subclass
// that wants to see a segment, a triangle or a ray while it is developed.
#include "engine/engine.h"

namespace
{

// Unit 0 active, lighting off and texturing off on it, all through the
// cache, so that the next material finds the state it expects.
void PrepareLines(Engine* engine)
{
    RenderStateCache& state = engine->renderState;
    state.SelectUnit(GL_TEXTURE0_ARB);
    state.Enable(GL_LIGHTING, false);
    state.UnitTexture(GL_TEXTURE_2D, false);
}

} // namespace

void Engine::DrawLine(const Vec4& from, const Vec4& to)
{
    PrepareLines(this);
    renderState.Enable(GL_CULL_FACE, false);
    glBegin(GL_LINES);
    glVertex3fv(&from.x);
    glVertex3fv(&to.x);
    glEnd();
    SetShader(nullptr);
}

void Engine::DrawTriangle(const Vec4 corners[3])
{
    PrepareLines(this);
    glBegin(GL_LINES);
    for (int i = 0; i < 3; ++i)
    {
        glVertex3fv(&corners[i].x);
        glVertex3fv(&corners[(i + 1) % 3].x);
    }
    glEnd();
    SetShader(nullptr);
}

void Engine::DrawRay(const Vec4 ray[2])
{
    PrepareLines(this);
    const float end[3] = {ray[0].x + ray[1].x, ray[0].y + ray[1].y, ray[0].z + ray[1].z};
    glBegin(GL_LINES);
    glVertex3fv(&ray[0].x);
    glVertex3fv(end);
    glEnd();
    SetShader(nullptr);
}
