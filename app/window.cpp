#include "app/window.h"

#include <cstdio>
#include <cstring>

#include "app/input.h"
#include "app/report.h"
#include "platform/cursor.h"
#include "platform/gl_window.h"
#include "platform/messages.h"
#include "platform/system_time.h"

namespace
{

// Every text the window writes or shows.
const char* const kLogHead = "TESSIMO 2 engine log file\n";
const char* const kLogCreated = "log created the %d/%d/%d at %dh %dm %ds\n\n";
const char* const kLogTryingFullscreen =
    "- trying to create fullscreen application <%s> in %dx%d@%d with a %d bit(s) stencil buffer "
    "and a %d bits z-buffer\n";
const char* const kLogTryingWindowed =
    "- trying to create windowed application <%s> in %dx%d@%d with a %d bit(s) stencil buffer "
    "and a %d bits z-buffer\n";
const char* const kLogShowing = "- showing the window\n";
const char* const kLogSettingUp = "- setting up perspective and GL variables\n";
const char* const kLogRunning = "- that's running!\n";
const char* const kLogDrawn = "- tessimo has drawn %d frames in %d seconds, average FPS : %f\n";
const char* const kLogShuttingDown = "- shutting down at %dh %dm %ds\n";

const char* const kErrorCaption = "ERROR";
const char* const kShutdownCaption = "SHUTDOWN ERROR";
const char* const kFallbackQuestion =
    "The Requested Fullscreen Mode Is Not Supported By\nYour Video Card. Use Windowed Mode "
    "Instead?";
const char* const kFallbackCaption = "Ruvo GL";

// What the user is told when a step of opening or closing the window fails:
// a box and a log line (null: none). A failing step of Create runs Destroy
// first where `destroyFirst` says so; the releases of Destroy go on after
// their report. A display mode refused after the question above ends the
// program.
struct StepReport
{
    GlStep step;
    const char* box;
    const char* caption;
    unsigned style;
    const char* logLine;
    bool destroyFirst;
};
const StepReport kStepReports[] = {
    {GlStep::RegisterClass, "Failed To Register The Window Class.", kErrorCaption,
     MB_ICONEXCLAMATION, "failed to register the window class", false},
    {GlStep::ChangeDisplayMode, "Program Will Now Close.", kErrorCaption, MB_ICONSTOP, nullptr,
     false},
    {GlStep::CreateWindow, "Window Creation Error.", kErrorCaption, MB_ICONEXCLAMATION, nullptr,
     true},
    {GlStep::GetDC, "Can't Create A GL Device Context.", kErrorCaption, MB_ICONEXCLAMATION,
     "can' create a GL device context", true},
    {GlStep::ChoosePixelFormat, "Can't Find A Suitable PixelFormat.", kErrorCaption,
     MB_ICONEXCLAMATION, "can't find a suitable pixelformat", true},
    {GlStep::SetPixelFormat, "Can't Set The PixelFormat.", kErrorCaption, MB_ICONEXCLAMATION,
     "can't set the pixelformat", true},
    {GlStep::CreateContext, "Can't Create A GL Rendering Context.", kErrorCaption,
     MB_ICONEXCLAMATION, "can't create a GL rendering context", true},
    {GlStep::MakeCurrent, "Can't Activate The GL Rendering Context.", kErrorCaption,
     MB_ICONEXCLAMATION, "can't activate the GL rendering context", true},
    {GlStep::ReleaseCurrent, "Release Of DC And RC Failed.", kShutdownCaption, MB_ICONINFORMATION,
     "release of DC and RC failed", false},
    {GlStep::DeleteContext, "Release Rendering Context Failed.", kShutdownCaption,
     MB_ICONINFORMATION, "release of rendering context failed", false},
    {GlStep::ReleaseDC, "Release Device Context Failed.", kShutdownCaption, MB_ICONINFORMATION,
     "release device context failed", false},
    {GlStep::DestroyWindow, "Could Not Release hWnd.", kShutdownCaption, MB_ICONINFORMATION,
     "could not release HWND", false},
    {GlStep::UnregisterClass, "Could Not Unregister Class.", kShutdownCaption, MB_ICONINFORMATION,
     "could not unregister class", false},
};

const StepReport& ReportOf(GlStep step)
{
    for (const StepReport& report : kStepReports)
        if (report.step == step)
            return report;
    return kStepReports[0]; // every failing step has its row
}

// The text so far reaches the file before Destroy appends its closing
// lines; the failure line then goes after them.
bool Fail(Window* window, LogBlock& log, GlStep step)
{
    const StepReport& failure = ReportOf(step);
    log.Close();
    if (failure.destroyFirst)
        window->Destroy();
    ReportBox(Frame::None, failure.box, failure.caption, failure.style);
    if (failure.logLine)
        Report(ToLog, Frame::Problem, "%s", failure.logLine);
    return false;
}

// A release that failed in Destroy; the log line reaches the file at once.
void ReportRelease(GlStep step, void* log)
{
    const StepReport& failure = ReportOf(step);
    ReportBox(Frame::None, failure.box, failure.caption, failure.style);
    LogBlock* block = static_cast<LogBlock*>(log);
    block->Write(Frame::Problem, "%s", failure.logLine);
    block->Flush();
}

// The head of the log and the mode asked for, as given (the title before
// it is cut to the field's size).
void WriteHead(LogBlock& log, const char* title, int32_t width, int32_t height, int32_t bpp,
               int32_t stencilBits, int32_t depthBits, int32_t windowed)
{
    SYSTEMTIME now;
    GetSystemTime(&now);
    log.Write(Frame::None, "%s", kLogHead);
    log.Write(Frame::None, kLogCreated, now.wDay, now.wMonth, now.wYear, now.wHour, now.wMinute,
              now.wSecond);
    log.Write(Frame::None, windowed == 0 ? kLogTryingFullscreen : kLogTryingWindowed, title, width,
              height, bpp, stencilBits, depthBits);
}

// The two closing lines of a run.
void WriteClosingLines(LogBlock& log, const Window& window)
{
    SYSTEMTIME now;
    GetSystemTime(&now);
    int seconds = static_cast<int>(time(nullptr) - window.startTime);
    // Zero seconds give infinity: a float division, nothing traps.
    float fps = static_cast<float>(window.frameCount) / static_cast<float>(seconds);
    log.Write(Frame::None, kLogDrawn, window.frameCount, seconds, fps);
    log.Write(Frame::None, kLogShuttingDown, now.wHour, now.wMinute, now.wSecond);
}

// With the display gone nothing can be released: the log gets its closing
// lines and the process ends (display_lost.h).
void CloseLogOfLostDisplay()
{
    LogBlock log;
    if (g_window)
        WriteClosingLines(log, *g_window);
}

// Yes opens a window instead; `windowed` stays 0 all the same, so Destroy
// still leaves the display mode.
bool AskForWindowInstead()
{
    return ReportBox(Frame::None, kFallbackQuestion, kFallbackCaption,
                     MB_YESNO | MB_ICONEXCLAMATION) == IDYES;
}

// The window the fields ask for, fed by this file's procedure.
GlWindowConfig ConfigOf(const Window& window)
{
    GlWindowConfig config = {};
    config.title = window.title;
    config.width = window.width;
    config.height = window.height;
    config.colourBits = window.bpp;
    config.depthBits = window.depthBits;
    config.stencilBits = window.stencilBits;
    config.fullscreen = window.windowed == 0;
    config.windowProc = WindowProc;
    config.useWindowInstead = AskForWindowInstead;
    config.onDisplayLost = CloseLogOfLostDisplay;
    return config;
}

} // namespace

bool Window::Create(const char* title_, int32_t width_, int32_t height_, int32_t bpp_,
                    int32_t stencilBits_, int32_t depthBits_, int32_t windowed_)
{
    LogBlock log(LogBlock::Fresh);
    WriteHead(log, title_, width_, height_, bpp_, stencilBits_, depthBits_, windowed_);
    if (title != title_)
        snprintf(title, sizeof title, "%s", title_);
    width = width_;
    height = height_;
    bpp = bpp_;
    stencilBits = stencilBits_;
    depthBits = depthBits_;
    windowed = windowed_;
    active = 1;

    GlStep failed = OpenGlWindow(ConfigOf(*this));
    if (failed != GlStep::None)
        return Fail(this, log, failed);

    log.Write(Frame::None, "%s", kLogShowing);
    log.Flush();
    ShowGlWindow();
    log.Write(Frame::None, "%s", kLogSettingUp);
    log.Flush();
    ShowCursor(false);
    if (g_mouse)
        g_mouse->SetPosition(width >> 1, height >> 1);
    log.Write(Frame::None, "%s", kLogRunning);
    log.Close();
    startTime = time(nullptr);
    return true;
}

void Window::Destroy()
{
    LogBlock log;
    WriteClosingLines(log, *this);
    CloseGlWindow(windowed == 0, ReportRelease, &log);
}

void Window::Swap()
{
    ++frameCount;
    SwapGlWindow();
}

bool Window::Recreate(int32_t windowed_)
{
    Destroy();
    windowed = windowed_;
    char savedTitle[sizeof title];
    memcpy(savedTitle, title, sizeof title);
    return Create(savedTitle, width, height, bpp, stencilBits, depthBits, windowed);
}

void Window::ResetStartTime()
{
    startTime = time(nullptr);
}

intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    switch (message)
    {
    case WM_ACTIVATE:
    {
        uintptr_t state = wParam & 0xFFFF;
        if (g_window)
        {
            if (state == WA_INACTIVE)
                g_window->active = 0;
            else if (state == WA_ACTIVE || state == WA_CLICKACTIVE)
                g_window->active = 1;
            if ((wParam >> 16) & 0xFFFF)
                g_window->active = 0;
        }
        return 0;
    }
    case WM_SYSCOMMAND:
        if (wParam == SC_SCREENSAVE || wParam == SC_MONITORPOWER)
            return 0;
        return DefWindowProc(message, wParam, lParam);
    case WM_CLOSE:
        PostQuitMessage(0);
        return 0;
    case WM_KEYDOWN:
        if (g_input)
            g_input->keys[wParam & 0xFF] = 1;
        return 0;
    case WM_KEYUP:
        if (g_input)
            g_input->keys[wParam & 0xFF] = 0;
        return 0;
    case WM_SIZE:
    case WM_TIMER:
        return 0;
    default:
        return DefWindowProc(message, wParam, lParam);
    }
}
