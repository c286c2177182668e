// The real program as a child process, for window suites: a fresh run
// folder with the built ini/ and data.rar, start, wait, exit status, and
// its window on the X display the suite runs under.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace testsupport
{

inline std::string Env(const char* name)
{
    const char* v = getenv(name);
    return v ? v : "";
}

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

// tessimo2 from the run folder of the build, started in `dir`, with the
// dummy sound driver and message boxes on standard error.
inline pid_t StartProgram(const std::string& dir)
{
    std::string exe = Env("TESSIMO_RUN_DIR") + "/tessimo2";
    pid_t pid = fork();
    if (pid == 0)
    {
        if (chdir(dir.c_str()) != 0)
            _exit(127);
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        setenv("TESSIMO_HEADLESS", "1", 1);
        execl(exe.c_str(), exe.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    return pid;
}

inline bool WaitFor(const std::function<bool()>& done, double seconds)
{
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < end)
    {
        if (done())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return done();
}

// Exit status of the child (128 + signal when a signal ended it), or -1
// when it has not ended in time: it is killed then.
inline int WaitExit(pid_t pid, double seconds)
{
    if (pid <= 0)
        return -1;
    int status = 0;
    bool ended = WaitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; }, seconds);
    if (!ended)
    {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// The first window below `w` with this title, or 0.
inline ::Window FindWindowByTitle(Display* dpy, ::Window w, const char* title)
{
    char* name = nullptr;
    if (XFetchName(dpy, w, &name) && name)
    {
        bool match = strcmp(name, title) == 0;
        XFree(name);
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
