#include "platform/gl_window.h"

#include <SDL.h>
#include <string>

#include "platform/cursor.h"
#include "platform/display_lost.h"

namespace
{

// What the last OpenGlWindow set up. The first four are the pieces
// CloseGlWindow releases; each is set when its step has been taken and
// cleared when its release has been tried.
struct GlWindow
{
    bool classTaken = false;
    bool window = false;
    bool dc = false;
    SDL_GLContext context = nullptr;

    bool videoUp = false;
    bool fullscreen = false;
    SDL_DisplayMode mode = {};
    SDL_Window* sdl = nullptr;
    // SetPixelFormat makes the window again with these.
    std::string title;
    int width = 0, height = 0;
    Uint32 flags = 0;
};

GlStep g_failingStep = GlStep::None;
GlWindow g_gl;

bool Fails(GlStep step)
{
    return g_failingStep == step;
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

// A window of the stored title and size with `flags`, in the display mode
// found when fullscreen; null on failure.
SDL_Window* MakeWindow(Uint32 flags)
{
    SDL_Window* sdl = SDL_CreateWindow(g_gl.title.c_str(), 0, 0, g_gl.width, g_gl.height, flags);
    if (sdl && (flags & SDL_WINDOW_FULLSCREEN) && SDL_SetWindowDisplayMode(sdl, &g_gl.mode) != 0)
    {
        SDL_DestroyWindow(sdl);
        return nullptr;
    }
    return sdl;
}

// The opening steps, in order; each is false when it fails.

bool RegisterClass(const GlWindowConfig& config)
{
    g_gl.classTaken = true;
    if (Fails(GlStep::RegisterClass))
        return false;
    // Our own close signals, before SDL would install its handlers.
    InstallCloseSignals();
    if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0)
        return false;
    WatchDisplayConnection(config.onDisplayLost);
    SetWindowProc(config.windowProc);
    g_gl.videoUp = true;
    return true;
}

// Without the mode, the configuration's question decides.
bool ChangeDisplayMode(const GlWindowConfig& config)
{
    g_gl.fullscreen = false;
    if (!config.fullscreen)
        return true;
    if (!Fails(GlStep::ChangeDisplayMode) && g_gl.videoUp &&
        FindDisplayMode(config.width, config.height, config.colourBits, &g_gl.mode))
    {
        g_gl.fullscreen = true;
        ShowCursor(false);
        return true;
    }
    return config.useWindowInstead && config.useWindowInstead();
}

// SDL sizes are client sizes, so the window takes the asked-for size as it
// is.
bool CreateWindow(const GlWindowConfig& config)
{
    if (Fails(GlStep::CreateWindow) || !g_gl.videoUp)
        return false;
    if (config.width < 1 || config.height < 1 || config.width > kMaxWindowSize ||
        config.height > kMaxWindowSize)
        return false;
    g_gl.title = config.title ? config.title : "";
    g_gl.width = config.width;
    g_gl.height = config.height;
    g_gl.flags = SDL_WINDOW_HIDDEN | (g_gl.fullscreen ? SDL_WINDOW_FULLSCREEN : 0);
    if (!(g_gl.sdl = MakeWindow(g_gl.flags)))
        return false;
    g_gl.window = true;
    return true;
}

bool GetDC(const GlWindowConfig&)
{
    if (Fails(GlStep::GetDC) || !g_gl.sdl)
        return false;
    g_gl.dc = true;
    return true;
}

bool ChoosePixelFormat(const GlWindowConfig& config)
{
    if (Fails(GlStep::ChoosePixelFormat))
        return false;
    return config.colourBits >= 0 && config.colourBits <= 32 && config.depthBits >= 0 &&
           config.depthBits <= 32 && config.stencilBits >= 0 && config.stencilBits <= 8;
}

// SDL fixes a window's GL surface when it creates the window, so the window
// is made again, now for GL with the format's bits. Like a closest match, a
// depth buffer deeper than the driver has falls back to the deepest it
// offers (24, then 16 bits).
bool SetPixelFormat(const GlWindowConfig& config)
{
    if (Fails(GlStep::SetPixelFormat) || !g_gl.sdl)
        return false;
    SDL_Window* sdl = nullptr;
    for (int depth = config.depthBits; !sdl; depth = depth > 24 ? 24 : depth > 16 ? 16 : -1)
    {
        if (depth < 0)
            return false;
        SDL_GL_ResetAttributes();
        SetColourBits(config.colourBits);
        SDL_GL_SetAttribute(SDL_GL_ALPHA_SIZE, 0);
        SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, depth);
        SDL_GL_SetAttribute(SDL_GL_STENCIL_SIZE, config.stencilBits);
        SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);
        sdl = SDL_CreateWindow(g_gl.title.c_str(), 0, 0, g_gl.width, g_gl.height,
                               g_gl.flags | SDL_WINDOW_OPENGL);
    }
    if ((g_gl.flags & SDL_WINDOW_FULLSCREEN) && SDL_SetWindowDisplayMode(sdl, &g_gl.mode) != 0)
    {
        SDL_DestroyWindow(sdl);
        return false;
    }
    SDL_DestroyWindow(g_gl.sdl);
    g_gl.sdl = sdl;
    return true;
}

bool CreateContext(const GlWindowConfig&)
{
    if (Fails(GlStep::CreateContext) || !g_gl.sdl)
        return false;
    return (g_gl.context = SDL_GL_CreateContext(g_gl.sdl)) != nullptr;
}

bool MakeCurrent(const GlWindowConfig&)
{
    if (Fails(GlStep::MakeCurrent) || !g_gl.sdl || !g_gl.context)
        return false;
    return SDL_GL_MakeCurrent(g_gl.sdl, g_gl.context) == 0;
}

// The releases, each true when it worked.

bool ReleaseCurrent()
{
    if (Fails(GlStep::ReleaseCurrent))
        return false;
    return SDL_GL_GetCurrentContext() == nullptr ||
           SDL_GL_MakeCurrent(SDL_GL_GetCurrentWindow(), nullptr) == 0;
}

bool DeleteContext()
{
    if (Fails(GlStep::DeleteContext))
        return false;
    SDL_GL_DeleteContext(g_gl.context);
    return true;
}

bool ReleaseDC()
{
    return !Fails(GlStep::ReleaseDC) && g_gl.sdl;
}

// A window that could not be destroyed goes with the class.
bool DestroyWindow()
{
    if (Fails(GlStep::DestroyWindow) || !g_gl.sdl)
        return false;
    SDL_DestroyWindow(g_gl.sdl);
    g_gl.sdl = nullptr;
    return true;
}

bool UnregisterClass()
{
    if (Fails(GlStep::UnregisterClass) || !g_gl.videoUp)
        return false;
    if (g_gl.sdl)
        SDL_DestroyWindow(g_gl.sdl);
    g_gl.sdl = nullptr;
    g_gl.videoUp = false;
    g_gl.fullscreen = false;
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    return true;
}

// Back to the desktop's mode: a fullscreen window leaves its mode.
void LeaveDisplayMode()
{
    g_gl.fullscreen = false;
    if (g_gl.sdl && (SDL_GetWindowFlags(g_gl.sdl) & SDL_WINDOW_FULLSCREEN))
        SDL_SetWindowFullscreen(g_gl.sdl, 0);
}

} // namespace

GlStep OpenGlWindow(const GlWindowConfig& config)
{
    static const struct
    {
        GlStep step;
        bool (*take)(const GlWindowConfig&);
    } kSteps[] = {
        {GlStep::RegisterClass, RegisterClass},
        {GlStep::ChangeDisplayMode, ChangeDisplayMode},
        {GlStep::CreateWindow, CreateWindow},
        {GlStep::GetDC, GetDC},
        {GlStep::ChoosePixelFormat, ChoosePixelFormat},
        {GlStep::SetPixelFormat, SetPixelFormat},
        {GlStep::CreateContext, CreateContext},
        {GlStep::MakeCurrent, MakeCurrent},
    };
    for (const auto& s : kSteps)
        if (!s.take(config))
            return s.step;
    return GlStep::None;
}

void ShowGlWindow()
{
    if (!g_gl.sdl)
        return;
    // Raising the window also asks for the keyboard focus.
    SDL_ShowWindow(g_gl.sdl);
    SDL_RaiseWindow(g_gl.sdl);
}

void SwapGlWindow()
{
    if (g_gl.dc && g_gl.sdl)
        SDL_GL_SwapWindow(g_gl.sdl);
}

void CloseGlWindow(bool leaveDisplayMode, GlReleaseReport report, void* user)
{
    auto release = [&](bool (*take)(), GlStep step)
    {
        if (!take() && report)
            report(step, user);
    };
    if (leaveDisplayMode)
    {
        LeaveDisplayMode();
        ShowCursor(true);
    }
    if (g_gl.context)
    {
        release(ReleaseCurrent, GlStep::ReleaseCurrent);
        release(DeleteContext, GlStep::DeleteContext);
        g_gl.context = nullptr;
    }
    if (g_gl.dc)
    {
        release(ReleaseDC, GlStep::ReleaseDC);
        g_gl.dc = false;
    }
    if (g_gl.window)
    {
        release(DestroyWindow, GlStep::DestroyWindow);
        g_gl.window = false;
    }
    if (g_gl.classTaken)
    {
        release(UnregisterClass, GlStep::UnregisterClass);
        g_gl.classTaken = false;
    }
}

void SetGlStepFailure(GlStep step)
{
    g_failingStep = step;
}
