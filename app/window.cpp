#include "app/window.h"

#include <cstdio>
#include <cstring>

#include "app/input.h"
#include "app/report.h"
#include "platform/cursor.h"
#include "platform/display_lost.h"
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

const char* const kClassName = "OpenGL";
const char* const kErrorCaption = "ERROR";
const char* const kShutdownCaption = "SHUTDOWN ERROR";
const char* const kFallbackQuestion =
    "The Requested Fullscreen Mode Is Not Supported By\nYour Video Card. Use Windowed Mode "
    "Instead?";
const char* const kFallbackCaption = "Ruvo GL";
const char* const kWillClose = "Program Will Now Close.";

// A failing step of Create: its box, its log problem (null: none) and
// whether Destroy runs first.
struct CreateFailure
{
    const char* box;
    const char* logLine;
    bool destroyFirst;
};
const CreateFailure kRegisterFailed = {"Failed To Register The Window Class.",
                                       "failed to register the window class", false};
const CreateFailure kWindowFailed = {"Window Creation Error.", nullptr, true};
const CreateFailure kDcFailed = {"Can't Create A GL Device Context.",
                                 "can' create a GL device context", true};
const CreateFailure kChooseFailed = {"Can't Find A Suitable PixelFormat.",
                                     "can't find a suitable pixelformat", true};
const CreateFailure kSetFailed = {"Can't Set The PixelFormat.", "can't set the pixelformat", true};
const CreateFailure kContextFailed = {"Can't Create A GL Rendering Context.",
                                      "can't create a GL rendering context", true};
const CreateFailure kCurrentFailed = {"Can't Activate The GL Rendering Context.",
                                      "can't activate the GL rendering context", true};

// A failing release in Destroy: its box and log problem.
struct ReleaseFailure
{
    const char* box;
    const char* logLine;
};
const ReleaseFailure kReleaseCurrentFailed = {"Release Of DC And RC Failed.",
                                              "release of DC and RC failed"};
const ReleaseFailure kDeleteContextFailed = {"Release Rendering Context Failed.",
                                             "release of rendering context failed"};
const ReleaseFailure kReleaseDcFailed = {"Release Device Context Failed.",
                                         "release device context failed"};
const ReleaseFailure kDestroyWindowFailed = {"Could Not Release hWnd.", "could not release HWND"};
const ReleaseFailure kUnregisterFailed = {"Could Not Unregister Class.",
                                          "could not unregister class"};

// The platform handles, beside the one Window object.
HINSTANCE g_instance = nullptr;
HWND g_hwnd = nullptr;
HDC g_hdc = nullptr;
HGLRC g_hrc = nullptr;

// The text so far reaches the file before Destroy appends its closing
// lines; the failure line then goes after them.
bool Fail(Window* window, LogBlock& log, const CreateFailure& failure)
{
    log.Close();
    if (failure.destroyFirst)
        window->Destroy();
    ReportBox(Frame::None, failure.box, kErrorCaption, MB_ICONEXCLAMATION);
    if (failure.logLine)
        Report(ToLog, Frame::Problem, "%s", failure.logLine);
    return false;
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

void ReportRelease(LogBlock& log, const ReleaseFailure& failure)
{
    ReportBox(Frame::None, failure.box, kShutdownCaption, MB_ICONINFORMATION);
    log.Write(Frame::Problem, "%s", failure.logLine);
    log.Flush();
}

} // namespace

bool Window::Create(const char* title_, int32_t width_, int32_t height_, int32_t bpp_,
                    int32_t stencilBits_, int32_t depthBits_, int32_t windowed_)
{
    LogBlock log(LogBlock::Fresh);
    SYSTEMTIME now;
    GetSystemTime(&now);
    log.Write(Frame::None, "%s", kLogHead);
    log.Write(Frame::None, kLogCreated, now.wDay, now.wMonth, now.wYear, now.wHour, now.wMinute,
              now.wSecond);
    log.Write(Frame::None, windowed_ == 0 ? kLogTryingFullscreen : kLogTryingWindowed, title_,
              width_, height_, bpp_, stencilBits_, depthBits_);

    if (title != title_)
        snprintf(title, sizeof title, "%s", title_);
    width = width_;
    height = height_;
    bpp = bpp_;
    stencilBits = stencilBits_;
    depthBits = depthBits_;
    windowed = windowed_;
    active = 1;

    SetDisplayLostHandler(CloseLogOfLostDisplay);
    g_instance = GetModuleHandle(nullptr);
    WNDCLASS windowClass = {};
    windowClass.style = CS_HREDRAW | CS_VREDRAW | CS_OWNDC;
    windowClass.lpfnWndProc = WindowProc;
    windowClass.hInstance = g_instance;
    windowClass.lpszClassName = kClassName;
    // The instance handle stays set on failure: a later Destroy then tries
    // to unregister the class and reports that it could not.
    if (!RegisterClass(&windowClass))
        return Fail(this, log, kRegisterFailed);

    uint32_t exStyle = WS_EX_APPWINDOW | WS_EX_WINDOWEDGE;
    uint32_t style = WS_OVERLAPPEDWINDOW;
    if (windowed == 0)
    {
        DEVMODE mode = {};
        mode.dmSize = 148;
        mode.dmPelsWidth = static_cast<uint32_t>(width);
        mode.dmPelsHeight = static_cast<uint32_t>(height);
        mode.dmBitsPerPel = static_cast<uint32_t>(bpp);
        mode.dmFields = DM_BITSPERPEL | DM_PELSWIDTH | DM_PELSHEIGHT;
        if (ChangeDisplaySettings(&mode, CDS_FULLSCREEN) == DISP_CHANGE_SUCCESSFUL)
        {
            exStyle = WS_EX_APPWINDOW;
            style = WS_POPUP;
            ShowCursor(false);
        }
        else if (ReportBox(Frame::None, kFallbackQuestion, kFallbackCaption,
                           MB_YESNO | MB_ICONEXCLAMATION) != IDYES)
        {
            // `windowed` stays 0 after Yes, so Destroy resets the mode anyway.
            ReportBox(Frame::None, kWillClose, kErrorCaption, MB_ICONSTOP);
            return false;
        }
    }

    RECT rect = {0, 0, width, height};
    AdjustWindowRectEx(&rect, style, false, exStyle);
    g_hwnd = CreateWindowEx(exStyle, kClassName, title, style | WS_CLIPSIBLINGS | WS_CLIPCHILDREN,
                            0, 0, rect.right - rect.left, rect.bottom - rect.top);
    if (!g_hwnd)
        return Fail(this, log, kWindowFailed);

    static const PIXELFORMATDESCRIPTOR kFormatTemplate = {40,
                                                          1,
                                                          PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL |
                                                              PFD_DOUBLEBUFFER,
                                                          PFD_TYPE_RGBA,
                                                          0,
                                                          0,
                                                          0,
                                                          PFD_MAIN_PLANE};
    PIXELFORMATDESCRIPTOR pfd = kFormatTemplate;
    pfd.cColorBits = static_cast<uint8_t>(bpp);
    pfd.cDepthBits = static_cast<uint8_t>(depthBits);
    pfd.cStencilBits = static_cast<uint8_t>(stencilBits);
    // Sizes that do not fit a byte cannot be asked for.
    if (bpp < 0 || bpp > 255 || depthBits < 0 || depthBits > 255 || stencilBits < 0 ||
        stencilBits > 255)
        pfd.dwFlags = 0;

    if (!(g_hdc = GetDC(g_hwnd)))
        return Fail(this, log, kDcFailed);
    int format = ChoosePixelFormat(g_hdc, &pfd);
    if (format == 0)
        return Fail(this, log, kChooseFailed);
    if (!SetPixelFormat(g_hdc, format, &pfd))
        return Fail(this, log, kSetFailed);
    if (!(g_hrc = wglCreateContext(g_hdc)))
        return Fail(this, log, kContextFailed);
    if (!wglMakeCurrent(g_hdc, g_hrc))
        return Fail(this, log, kCurrentFailed);

    log.Write(Frame::None, "%s", kLogShowing);
    log.Flush();
    ShowWindow(g_hwnd);
    SetForegroundWindow(g_hwnd);
    SetFocus(g_hwnd);

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

    if (windowed == 0)
    {
        ChangeDisplaySettings(nullptr, 0);
        ShowCursor(true);
    }
    // Each handle is forgotten whether its release worked or not.
    if (g_hrc)
    {
        if (!wglMakeCurrent(nullptr, nullptr))
            ReportRelease(log, kReleaseCurrentFailed);
        if (!wglDeleteContext(g_hrc))
            ReportRelease(log, kDeleteContextFailed);
        g_hrc = nullptr;
    }
    if (g_hdc)
    {
        if (!ReleaseDC(g_hwnd, g_hdc))
            ReportRelease(log, kReleaseDcFailed);
        g_hdc = nullptr;
    }
    if (g_hwnd)
    {
        if (!DestroyWindow(g_hwnd))
            ReportRelease(log, kDestroyWindowFailed);
        g_hwnd = nullptr;
    }
    if (g_instance)
    {
        if (!UnregisterClass(kClassName, g_instance))
            ReportRelease(log, kUnregisterFailed);
        g_instance = nullptr;
    }
}

void Window::Swap()
{
    ++frameCount;
    SwapBuffers(g_hdc);
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
