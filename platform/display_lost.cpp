#include "platform/display_lost.h"

#include <X11/Xlib.h>
#include <unistd.h>

namespace
{

DisplayLostHandler g_handler = nullptr;
pid_t g_handlerOwner = 0;

int OnConnectionLost(Display*)
{
    if (g_handler && getpid() == g_handlerOwner)
        g_handler();
    _exit(kDisplayLostStatus);
}

} // namespace

void WatchDisplayConnection(DisplayLostHandler handler)
{
    g_handler = handler;
    g_handlerOwner = getpid();
    XSetIOErrorHandler(OnConnectionLost);
}
