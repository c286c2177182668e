// Fuzzes the settings reader: every result terminated within its buffer.
#include "platform/profile.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const char* text = reinterpret_cast<const char*>(bytes);
    static const char* const kLookups[][2] = {{"3D engine", "window_width"},
                                              {"3d ENGINE", "fullscreen"},
                                              {"Sound", "output"},
                                              {"FMOD", "FSOUND_OUTPUT_DSOUND"},
                                              {"OpenGL", "GL_LESS"},
                                              {"", ""},
                                              {"[", "="}};
    for (const auto& lookup : kLookups)
        for (uint32_t outSize : {1u, 5u, 128u})
        {
            char out[129];
            memset(out, 'X', sizeof out);
            uint32_t n =
                GetProfileStringFromText(text, size, lookup[0], lookup[1], "default", out, outSize);
            if (n >= outSize || out[n] != 0 || out[outSize] != 'X')
                abort();
        }
    // A key taken from the result buffer itself, as the start-up does.
    char shared[128];
    GetProfileStringFromText(text, size, "Sound", "mixer", "FSOUND_MIXER_AUTODETECT", shared,
                             sizeof shared);
    GetProfileStringFromText(text, size, "FMOD", shared, "-1", shared, sizeof shared);
    return 0;
}
