#include "hatching/preview_state.h"

#include "resources/engine_base.h"
#include "resources/texture.h"

void PreparePreview(Texture* texture, GLenum enable, GLenum disable)
{
    EngineBase* e = g_engine;
    RenderStateCache& state = e->renderState;
    e->SetShader(nullptr);
    state.SelectUnit(GL_TEXTURE0_ARB);
    if (disable)
        state.UnitTexture(disable, false);
    state.UnitTexture(enable, true);
    e->SetTexture(texture);
    state.Enable(GL_LIGHTING, false);
    glBlendFunc(GL_ONE, GL_ZERO);
}
