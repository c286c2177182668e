#include "platform/messages.h"

#include <SDL.h>
#include <csignal>
#include <deque>

#include "platform/keys.h"

namespace
{

std::deque<MSG> g_queue;
WNDPROC g_windowProc = nullptr;
volatile sig_atomic_t g_closeSignal = 0;
bool g_signalsInstalled = false;

extern "C" void OnCloseSignal(int)
{
    g_closeSignal = 1;
}

void Post(uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    g_queue.push_back(MSG{message, wParam, lParam});
}

// lParam of a key message: repeat count 1 and the scancode in bits 16-23,
// as the engine's readers expect nothing more.
void PostKey(const SDL_KeyboardEvent& key)
{
    uint32_t message = key.type == SDL_KEYDOWN ? WM_KEYDOWN : WM_KEYUP;
    intptr_t lParam = 1 | (static_cast<intptr_t>(key.keysym.scancode & 0xFF) << 16);
    // AltGr arrives as Ctrl and Alt together, as the console's character
    // table expects of it.
    if (key.keysym.scancode == SDL_SCANCODE_RALT)
    {
        Post(message, VK_CONTROL, lParam);
        Post(message, VK_MENU, lParam);
        return;
    }
    uint32_t vk = VirtualKeyFromSdl(key.keysym.scancode, key.keysym.sym);
    if (vk != 0)
        Post(message, vk, lParam);
}

void PostWindowEvent(const SDL_WindowEvent& e)
{
    switch (e.event)
    {
    case SDL_WINDOWEVENT_FOCUS_GAINED:
    case SDL_WINDOWEVENT_RESTORED:
        Post(WM_ACTIVATE, WA_ACTIVE, 0);
        break;
    case SDL_WINDOWEVENT_FOCUS_LOST:
        Post(WM_ACTIVATE, WA_INACTIVE, 0);
        break;
    case SDL_WINDOWEVENT_MINIMIZED:
        Post(WM_ACTIVATE, WA_INACTIVE | (uintptr_t{1} << 16), 0);
        break;
    case SDL_WINDOWEVENT_SIZE_CHANGED:
        Post(WM_SIZE, 0, (e.data1 & 0xFFFF) | ((e.data2 & 0xFFFF) << 16));
        break;
    case SDL_WINDOWEVENT_CLOSE:
        Post(WM_CLOSE, 0, 0);
        break;
    default:
        break;
    }
}

// Moves what SDL and the signal handlers have seen into the queue.
void Pump()
{
    if (g_closeSignal)
    {
        g_closeSignal = 0;
        Post(WM_CLOSE, 0, 0);
    }
    if (SDL_WasInit(SDL_INIT_VIDEO) == 0)
        return;
    SDL_Event e;
    while (SDL_PollEvent(&e))
    {
        if (e.type == SDL_KEYDOWN || e.type == SDL_KEYUP)
            PostKey(e.key);
        else if (e.type == SDL_WINDOWEVENT)
            PostWindowEvent(e.window);
        // SDL_QUIT follows the close of the last window, which has already
        // posted WM_CLOSE; the signals are ours. So it is dropped.
    }
}

} // namespace

void InstallCloseSignals()
{
    if (g_signalsInstalled)
        return;
    g_signalsInstalled = true;
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    struct sigaction sa = {};
    sa.sa_handler = OnCloseSignal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
}

bool CloseSignalPending()
{
    return g_closeSignal != 0;
}

bool PeekMessage(MSG* msg)
{
    InstallCloseSignals();
    Pump();
    if (g_queue.empty())
        return false;
    *msg = g_queue.front();
    g_queue.pop_front();
    return true;
}

void TranslateMessage(const MSG*) {}

intptr_t DispatchMessage(const MSG* msg)
{
    if (g_windowProc)
        return g_windowProc(msg->message, msg->wParam, msg->lParam);
    return DefWindowProc(msg->message, msg->wParam, msg->lParam);
}

void SetWindowProc(WNDPROC proc)
{
    g_windowProc = proc;
}

intptr_t DefWindowProc(uint32_t, uintptr_t, intptr_t)
{
    return 0;
}

void PostQuitMessage(int status)
{
    Post(WM_QUIT, static_cast<uintptr_t>(status), 0);
}

void PostMessage(uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    Post(message, wParam, lParam);
}

void ClearMessageQueue()
{
    g_queue.clear();
    g_closeSignal = 0;
}
