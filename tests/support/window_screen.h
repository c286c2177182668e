// The program's window found by title anew each time (a mode switch makes a
// new one), read back from the screen and typed into with xdotool.
#pragma once

#include "tests/support/picture.h"
#include "tests/support/program_window.h"

namespace testsupport
{

// The window with this title as the screen shows it; empty when none.
inline Picture GrabWindow(const char* title)
{
    Picture picture;
    Display* dpy = XOpenDisplay(nullptr);
    if (!dpy)
        return picture;
    ::Window root = DefaultRootWindow(dpy), child, win = FindWindowByTitle(dpy, root, title);
    XWindowAttributes a{};
    int x = 0, y = 0;
    XImage* image = nullptr;
    if (win && XGetWindowAttributes(dpy, win, &a) &&
        XTranslateCoordinates(dpy, win, root, 0, 0, &x, &y, &child) &&
        (image = XGetImage(dpy, root, x, y, static_cast<unsigned>(a.width),
                           static_cast<unsigned>(a.height), AllPlanes, ZPixmap)))
    {
        picture = {a.width, a.height, {}};
        for (int py = 0; py < a.height; ++py)
            for (int px = 0; px < a.width; ++px)
                for (int shift : {16, 8, 0})
                    picture.rgb.push_back(static_cast<uint8_t>(XGetPixel(image, px, py) >> shift));
        XDestroyImage(image);
    }
    XCloseDisplay(dpy);
    return picture;
}

// Focuses the window as a person would, then runs the xdotool commands
// `keys` ("keydown KP_Add sleep 2 keyup KP_Add"); xdotool's exit status.
inline int SendKeys(const char* title, const std::string& keys)
{
    std::string focus = "xdotool search --sync --name '^" + std::string(title) +
                        "$' windowfocus --sync >/dev/null 2>&1";
    int status = system(focus.c_str());
    return status ? status : system(("xdotool " + keys + " >/dev/null 2>&1").c_str());
}

} // namespace testsupport
