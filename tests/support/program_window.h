// The real program's surroundings for window suites: a fresh run folder
// with the built ini/ and data.rar, and its window on the X display the
// suite runs under. Starting and waiting are in process.h.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "tests/support/process.h"

namespace testsupport
{

// A fresh folder under the build tree's tests/runs holding copies of the
// built data.rar and (when asked) ini/; empty when it can't be made.
inline std::string MakeRunDir(bool withIni)
{
    std::string base = Env("TESSIMO_BINARY_DIR") + "/tests/runs";
    mkdir(base.c_str(), 0755);
    std::string pattern = base + "/runXXXXXX";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back(0);
    if (!mkdtemp(buf.data()))
        return "";
    std::string dir = buf.data();
    std::string run = Env("TESSIMO_RUN_DIR");
    std::string cmd = "cp -r '" + run + "/data.rar' '" + dir + "/' 2>/dev/null;";
    if (withIni)
        cmd += "cp -r '" + run + "/ini' '" + dir + "/'";
    if (system(cmd.c_str()) != 0 && withIni)
        return "";
    return dir;
}

// The first window below `w` with this title, or 0. WM_NAME is read in any
// encoding: SDL's message boxes write it as UTF-8.
inline ::Window FindWindowByTitle(Display* dpy, ::Window w, const char* title)
{
    XTextProperty name{};
    if (XGetWMName(dpy, w, &name) && name.value)
    {
        bool match = name.format == 8 &&
                     std::string(reinterpret_cast<char*>(name.value), name.nitems) == title;
        XFree(name.value);
        if (match)
            return w;
    }
    ::Window root, parent, *children = nullptr;
    unsigned count = 0;
    ::Window found = 0;
    if (XQueryTree(dpy, w, &root, &parent, &children, &count))
    {
        for (unsigned i = 0; i < count && !found; ++i)
            found = FindWindowByTitle(dpy, children[i], title);
        if (children)
            XFree(children);
    }
    return found;
}

} // namespace testsupport
