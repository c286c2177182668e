// The program's one GL window: opened from a configuration, shown,
// presented and closed, over SDL's video part.
//
// OpenGlWindow takes the steps below in order and stops at the first that
// fails, naming it; what the steps before it set up stays set up until
// CloseGlWindow, which releases it in reverse order and names each release
// that fails. The caller decides what a failed step means to the user.
//
//   RegisterClass       initialises SDL video, watches the display connection
//                       (display_lost.h) and ties the window procedure to the
//                       event queue.
//   ChangeDisplayMode   (fullscreen only) looks for a display mode of the
//                       size asked for and hides the cursor. Where there is
//                       none, the configuration's question decides: yes
//                       goes on with an ordinary window, no fails the step.
//   CreateWindow        a hidden window of the given client size, fullscreen
//                       in that mode. Sizes from 1 to kMaxWindowSize are
//                       accepted; larger ones fail here, as no driver here
//                       draws to such a surface.
//   GetDC, ChoosePixelFormat, SetPixelFormat
//                       check the colour, depth and stencil bits asked for
//                       and give the window a double-buffered RGBA surface
//                       with them (a deeper depth buffer than the driver has
//                       falls back to the deepest it offers).
//   CreateContext, MakeCurrent
//                       a GL context for the window, current on this thread.
#pragma once

#include "platform/messages.h"

constexpr int kMaxWindowSize = 16384;

// The steps of opening and closing the window, in the order they are taken.
enum class GlStep
{
    None,
    RegisterClass,
    ChangeDisplayMode,
    CreateWindow,
    GetDC,
    ChoosePixelFormat,
    SetPixelFormat,
    CreateContext,
    MakeCurrent,
    // The releases of CloseGlWindow.
    ReleaseCurrent,
    DeleteContext,
    ReleaseDC,
    DestroyWindow,
    UnregisterClass,
};

struct GlWindowConfig
{
    const char* title;
    int width, height;
    int colourBits, depthBits, stencilBits;
    bool fullscreen;
    // Receives the queue's messages from now on (messages.h).
    WNDPROC windowProc;
    // Asked when the display has no mode of the size asked for: true opens
    // an ordinary window instead. Null: no.
    bool (*useWindowInstead)();
    // Runs when the display connection is lost (display_lost.h). Null: none.
    void (*onDisplayLost)();
};

// GlStep::None when the window is open with its context current, else the
// step that failed.
GlStep OpenGlWindow(const GlWindowConfig& config);
// Makes the window visible, raises it and gives it the keyboard focus.
void ShowGlWindow();
// Presents the back buffer; nothing without a GL surface.
void SwapGlWindow();

// Reports one release that failed; the others are taken all the same.
using GlReleaseReport = void (*)(GlStep failed, void* user);
// Leaves the display mode when asked (and shows the cursor again), then
// releases whatever the last OpenGlWindow set up. Each piece is forgotten
// whether its release worked or not, so a second call releases nothing.
// After a failed RegisterClass there is still a class to unregister, and
// that release fails. Safe in any state.
void CloseGlWindow(bool leaveDisplayMode, GlReleaseReport report, void* user);

// Test hook: the named step fails from now on (with no side effect) until
// it is set back to GlStep::None.
void SetGlStepFailure(GlStep step);
