// ScreenFont: text in 2D, one textured quad per character.
//
// The glyphs lie in one texture, a grid of 16 by 16 cells read from the top
// left, starting with the blank (code 32). The texture and its blending are
// those of the shader with the font's name, so the look of all screen text
// is set in the shader definitions. Print expects the projection of
// Begin2D (y grows downwards) and takes the lower left corner of the first
// character.
//
//     ScreenFont* font = new ScreenFont("Font", 12, 7);
//     g_engine->Begin2D(width, height);
//     font->Print(10, 20, "%d fps", fps);
//     g_engine->End2D();
#pragma once

#include <cstdint>

class Shader;

class ScreenFont
{
public:
    // Asks the engine for the shader `name` (g_engine and a GL context must
    // exist).
    ScreenFont(const char* name, int32_t glyphSize, int32_t advance);
    ScreenFont(const ScreenFont&) = delete;
    ScreenFont& operator=(const ScreenFont&) = delete;

    // printf-style; the text is cut at 255 characters. Makes the font's
    // shader current and unit 0 active, and leaves them so. A null format
    // does nothing at all. Control characters are drawn like any code.
    void Print(int32_t x, int32_t y, const char* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 4, 5)))
#endif
        ;
    // One quad of glyphSize pixels with the cell of `c`; a code above 127
    // counts as negative and picks a cell outside the texture, which its
    // wrap mode decides.
    void DrawGlyph(int32_t x, int32_t y, signed char c);

    float cellSize;    // a cell in texture coordinates: 1/16
    int32_t glyphSize; // side of the quad in pixels
    int32_t advance;   // pixels from one character to the next
    Shader* shader;    // owned by the shader registry

private:
    // For asking the registry again when the shader was deleted under us.
    char shaderName[256];
};

// Lighting off and on through the engine's render-state cache.
void DisableLighting();
void EnableLighting();
