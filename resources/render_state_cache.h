// The render-state cache: mirrors of the GL state that materials, text,
// overlays and the scene switch most often, so that a change is sent to GL
// only when the value differs.
//
// Every change of these states goes through the methods below, which test
// the mirror and call GL only on a change. Code elsewhere may read the
// mirrors, but writes them only through these methods; GL state changed
// behind the cache's back leaves the mirror stale until something switches
// it through here.
//
//     g_engine->renderState.Enable(GL_LIGHTING, false);
//     g_engine->renderState.SelectUnit(GL_TEXTURE1_ARB);
//     g_engine->renderState.UnitTexture(GL_TEXTURE_2D, true);
#pragma once

#include <GL/gl.h>
#include <cstdint>

class RenderStateCache
{
public:
    // The texture units the per-unit tables cover.
    static constexpr uint32_t kUnits = 32;

    // Switches `capability` (GL_LIGHTING, GL_BLEND, GL_STENCIL_TEST,
    // GL_DEPTH_TEST or GL_CULL_FACE) with glEnable or glDisable.
    void Enable(GLenum capability, bool on);
    // glDepthMask.
    void SetDepthMask(bool on);
    // glDepthFunc.
    void SetDepthFunc(GLenum func);
    // glFrontFace.
    void SetFrontFace(GLenum winding);

    // Makes `unit` (GL_TEXTURE0_ARB + index) the active texture unit.
    // Without multitexturing there is no entry point and only unit 0 to
    // select: the mirror follows the request all the same, so that the
    // per-unit tables below stay those of the unit asked for.
    void SelectUnit(GLenum unit);
    // Index of the active unit in the per-unit tables.
    uint32_t ActiveUnitIndex() const { return activeTextureUnit - GL_TEXTURE0_ARB; }

    // Texturing of the active unit through `target` (GL_TEXTURE_2D or
    // GL_TEXTURE_3D). The mirror holds one flag per unit, whatever the
    // target: switching on doesn't switch another target off.
    void UnitTexture(GLenum target, bool on);
    // Texturing of the active unit off when its target isn't known: both
    // GL_TEXTURE_2D and GL_TEXTURE_3D go off.
    void UnitTextureOff();
    // Texture coordinate generation of the active unit, S then T.
    void TexGen(bool on);

    // The mirrors, with GL's state at the start of a context as InitGL
    // leaves it, but for the depth function (GL_LEQUAL in GL).
    unsigned char lightingEnabled = 1;
    unsigned char blendEnabled = 0;
    unsigned char stencilTestEnabled = 0;
    unsigned char depthTestEnabled = 1;
    unsigned char depthMaskEnabled = 1;
    unsigned char cullFaceEnabled = 0;
    // Unit 0 starts with its texturing marked on.
    unsigned char unitTextureEnabled[kUnits] = {1};
    unsigned char unitTexGenS[kUnits] = {};
    unsigned char unitTexGenT[kUnits] = {};
    GLenum cachedDepthFunc = GL_LESS;
    GLenum activeTextureUnit = 0x84C0; // GL_TEXTURE0_ARB
    GLenum cachedFrontFace = GL_CCW;

private:
    // The mirror of an Enable capability; null for any other.
    unsigned char* CapabilityMirror(GLenum capability);
    // The active unit's entry of a per-unit table; null past the tables.
    unsigned char* UnitMirror(unsigned char (&table)[kUnits]);
};
