// A real GL context for gl tests, from construction to destruction: the
// engine's own Window on SDL's offscreen driver; its log in the current folder.
#pragma once

#include "app/window.h"

namespace testsupport
{

class GlContext
{
public:
    explicit GlContext(int width = 128, int height = 96)
    {
        // 32 colour bits, an 8-bit stencil and a 24-bit depth buffer, windowed.
        created = g_window->Create("Tessimo test", width, height, 32, 8, 24, 1);
    }
    ~GlContext()
    {
        if (created)
            g_window->Destroy();
    }
    GlContext(const GlContext&) = delete;
    GlContext& operator=(const GlContext&) = delete;

    bool created = false;
};

} // namespace testsupport
