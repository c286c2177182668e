// What the fuzz targets share, standard headers included: an input replayed, the console checked.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "console/console.h"

// The first byte odd: the rest toggles `keys`, each 0 and the end a frame, step(nullptr); even:
// lines of at most `longest` bytes, step(line). At most `steps` steps, after each of which every
// line of `console` must be terminated and its input line end at its cursor.
template <typename Step>
void Replay(const uint8_t* bytes, size_t size, unsigned char* keys, size_t longest, int steps,
            const Console& console, Step step)
{
    const bool typing = size > 0 && (bytes[0] & 1);
    std::string text;
    for (size_t i = 1; i <= size && steps > 0; ++i)
    {
        if (typing && i < size && bytes[i] != 0)
            keys[bytes[i]] ^= 1;
        else if (!typing && i < size && bytes[i] != '\n' && text.size() < longest)
            text += static_cast<char>(bytes[i]);
        else
        {
            step(typing ? nullptr : text.c_str());
            text.clear();
            --steps;
            if (console.cursor >= sizeof console.input ||
                memchr(console.input, 0, sizeof console.input) != console.input + console.cursor ||
                !memchr(console.recall, 0, sizeof console.recall))
                abort();
            for (uint32_t n = 0; n < console.HeldLines(); ++n)
                if (!memchr(console.Line(n), 0, console.lineLength))
                    abort();
        }
    }
}
