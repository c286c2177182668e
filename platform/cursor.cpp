#include "platform/cursor.h"

#include <SDL.h>
#include <cstring>

namespace
{

int g_showCount = 0;
int g_lastX = 0;
int g_lastY = 0;

// Drivers without a screen have no pointer to warp or read.
bool HasPointer()
{
    if (SDL_WasInit(SDL_INIT_VIDEO) == 0)
        return false;
    const char* driver = SDL_GetCurrentVideoDriver();
    return driver && strcmp(driver, "offscreen") != 0 && strcmp(driver, "dummy") != 0;
}

} // namespace

int ShowCursor(bool show)
{
    g_showCount += show ? 1 : -1;
    if (SDL_WasInit(SDL_INIT_VIDEO) != 0)
        SDL_ShowCursor(g_showCount >= 0 ? SDL_ENABLE : SDL_DISABLE);
    return g_showCount;
}

bool SetCursorPos(int x, int y)
{
    if (SDL_WasInit(SDL_INIT_VIDEO) == 0)
        return false;
    g_lastX = x;
    g_lastY = y;
    if (HasPointer())
        SDL_WarpMouseGlobal(x, y);
    return true;
}

bool GetCursorPos(int* x, int* y)
{
    if (HasPointer())
        SDL_GetGlobalMouseState(&g_lastX, &g_lastY);
    *x = g_lastX;
    *y = g_lastY;
    return true;
}
