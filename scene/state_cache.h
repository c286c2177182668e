// The scene's side of the Engine's render-state cache: each helper tests
// the mirror first and calls GL only when the value changes, so that the
// materials find the state they expect.
#pragma once

#include "app/gl_entry_points.h"
#include "resources/engine_base.h"

namespace scenestate
{

// `cached` is the Engine's mirror of `capability`.
inline void Switch(unsigned char& cached, GLenum capability, bool on)
{
    if (cached == (on ? 1 : 0))
        return;
    if (on)
        glEnable(capability);
    else
        glDisable(capability);
    cached = on ? 1 : 0;
}

inline void Lighting(bool on)
{
    Switch(g_engine->lightingEnabled, GL_LIGHTING, on);
}

inline void DepthTest(bool on)
{
    Switch(g_engine->depthTestEnabled, GL_DEPTH_TEST, on);
}

inline void DepthMask(bool on)
{
    if (g_engine->depthMaskEnabled == (on ? 1 : 0))
        return;
    glDepthMask(on ? GL_TRUE : GL_FALSE);
    g_engine->depthMaskEnabled = on ? 1 : 0;
}

inline void ActiveUnit(GLenum unit)
{
    g_engine->SelectUnit(unit);
}

// 2D texturing on the active unit.
inline void Texture2D(bool on)
{
    uint32_t unit = (g_engine->activeTextureUnit - GL_TEXTURE0_ARB) & 31;
    Switch(g_engine->unitTextureEnabled[unit], GL_TEXTURE_2D, on);
}

} // namespace scenestate
