// Keyboard and cursor state. The window procedure writes the key table;
// everyone else polls it. No events, no edge detection.
#pragma once

#include <cstdint>

class Input
{
public:
    Input();
    virtual ~Input();

    // One byte per VK_ code: 1 while down, 0 while up. A reader may write 0
    // to consume a key press.
    unsigned char keys[256];
};

class Mouse
{
public:
    // Warps the cursor to (x, y) in screen coordinates.
    void SetPosition(int32_t x, int32_t y);
    // Fills x and y with the cursor's screen position.
    void Read();

    int32_t x = 0;
    int32_t y = 0;
};

extern Input* g_input;
extern Mouse* g_mouse;
