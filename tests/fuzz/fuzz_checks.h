// Console buffers every console fuzz target checks: all lines terminated.
#pragma once

#include <cstdlib>
#include <cstring>

#include "console/console.h"

inline void CheckConsoleBuffers(const Console& console)
{
    if (console.cursor >= sizeof console.input ||
        memchr(console.input, 0, sizeof console.input) != console.input + console.cursor ||
        !memchr(console.recall, 0, sizeof console.recall))
        abort();
    for (uint32_t i = 0; i < console.HeldLines(); ++i)
        if (!memchr(console.Line(i), 0, console.lineLength))
            abort();
}
