#include "hatching/preview_state.h"

#include "app/gl_entry_points.h"
#include "resources/engine_base.h"
#include "resources/texture.h"

uint32_t PreparePreview(Texture* texture, uint32_t enable, uint32_t disable)
{
    EngineBase* e = g_engine;
    e->SetShader(nullptr);
    if (e->activeTextureUnit != GL_TEXTURE0_ARB && ep_glActiveTextureARB)
    {
        glActiveTextureARB(GL_TEXTURE0_ARB);
        e->activeTextureUnit = GL_TEXTURE0_ARB;
    }
    uint32_t unit = e->activeTextureUnit - GL_TEXTURE0_ARB;
    if (disable && e->unitTextureEnabled[unit])
    {
        glDisable(disable);
        e->unitTextureEnabled[unit] = 0;
    }
    if (!e->unitTextureEnabled[unit])
    {
        glEnable(enable);
        e->unitTextureEnabled[unit] = 1;
    }
    e->SetTexture(texture);
    if (e->lightingEnabled)
    {
        glDisable(GL_LIGHTING);
        e->lightingEnabled = 0;
    }
    glBlendFunc(GL_ONE, GL_ZERO);
    return unit;
}
