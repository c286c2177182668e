// Draw: the console's box, caption, last lines and typed line, in the 2D
// mode of the frame (pixels, origin at the top left, y growing downwards).
#include "console/console.h"
#include "console/console_texts.h"
#include "resources/engine_base.h"
#include "resources/screen_font.h"

namespace
{

// Texturing off on `unit`, which is left active, through the state cache.
void DisableTexturing(EngineBase* engine, GLenum unit)
{
    engine->renderState.SelectUnit(unit);
    engine->renderState.UnitTexture(GL_TEXTURE_2D, false);
}

// No material, no vertex program, plain colours.
void PrepareState(EngineBase* engine)
{
    engine->SetShader(nullptr);
    engine->SetVertexProgram(nullptr);
    DisableTexturing(engine, GL_TEXTURE1_ARB);
    DisableTexturing(engine, GL_TEXTURE0_ARB);
    engine->renderState.Enable(GL_BLEND, false);
    engine->renderState.Enable(GL_CULL_FACE, false);
}

// The gradient box, `bottom` pixels high over the whole width.
void DrawBox(int32_t width, int32_t bottom)
{
    glBegin(GL_QUADS);
    glColor3f(0, 0.5f, 0);
    glVertex2i(0, 0);
    glColor3f(1, 1, 0);
    glVertex2i(width, 0);
    glColor3f(1, 0, 0);
    glVertex2i(width, bottom);
    glColor3f(0, 0, 1);
    glVertex2i(0, bottom);
    glEnd();
}

} // namespace

// The box is (aperture + 2) rows high whatever the number of lines; the
// typed line follows the last line shown, so it sinks as the log fills
// until it sits on the box's lower edge.
void Console::Draw()
{
    if (!g_engine)
        return;
    int32_t h = font ? font->glyphSize : 12; // the engine's font size when there is none
    PrepareState(g_engine);
    glPushMatrix();
    glTranslatef(0, 0, -1);
    uint32_t shown = ShownLines();
    DrawBox(width, static_cast<int32_t>(shown + 2) * h);
    glColor3f(1, 1, 1);
    if (font)
    {
        font->Print(0, h, "%s", consoletext::kCaption);
        uint32_t first = logCount < shown ? 0 : logCount - shown;
        int32_t row = 2;
        for (uint32_t i = first; i < logCount; ++i, ++row)
            font->Print(0, row * h, "%s", lines[i & lineCountMask]);
        font->Print(0, row * h, "%s", input);
    }
    glPopMatrix();
}
