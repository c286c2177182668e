#include "platform/gl_window.h"

#include <SDL.h>
#include <algorithm>
#include <string>
#include <vector>

#include "platform/display_lost.h"

namespace
{

struct PlatformWindow
{
    SDL_Window* sdl = nullptr;
    std::string title;
    int x = 0, y = 0, width = 0, height = 0;
    Uint32 flags = 0;
    bool hasDc = false;
};

GlStep g_failingStep = GlStep::None;
bool g_classRegistered = false;
bool g_modePending = false;
SDL_DisplayMode g_pendingMode = {};
std::vector<PlatformWindow*> g_windows;

bool Fails(GlStep step)
{
    return g_failingStep == step;
}

PlatformWindow* Lookup(void* handle)
{
    auto it = std::find(g_windows.begin(), g_windows.end(), static_cast<PlatformWindow*>(handle));
    return it == g_windows.end() ? nullptr : *it;
}

void Release(PlatformWindow* w)
{
    if (w->sdl)
        SDL_DestroyWindow(w->sdl);
    g_windows.erase(std::find(g_windows.begin(), g_windows.end(), w));
    delete w;
}

// A display mode of the asked-for size; the asked-for depth where the
// display offers it, else the first mode of that size (a Linux display
// keeps its depth).
bool FindDisplayMode(int width, int height, int bpp, SDL_DisplayMode* found)
{
    int count = SDL_GetNumDisplayModes(0);
    bool any = false;
    // Some drivers list no modes; the desktop's own mode is always there.
    SDL_DisplayMode desktop;
    if (SDL_GetDesktopDisplayMode(0, &desktop) == 0 && desktop.w == width && desktop.h == height)
    {
        *found = desktop;
        any = true;
    }
    for (int i = 0; i < count; ++i)
    {
        SDL_DisplayMode mode;
        if (SDL_GetDisplayMode(0, i, &mode) != 0 || mode.w != width || mode.h != height)
            continue;
        if (!any || static_cast<int>(SDL_BITSPERPIXEL(mode.format)) == bpp)
            *found = mode;
        any = true;
    }
    return any;
}

void SetColourBits(int bits)
{
    int r = 8, g = 8, b = 8;
    if (bits <= 8)
        r = 3, g = 3, b = 2;
    else if (bits == 15)
        r = 5, g = 5, b = 5;
    else if (bits == 16)
        r = 5, g = 6, b = 5;
    SDL_GL_SetAttribute(SDL_GL_RED_SIZE, r);
    SDL_GL_SetAttribute(SDL_GL_GREEN_SIZE, g);
    SDL_GL_SetAttribute(SDL_GL_BLUE_SIZE, b);
}

} // namespace

HINSTANCE GetModuleHandle(const char*)
{
    static char module;
    return &module;
}

bool RegisterClass(const WNDCLASS* windowClass)
{
    if (Fails(GlStep::RegisterClass) || !windowClass)
        return false;
    // Our own close signals, before SDL would install its handlers.
    InstallCloseSignals();
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0)
        return false;
    WatchDisplayConnection();
    SetWindowProc(windowClass->lpfnWndProc);
    g_classRegistered = true;
    return true;
}

bool UnregisterClass(const char*, HINSTANCE)
{
    if (Fails(GlStep::UnregisterClass) || !g_classRegistered)
        return false;
    while (!g_windows.empty())
        Release(g_windows.back());
    g_classRegistered = false;
    g_modePending = false;
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    return true;
}

int ChangeDisplaySettings(const DEVMODE* mode, uint32_t)
{
    if (!mode)
    {
        // Back to the desktop: fullscreen windows leave their mode.
        g_modePending = false;
        for (PlatformWindow* w : g_windows)
            if (w->sdl && (SDL_GetWindowFlags(w->sdl) & SDL_WINDOW_FULLSCREEN))
                SDL_SetWindowFullscreen(w->sdl, 0);
        return DISP_CHANGE_SUCCESSFUL;
    }
    if (Fails(GlStep::ChangeDisplaySettings) || SDL_WasInit(SDL_INIT_VIDEO) == 0)
        return DISP_CHANGE_FAILED;
    SDL_DisplayMode found;
    if (!FindDisplayMode(static_cast<int>(mode->dmPelsWidth), static_cast<int>(mode->dmPelsHeight),
                         static_cast<int>(mode->dmBitsPerPel), &found))
        return DISP_CHANGE_FAILED;
    g_pendingMode = found;
    g_modePending = true;
    return DISP_CHANGE_SUCCESSFUL;
}

bool AdjustWindowRectEx(RECT*, uint32_t, bool, uint32_t)
{
    return true;
}

HWND CreateWindowEx(uint32_t, const char*, const char* title, uint32_t style, int x, int y,
                    int width, int height)
{
    if (Fails(GlStep::CreateWindow) || !g_classRegistered)
        return nullptr;
    if (width < 1 || height < 1 || width > kMaxWindowSize || height > kMaxWindowSize)
        return nullptr;
    Uint32 flags = SDL_WINDOW_HIDDEN;
    if (style & WS_POPUP)
        flags |= g_modePending ? SDL_WINDOW_FULLSCREEN : SDL_WINDOW_BORDERLESS;
    SDL_Window* sdl = SDL_CreateWindow(title ? title : "", x, y, width, height, flags);
    if (!sdl)
        return nullptr;
    if ((flags & SDL_WINDOW_FULLSCREEN) && SDL_SetWindowDisplayMode(sdl, &g_pendingMode) != 0)
    {
        SDL_DestroyWindow(sdl);
        return nullptr;
    }
    PlatformWindow* w = new PlatformWindow;
    w->sdl = sdl;
    w->title = title ? title : "";
    w->x = x, w->y = y, w->width = width, w->height = height;
    w->flags = flags;
    g_windows.push_back(w);
    return w;
}

bool DestroyWindow(HWND window)
{
    PlatformWindow* w = Lookup(window);
    if (Fails(GlStep::DestroyWindow) || !w)
        return false;
    Release(w);
    return true;
}

void ShowWindow(HWND window)
{
    if (PlatformWindow* w = Lookup(window))
        SDL_ShowWindow(w->sdl);
}

void SetForegroundWindow(HWND window)
{
    if (PlatformWindow* w = Lookup(window))
        SDL_RaiseWindow(w->sdl);
}

// Raising the window already asks for the keyboard focus.
void SetFocus(HWND) {}

HDC GetDC(HWND window)
{
    PlatformWindow* w = Lookup(window);
    if (Fails(GlStep::GetDC) || !w)
        return nullptr;
    w->hasDc = true;
    return w;
}

bool ReleaseDC(HWND window, HDC dc)
{
    PlatformWindow* w = Lookup(window);
    if (Fails(GlStep::ReleaseDC) || !w || dc != w || !w->hasDc)
        return false;
    w->hasDc = false;
    return true;
}

int ChoosePixelFormat(HDC dc, const PIXELFORMATDESCRIPTOR* pfd)
{
    if (Fails(GlStep::ChoosePixelFormat) || !Lookup(dc) || !pfd)
        return 0;
    const uint32_t needed = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL;
    if ((pfd->dwFlags & needed) != needed || pfd->iPixelType != PFD_TYPE_RGBA)
        return 0;
    if (pfd->cColorBits > 32 || pfd->cDepthBits > 32 || pfd->cStencilBits > 8)
        return 0;
    return 1;
}

// SDL fixes a window's GL surface when it creates the window, so the window
// is made again, now for GL with the format's bits.
bool SetPixelFormat(HDC dc, int format, const PIXELFORMATDESCRIPTOR* pfd)
{
    PlatformWindow* w = Lookup(dc);
    if (Fails(GlStep::SetPixelFormat) || !w || format != 1 || !pfd)
        return false;
    // Like a closest match: a depth buffer deeper than the driver has falls
    // back to the deepest it offers (24, then 16 bits).
    SDL_Window* sdl = nullptr;
    for (int depth = pfd->cDepthBits; !sdl; depth = depth > 24 ? 24 : depth > 16 ? 16 : -1)
    {
        if (depth < 0)
            return false;
        SDL_GL_ResetAttributes();
        SetColourBits(pfd->cColorBits);
        SDL_GL_SetAttribute(SDL_GL_ALPHA_SIZE, 0);
        SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, depth);
        SDL_GL_SetAttribute(SDL_GL_STENCIL_SIZE, pfd->cStencilBits);
        SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, (pfd->dwFlags & PFD_DOUBLEBUFFER) ? 1 : 0);
        sdl = SDL_CreateWindow(w->title.c_str(), w->x, w->y, w->width, w->height,
                               w->flags | SDL_WINDOW_OPENGL);
    }
    if ((w->flags & SDL_WINDOW_FULLSCREEN) && SDL_SetWindowDisplayMode(sdl, &g_pendingMode) != 0)
    {
        SDL_DestroyWindow(sdl);
        return false;
    }
    SDL_DestroyWindow(w->sdl);
    w->sdl = sdl;
    return true;
}

HGLRC wglCreateContext(HDC dc)
{
    PlatformWindow* w = Lookup(dc);
    if (Fails(GlStep::CreateContext) || !w)
        return nullptr;
    return SDL_GL_CreateContext(w->sdl);
}

bool wglMakeCurrent(HDC dc, HGLRC context)
{
    if (!dc && !context)
    {
        if (Fails(GlStep::ReleaseCurrent))
            return false;
        return SDL_GL_GetCurrentContext() == nullptr ||
               SDL_GL_MakeCurrent(SDL_GL_GetCurrentWindow(), nullptr) == 0;
    }
    PlatformWindow* w = Lookup(dc);
    if (Fails(GlStep::MakeCurrent) || !w || !context)
        return false;
    return SDL_GL_MakeCurrent(w->sdl, context) == 0;
}

bool wglDeleteContext(HGLRC context)
{
    if (Fails(GlStep::DeleteContext) || !context)
        return false;
    SDL_GL_DeleteContext(context);
    return true;
}

bool SwapBuffers(HDC dc)
{
    PlatformWindow* w = Lookup(dc);
    if (!w)
        return false;
    SDL_GL_SwapWindow(w->sdl);
    return true;
}

void SetGlStepFailure(GlStep step)
{
    g_failingStep = step;
}
