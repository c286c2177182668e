// An X server of a test's own (Xvfb on a free display number), for a test
// that ends the server under a running program.
#pragma once

#include <csignal>
#include <cstdlib>
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
        int ends[2];
        if (pipe(ends) != 0)
            return;
        pid = fork();
        if (pid == 0)
        {
            close(ends[0]);
            std::string fd = std::to_string(ends[1]);
            freopen("/dev/null", "w", stderr);
            execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1024x768x24",
                   "-nolisten", "tcp", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(ends[1]);
        // Xvfb writes the display number and a line feed once it takes
        // connections. The pipe stays open: a write into a closed one would
        // end the server.
        numberPipe = ends[0];
        std::string number;
        char c = 0;
        while (pid > 0 && read(numberPipe, &c, 1) == 1 && c != '\n')
            number += c;
        if (!number.empty())
            display = ":" + number;
    }
    ~PrivateXServer() { Kill(); }
    PrivateXServer(const PrivateXServer&) = delete;
    PrivateXServer& operator=(const PrivateXServer&) = delete;

    // Gone at once, as a crashed server or a dropped connection would be.
    void Kill()
    {
        if (pid > 0)
        {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        if (numberPipe >= 0)
            close(numberPipe);
        pid = 0;
        numberPipe = -1;
    }

    std::string display; // ":N", empty when the server did not start
    pid_t pid = 0;

private:
    int numberPipe = -1;
};

} // namespace testsupport
