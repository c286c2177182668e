// A run folder for the real program, and its window on the X display.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "tests/support/process.h"

namespace testsupport
{

// A fresh folder with the built data.rar (and ini/); empty on failure.
inline std::string MakeRunDir(bool withIni)
{
    std::string dir = Env("TESSIMO_BINARY_DIR") + "/tests/runs";
    mkdir(dir.c_str(), 0755);
    dir += "/runXXXXXX";
    if (!mkdtemp(dir.data()))
        return "";
    std::string run = Env("TESSIMO_RUN_DIR"),
                cmd = "cp -r '" + run + "/data.rar' '" + dir + "/' 2>/dev/null;";
    if (withIni)
        cmd += "cp -r '" + run + "/ini' '" + dir + "/'";
    return system(cmd.c_str()) != 0 && withIni ? "" : dir;
}

// A suite's run folders, made by RunDir and removed after a test that
// passed (kept after a failure, to be looked at).
class RunDirTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        std::error_code ec;
        for (const std::string& dir : dirs)
            if (!HasFailure())
                std::filesystem::remove_all(dir, ec);
    }
    std::string RunDir(bool withIni = true)
    {
        dirs.push_back(MakeRunDir(withIni));
        EXPECT_FALSE(dirs.back().empty());
        return dirs.back();
    }
    std::vector<std::string> dirs;
};

// The first window below `w` with this title (in any encoding), or 0.
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
    ::Window root, parent, *children = nullptr, found = 0;
    unsigned count = 0;
    if (XQueryTree(dpy, w, &root, &parent, &children, &count))
        for (unsigned i = 0; i < count && !found; ++i)
            found = FindWindowByTitle(dpy, children[i], title);
    if (children)
        XFree(children);
    return found;
}

} // namespace testsupport
