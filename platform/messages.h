// The event queue the engine is written against: Win32-style messages fed
// from SDL's event pump.
//
// PeekMessage pumps SDL (when its video part is up) and the close signals
// into one FIFO and hands back one message at a time without blocking.
// DispatchMessage routes a message to the procedure set with SetWindowProc.
// Tests inject messages with PostMessage.
#pragma once

#include <cstdint>

constexpr uint32_t WM_SIZE = 0x0005;
constexpr uint32_t WM_ACTIVATE = 0x0006;
constexpr uint32_t WM_CLOSE = 0x0010;
constexpr uint32_t WM_QUIT = 0x0012;
constexpr uint32_t WM_KEYDOWN = 0x0100;
constexpr uint32_t WM_KEYUP = 0x0101;
constexpr uint32_t WM_SYSCOMMAND = 0x0112;
constexpr uint32_t WM_TIMER = 0x0113;

// Low word of WM_ACTIVATE's wParam; the high word is nonzero when minimised.
constexpr uintptr_t WA_INACTIVE = 0;
constexpr uintptr_t WA_ACTIVE = 1;
constexpr uintptr_t WA_CLICKACTIVE = 2;

// WM_SYSCOMMAND codes that a fullscreen program swallows.
constexpr uintptr_t SC_SCREENSAVE = 0xF140;
constexpr uintptr_t SC_MONITORPOWER = 0xF170;

struct MSG
{
    uint32_t message;
    uintptr_t wParam;
    intptr_t lParam;
};

using WNDPROC = intptr_t (*)(uint32_t message, uintptr_t wParam, intptr_t lParam);

// Non-blocking: true with the oldest queued message removed into `msg`,
// false when the queue is empty after pumping.
bool PeekMessage(MSG* msg);
// Key messages need no translation here (the engine reads VK_ codes only).
void TranslateMessage(const MSG* msg);
// Calls the window procedure; DefWindowProc when none is set.
intptr_t DispatchMessage(const MSG* msg);
void SetWindowProc(WNDPROC proc);
intptr_t DefWindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam);
// Queues WM_QUIT with wParam = status.
void PostQuitMessage(int status);
void PostMessage(uint32_t message, uintptr_t wParam, intptr_t lParam);

// SIGINT and SIGTERM set a flag that the next PeekMessage turns into one
// WM_CLOSE, so that a terminated program takes the orderly way out.
// Installed by the first PeekMessage and by OpenGlWindow; idempotent.
void InstallCloseSignals();
// True while a close signal waits for the next PeekMessage (a message box
// ends on it, and leaves it for the loop).
bool CloseSignalPending();
// Drops every queued message and a pending close signal (tests).
void ClearMessageQueue();
