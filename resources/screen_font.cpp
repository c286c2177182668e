#include "resources/screen_font.h"

#include <cstdarg>
#include <cstdio>

#include "app/gl_entry_points.h"
#include "resources/engine_base.h"

ScreenFont::ScreenFont(const char* name, int32_t glyphSize_, int32_t advance_)
    : cellSize(0.0625f), glyphSize(glyphSize_), advance(advance_), shader(nullptr)
{
    snprintf(shaderName, sizeof shaderName, "%s", name ? name : "");
    shader = g_engine->AddShader(shaderName);
}

void ScreenFont::Print(int32_t x, int32_t y, const char* format, ...)
{
    if (!format)
        return;
    // The registry clears this pointer when the console deletes the shader;
    // the next text then loads it again from the definitions.
    if (!shader)
        shader = g_engine->AddShader(shaderName);
    g_engine->SetShader(shader);
    g_engine->renderState.SelectUnit(GL_TEXTURE0_ARB);
    char text[256];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    for (int32_t i = 0; text[i]; ++i)
        DrawGlyph(x + advance * i, y, static_cast<signed char>(text[i]));
}

// Modulo and division truncate towards zero, so a code below 32 (or above
// 127, which counts as negative) gives a negative column and row.
void ScreenFont::DrawGlyph(int32_t x, int32_t y, signed char c)
{
    int32_t k = c - 32;
    float u = static_cast<float>(k % 16) * cellSize;
    float v = 1.0f - static_cast<float>(k / 16) * cellSize;
    glBegin(GL_QUADS);
    glTexCoord2f(u, v);
    glVertex2i(x, y - glyphSize);
    glTexCoord2f(u + cellSize, v);
    glVertex2i(x + glyphSize, y - glyphSize);
    glTexCoord2f(u + cellSize, v - cellSize);
    glVertex2i(x + glyphSize, y);
    glTexCoord2f(u, v - cellSize);
    glVertex2i(x, y);
    glEnd();
}

void DisableLighting()
{
    g_engine->renderState.Enable(GL_LIGHTING, false);
}

void EnableLighting()
{
    g_engine->renderState.Enable(GL_LIGHTING, true);
}
