// The real program's window on the X display a window suite runs under:
// found by its title (anew each time: a display mode switch makes a new
// one), read back from the screen, and typed into through the X test
// extension with xdotool.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdlib>
#include <string>

#include "tests/support/picture.h"
#include "tests/support/program_window.h"

namespace testsupport
{

// The window with this title (0: none) and, when asked, its picture as the
// screen shows it.
inline ::Window FindProgramWindow(const char* title, Picture* picture = nullptr)
{
    Display* dpy = XOpenDisplay(nullptr);
    if (!dpy)
        return 0;
    ::Window root = DefaultRootWindow(dpy), child;
    ::Window win = FindWindowByTitle(dpy, root, title);
    XWindowAttributes a{};
    int x = 0, y = 0;
    XImage* image = nullptr;
    if (picture && win && XGetWindowAttributes(dpy, win, &a) &&
        XTranslateCoordinates(dpy, win, root, 0, 0, &x, &y, &child) &&
        (image = XGetImage(dpy, root, x, y, static_cast<unsigned>(a.width),
                           static_cast<unsigned>(a.height), AllPlanes, ZPixmap)))
    {
        picture->width = a.width;
        picture->height = a.height;
        picture->rgb.clear();
        for (int py = 0; py < a.height; ++py)
            for (int px = 0; px < a.width; ++px)
            {
                unsigned long p = XGetPixel(image, px, py);
                picture->rgb.insert(picture->rgb.end(),
                                    {static_cast<uint8_t>(p >> 16), static_cast<uint8_t>(p >> 8),
                                     static_cast<uint8_t>(p)});
            }
        XDestroyImage(image);
    }
    XCloseDisplay(dpy);
    return win;
}

inline Picture GrabWindow(const char* title)
{
    Picture picture;
    FindProgramWindow(title, &picture);
    return picture;
}

// Focuses the window as a person would, then runs the xdotool commands
// `keys` ("keydown KP_Add sleep 2 keyup KP_Add"), which go to whatever has
// the focus then; xdotool's exit status.
inline int SendKeys(const char* title, const std::string& keys)
{
    std::string focus = "xdotool search --sync --name '^" + std::string(title) +
                        "$' windowfocus --sync >/dev/null 2>&1";
    int status = system(focus.c_str());
    return status ? status : system(("xdotool " + keys + " >/dev/null 2>&1").c_str());
}

} // namespace testsupport
