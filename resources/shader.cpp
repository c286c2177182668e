// Putting a shader on the GL state and taking it off again.
//
// Every switch of a capability, change of active unit, depth function,
// depth mask and front face goes through the engine's render-state cache:
// the cache is tested here, before the GL call. Material colours, the blend
// function, texture coordinate generation modes, the combine set-up and the
// texture matrix are sent at every Apply; the pointer test of SetShader is
// what keeps their number down.
#include "resources/shader.h"

#include <cstdio>

#include "app/gl_entry_points.h"
#include "app/report.h"
#include "platform/messages.h"
#include "resources/engine_base.h"
#include "resources/texture.h"

namespace
{

const char* const kNoCombineText = "For now, only 3d card with the extension "
                                   "GL_arb_texture_env_combine or GL_ext_texture_env_combine "
                                   "can use this program!";
const char* const kNoCombineCaption = "Buy a real 3d card";
// The exit value of the run that a missing combine extension ends.
constexpr int kNoCombineExit = 0x8570;

void SetColour(float (&c)[4], float r, float g, float b, float a)
{
    c[0] = r;
    c[1] = g;
    c[2] = b;
    c[3] = a;
}

// The active unit's texture target off. A stage without a texture can't
// say which target it had on, so both targets a stage can have go off.
void DisableUnitTexture(const Texture* texture)
{
    if (texture)
        g_engine->renderState.UnitTexture(texture->target, false);
    else
        g_engine->renderState.UnitTextureOff();
}

} // namespace

Material::Material()
{
    SetColour(ambient, 0.2f, 0.2f, 0.2f, 1.0f);
    SetColour(diffuse, 0.8f, 0.8f, 0.8f, 1.0f);
    SetColour(specular, 0, 0, 0, 1.0f);
    shininess = 0;
    SetColour(emission, 0, 0, 0, 1.0f);
}

void Material::Apply()
{
    glMaterialfv(GL_FRONT_AND_BACK, GL_AMBIENT, ambient);
    glMaterialfv(GL_FRONT_AND_BACK, GL_DIFFUSE, diffuse);
    glMaterialfv(GL_FRONT, GL_SPECULAR, specular);
    glMaterialfv(GL_FRONT, GL_SHININESS, &shininess);
    glMaterialfv(GL_FRONT, GL_EMISSION, emission);
}

void Material::ReservedMaterialOperation() {}

Shader* Shader::liveFirst = nullptr;
Shader* Shader::liveLast = nullptr;

Shader::Shader(const char* shaderName)
    : vertexProgram(nullptr), material(nullptr), stageCount(0), livePrevious(liveLast),
      liveNext(nullptr)
{
    (liveLast ? liveLast->liveNext : liveFirst) = this;
    liveLast = this;
    for (ShaderStage& stage : stages)
    {
        stage.texture = nullptr;
        stage.anisotropy = 1.0f;
        stage.anisotropicTexture = nullptr;
        stage.anisotropicTextureId = 0;
        stage.scale.Set(0, 0, 0, 0);
        stage.scrollSpeed.Set(0, 0, 0, 0);
        stage.scrollOffset.Set(0, 0, 0, 0);
    }
    snprintf(name, sizeof name, "%s", shaderName ? shaderName : "");
}

Shader::~Shader()
{
    ReleaseMaterial();
    (livePrevious ? livePrevious->liveNext : liveFirst) = liveNext;
    (liveNext ? liveNext->livePrevious : liveLast) = livePrevious;
}

void Shader::ReleaseMaterial()
{
    delete material;
    material = nullptr;
}

void Shader::Apply()
{
    if (material)
        material->Apply();
    ApplyCulling();
    ApplyDepth();
    ApplyBlending();
    for (int32_t i = 0; i < stageCount && i < kMaxStages; ++i)
        ApplyStage(stages[i], GL_TEXTURE0_ARB + static_cast<uint32_t>(i));
    glMatrixMode(GL_MODELVIEW);
    g_engine->SetVertexProgram(hasVertexProgram ? vertexProgram : nullptr);
}

void Shader::ApplyCulling()
{
    RenderStateCache& state = g_engine->renderState;
    state.Enable(GL_CULL_FACE, culling);
    if (culling)
        state.SetFrontFace(ccw ? GL_CCW : GL_CW);
}

// Without the depth test the shader's function and mask are ignored: depth
// writes stay as the shader before left them.
void Shader::ApplyDepth()
{
    RenderStateCache& state = g_engine->renderState;
    state.Enable(GL_DEPTH_TEST, depthTest);
    if (!depthTest)
        return;
    state.SetDepthFunc(depthFunc);
    state.SetDepthMask(depthMask);
}

void Shader::ApplyBlending()
{
    if (blending)
        glBlendFunc(blendSrc, blendDst);
    g_engine->renderState.Enable(GL_BLEND, blending);
}

void Shader::ApplyStage(ShaderStage& stage, uint32_t unit)
{
    RenderStateCache& state = g_engine->renderState;
    state.SelectUnit(unit);

    // A stage whose map didn't load keeps its texture target off, so that
    // it draws as if the unit had no texture.
    if (stage.texture)
    {
        stage.texture->Bind();
        state.UnitTexture(stage.texture->target, true);
        ApplyAnisotropy(stage);
    }
    else
        DisableUnitTexture(nullptr);

    glMatrixMode(GL_TEXTURE);
    glLoadIdentity();
    if (!stage.staticTransform)
    {
        glTranslatef(stage.scrollOffset.x, stage.scrollOffset.y, 0);
        glRotatef(stage.rotationAngle, 0, 0, 1);
        glScalef(stage.scale.x, stage.scale.y, 1);
    }

    if (stage.tcgenEnabled)
    {
        glTexGeni(GL_S, GL_TEXTURE_GEN_MODE, static_cast<GLint>(stage.tcgenMode));
        glTexGeni(GL_T, GL_TEXTURE_GEN_MODE, static_cast<GLint>(stage.tcgenMode));
    }
    state.TexGen(stage.tcgenEnabled);

    if (!g_engine->capabilities.hasTexEnvCombine)
    {
        // Fatal, but only here: the box, then a quit message that ends the
        // main loop after this frame. The other stages follow all the same.
        ReportBox(Frame::None, kNoCombineText, kNoCombineCaption, 0);
        PostQuitMessage(kNoCombineExit);
        return;
    }
    // Only arguments 0 and 1 exist: a third one comes from GL's defaults.
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_COMBINE);
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE0_RGB, static_cast<GLint>(stage.sourceRgb0));
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE1_RGB, static_cast<GLint>(stage.sourceRgb1));
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_RGB, static_cast<GLint>(stage.opRgb0));
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_RGB, static_cast<GLint>(stage.opRgb1));
    glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_RGB, static_cast<GLint>(stage.combineRgb));
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE0_ALPHA, static_cast<GLint>(stage.sourceAlpha0));
    glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE1_ALPHA, static_cast<GLint>(stage.sourceAlpha1));
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_ALPHA, static_cast<GLint>(stage.opAlpha0));
    glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_ALPHA, static_cast<GLint>(stage.opAlpha1));
    glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_ALPHA, static_cast<GLint>(stage.combineAlpha));
    glTexEnvf(GL_TEXTURE_ENV, GL_RGB_SCALE, stage.rgbScale);
    glTexEnvf(GL_TEXTURE_ENV, GL_ALPHA_SCALE, stage.alphaScale);
}

// Sets the bound texture's maximum anisotropy, clamped to the driver's,
// when the stage asks for more than 1 and the driver can filter so. The
// texture object remembered keeps this to one call for each texture the
// stage holds, whichever the application has put there since.
void Shader::ApplyAnisotropy(ShaderStage& stage)
{
    if (!(stage.anisotropy > 1.0f) || !g_engine->capabilities.hasAnisotropicFilter)
        return;
    if (stage.anisotropicTexture == stage.texture &&
        stage.anisotropicTextureId == stage.texture->id)
        return;
    const float driverMax = g_engine->capabilities.maxAnisotropy;
    float degree = stage.anisotropy < driverMax ? stage.anisotropy : driverMax;
    glTexParameterf(stage.texture->target, GL_TEXTURE_MAX_ANISOTROPY_EXT, degree);
    stage.anisotropicTexture = stage.texture;
    stage.anisotropicTextureId = stage.texture->id;
}

// The client-active unit is whichever the mesh drawing chose last; it isn't
// selected here. Matrices, coordinate generation, combine set-up, blending,
// depth, culling and the vertex program stay as Apply left them.
void Shader::Unapply()
{
    for (int32_t i = 0; i < stageCount && i < kMaxStages; ++i)
    {
        glDisableClientState(GL_TEXTURE_COORD_ARRAY);
        g_engine->renderState.SelectUnit(GL_TEXTURE0_ARB + static_cast<uint32_t>(i));
        DisableUnitTexture(stages[i].texture);
    }
}

// Neither angle nor offset is wrapped: they run on for as long as the
// program does.
void Shader::Update()
{
    for (int32_t i = 0; i < stageCount && i < kMaxStages; ++i)
    {
        ShaderStage& stage = stages[i];
        if (stage.staticTransform)
            continue;
        stage.scrollOffset.x += stage.scrollSpeed.x;
        stage.scrollOffset.y += stage.scrollSpeed.y;
        stage.scrollOffset.z += stage.scrollSpeed.z;
        stage.rotationAngle += stage.rotationSpeed;
    }
}
