// The one window of the program: display mode, GL context, the frame
// counter and the head and closing lines of the log. Create and Destroy can
// run again (Recreate switches between fullscreen and windowed).
#pragma once

#include <cstdint>
#include <ctime>

class Window
{
public:
    // True with the window shown and its GL context current. On failure a
    // box has been shown and a log line written.
    bool Create(const char* title, int32_t width, int32_t height, int32_t bpp, int32_t stencilBits,
                int32_t depthBits, int32_t windowed);
    // Safe in any state and more than once.
    void Destroy();
    // Counts the frame, then presents it.
    void Swap();
    bool Recreate(int32_t windowed);
    void ResetStartTime();

    char title[256] = {};
    int32_t width = 0;
    int32_t height = 0;
    int32_t frameCount = 0;
    int32_t bpp = 0;
    int32_t stencilBits = 0;
    int32_t depthBits = 0;
    unsigned char active = 0;
    int32_t windowed = 0;
    // From construction, the program's start, until a window is made: the
    // closing lines of a window that can't be made give the run's true
    // duration.
    time_t startTime = time(nullptr);
};

// The window procedure that Create registers: key table, activation, close.
intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam);

extern Window* g_window;
