// An X server (Xvfb) of a test's own, to end under a running program.
#pragma once

#include <csignal>
#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace testsupport
{

class PrivateXServer
{
public:
    PrivateXServer()
    {
        if (pipe(ends) != 0 || (pid = fork()) != 0)
        {
            // The display number, then a line feed; a closed pipe would end it.
            close(ends[1]);
            for (char c = 0; pid > 0 && read(ends[0], &c, 1) == 1 && c != '\n';)
                display += c;
            display = display.empty() ? "" : ":" + display;
            return;
        }
        freopen("/dev/null", "w", stderr);
        execlp("Xvfb", "Xvfb", "-displayfd", std::to_string(ends[1]).c_str(), "-screen", "0",
               "1024x768x24", "-nolisten", "tcp", static_cast<char*>(nullptr));
        _exit(127);
    }
    ~PrivateXServer() { Kill(); }

    // Gone at once, as a crashed server would be.
    void Kill()
    {
        if (pid > 0 && kill(pid, SIGKILL) == 0)
            waitpid(pid, nullptr, 0);
        if (ends[0] >= 0)
            close(ends[0]);
        pid = 0, ends[0] = -1;
    }

    std::string display; // ":N", empty when the server did not start
    pid_t pid = 0;

private:
    int ends[2] = {-1, -1};
};

} // namespace testsupport
