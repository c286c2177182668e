#include "resources/render_state_cache.h"

#include "app/gl_entry_points.h"

namespace
{

// Sends an enable or disable of `capability` when `mirror` differs.
void Switch(unsigned char* mirror, GLenum capability, bool on)
{
    if (!mirror || *mirror == (on ? 1 : 0))
        return;
    if (on)
        glEnable(capability);
    else
        glDisable(capability);
    *mirror = on ? 1 : 0;
}

} // namespace

unsigned char* RenderStateCache::CapabilityMirror(GLenum capability)
{
    switch (capability)
    {
    case GL_LIGHTING:
        return &lightingEnabled;
    case GL_BLEND:
        return &blendEnabled;
    case GL_STENCIL_TEST:
        return &stencilTestEnabled;
    case GL_DEPTH_TEST:
        return &depthTestEnabled;
    case GL_CULL_FACE:
        return &cullFaceEnabled;
    default:
        return nullptr;
    }
}

unsigned char* RenderStateCache::UnitMirror(unsigned char (&table)[kUnits])
{
    uint32_t index = ActiveUnitIndex();
    return index < kUnits ? &table[index] : nullptr;
}

void RenderStateCache::Enable(GLenum capability, bool on)
{
    Switch(CapabilityMirror(capability), capability, on);
}

void RenderStateCache::SetDepthMask(bool on)
{
    if (depthMaskEnabled == (on ? 1 : 0))
        return;
    glDepthMask(on ? GL_TRUE : GL_FALSE);
    depthMaskEnabled = on ? 1 : 0;
}

void RenderStateCache::SetDepthFunc(GLenum func)
{
    if (cachedDepthFunc == func)
        return;
    glDepthFunc(func);
    cachedDepthFunc = func;
}

void RenderStateCache::SetFrontFace(GLenum winding)
{
    if (cachedFrontFace == winding)
        return;
    glFrontFace(winding);
    cachedFrontFace = winding;
}

void RenderStateCache::SelectUnit(GLenum unit)
{
    if (activeTextureUnit == unit)
        return;
    activeTextureUnit = unit;
    if (ep_glActiveTextureARB)
        glActiveTextureARB(unit);
}

void RenderStateCache::UnitTexture(GLenum target, bool on)
{
    Switch(UnitMirror(unitTextureEnabled), target, on);
}

void RenderStateCache::UnitTextureOff()
{
    unsigned char* mirror = UnitMirror(unitTextureEnabled);
    if (!mirror || !*mirror)
        return;
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_TEXTURE_3D);
    *mirror = 0;
}

void RenderStateCache::TexGen(bool on)
{
    Switch(UnitMirror(unitTexGenS), GL_TEXTURE_GEN_S, on);
    Switch(UnitMirror(unitTexGenT), GL_TEXTURE_GEN_T, on);
}
