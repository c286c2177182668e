// The window, display mode and GL context steps that Window::Create and
// Window::Destroy take, each one call with the Win32/WGL result convention
// (null or false on failure), over SDL's video part.
//
// The steps map onto SDL as follows:
//   RegisterClass       initialises SDL video, watches the display connection
//                       (display_lost.h) and ties the class name to the
//                       window procedure; UnregisterClass shuts video down.
//   ChangeDisplaySettings  looks for a display mode of the size asked for
//                       and keeps it for the next popup window (CDS_FULLSCREEN);
//                       with null it leaves fullscreen again.
//   CreateWindowEx      a hidden SDL window of the given client size
//                       (AdjustWindowRectEx has nothing to add: SDL sizes
//                       are client sizes). WS_POPUP with a pending display
//                       mode makes it fullscreen in that mode.
//   GetDC, ChoosePixelFormat, SetPixelFormat
//                       check the pixel format asked for and give the window
//                       a GL surface with those colour, depth and stencil
//                       bits, double-buffered.
//   wglCreateContext, wglMakeCurrent, wglDeleteContext, SwapBuffers
//                       SDL's GL context calls.
// Sizes from 1 to kMaxWindowSize are accepted; larger ones fail at
// CreateWindowEx, as no driver here draws to such a surface.
#pragma once

#include <cstdint>

#include "platform/messages.h"

using HINSTANCE = void*;
using HWND = void*;
using HDC = void*;
using HGLRC = void*;

constexpr int kMaxWindowSize = 16384;

constexpr uint32_t CS_HREDRAW = 0x0002;
constexpr uint32_t CS_VREDRAW = 0x0001;
constexpr uint32_t CS_OWNDC = 0x0020;
constexpr uint32_t WS_EX_APPWINDOW = 0x40000;
constexpr uint32_t WS_EX_WINDOWEDGE = 0x100;
constexpr uint32_t WS_POPUP = 0x80000000;
constexpr uint32_t WS_OVERLAPPEDWINDOW = 0xCF0000;
constexpr uint32_t WS_CLIPSIBLINGS = 0x4000000;
constexpr uint32_t WS_CLIPCHILDREN = 0x2000000;
constexpr uint32_t CDS_FULLSCREEN = 4;
constexpr int DISP_CHANGE_SUCCESSFUL = 0;
constexpr int DISP_CHANGE_FAILED = -1;
constexpr uint32_t PFD_DRAW_TO_WINDOW = 0x04;
constexpr uint32_t PFD_SUPPORT_OPENGL = 0x20;
constexpr uint32_t PFD_DOUBLEBUFFER = 0x01;
constexpr uint8_t PFD_TYPE_RGBA = 0;
constexpr uint8_t PFD_MAIN_PLANE = 0;
constexpr uint32_t DM_BITSPERPEL = 0x40000;
constexpr uint32_t DM_PELSWIDTH = 0x80000;
constexpr uint32_t DM_PELSHEIGHT = 0x100000;

struct WNDCLASS
{
    uint32_t style;
    WNDPROC lpfnWndProc;
    int cbClsExtra, cbWndExtra;
    HINSTANCE hInstance;
    const char* lpszClassName;
};

struct DEVMODE
{
    uint16_t dmSize;
    uint32_t dmFields;
    uint32_t dmBitsPerPel, dmPelsWidth, dmPelsHeight;
};

struct PIXELFORMATDESCRIPTOR
{
    uint16_t nSize, nVersion;
    uint32_t dwFlags;
    uint8_t iPixelType, cColorBits, cDepthBits, cStencilBits, iLayerType;
};

struct RECT
{
    int32_t left, top, right, bottom;
};

HINSTANCE GetModuleHandle(const char* name);
bool RegisterClass(const WNDCLASS* windowClass);
bool UnregisterClass(const char* className, HINSTANCE instance);
int ChangeDisplaySettings(const DEVMODE* mode, uint32_t flags);
bool AdjustWindowRectEx(RECT* rect, uint32_t style, bool menu, uint32_t exStyle);
HWND CreateWindowEx(uint32_t exStyle, const char* className, const char* title, uint32_t style,
                    int x, int y, int width, int height);
bool DestroyWindow(HWND window);
void ShowWindow(HWND window);
void SetForegroundWindow(HWND window);
void SetFocus(HWND window);
HDC GetDC(HWND window);
bool ReleaseDC(HWND window, HDC dc);
int ChoosePixelFormat(HDC dc, const PIXELFORMATDESCRIPTOR* pfd);
bool SetPixelFormat(HDC dc, int format, const PIXELFORMATDESCRIPTOR* pfd);
HGLRC wglCreateContext(HDC dc);
// wglMakeCurrent(nullptr, nullptr) releases the current context.
bool wglMakeCurrent(HDC dc, HGLRC context);
bool wglDeleteContext(HGLRC context);
bool SwapBuffers(HDC dc);

// Test hook: the named step fails from now on (with no side effect) until
// it is set back to GlStep::None.
enum class GlStep
{
    None,
    RegisterClass,
    ChangeDisplaySettings,
    CreateWindow,
    GetDC,
    ChoosePixelFormat,
    SetPixelFormat,
    CreateContext,
    MakeCurrent,
    ReleaseCurrent,
    DeleteContext,
    ReleaseDC,
    DestroyWindow,
    UnregisterClass,
};
void SetGlStepFailure(GlStep step);
