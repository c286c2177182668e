// Runs of the built program: start it in a folder, wait for a condition or
// for its end.
#pragma once

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace testsupport
{

inline std::string Env(const char* name)
{
    const char* v = getenv(name);
    return v ? v : "";
}

// In a child after fork: replaces it with command[0], given the whole
// command as its arguments; a command that can't run ends it with 127.
[[noreturn]] inline void ExecCommand(const std::vector<std::string>& command)
{
    std::vector<char*> argv;
    for (const std::string& arg : command)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

// Starts TESSIMO_RUN_DIR/tessimo2 in `dir` (the current folder when empty)
// with the given SDL audio driver; message boxes go to standard error
// instead of waiting for a click. `env` is applied last: each variable set,
// or unset where its value is empty.
inline pid_t StartProgram(const std::string& dir, const char* audioDriver,
                          const std::vector<std::pair<std::string, std::string>>& env = {})
{
    std::string exe = Env("TESSIMO_RUN_DIR") + "/tessimo2";
    pid_t pid = fork();
    if (pid == 0)
    {
        if (!dir.empty() && chdir(dir.c_str()) != 0)
            _exit(127);
        setenv("SDL_AUDIODRIVER", audioDriver, 1);
        setenv("TESSIMO_HEADLESS", "1", 1);
        for (const auto& [name, value] : env)
            value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
        execl(exe.c_str(), exe.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    return pid;
}

// Polls `done` until it holds or `seconds` have passed.
inline bool WaitFor(const std::function<bool()>& done, double seconds)
{
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < end)
    {
        if (done())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return done();
}

// Exit status of the child (128 plus the signal when one ended it), or -1
// when it has not ended in time (it is killed then).
inline int WaitExit(pid_t pid, double seconds)
{
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

// Ends the child, if it still runs, however the test ends.
struct ChildGuard
{
    pid_t pid;
    ~ChildGuard()
    {
        if (pid > 0)
            WaitExit(pid, 0);
    }
};

// What a command-line tool did: its exit status (as WaitExit gives it), its
// standard output and its standard error.
struct ToolRun
{
    int status = -1;
    std::string out;
    std::string err;
};

inline std::string ReadAll(FILE* file)
{
    std::string text;
    char chunk[4096];
    rewind(file);
    for (size_t n; (n = fread(chunk, 1, sizeof chunk, file)) > 0;)
        text.append(chunk, n);
    fclose(file);
    return text;
}

// Runs command[0] with its arguments in the current folder to its end.
// Standard output goes to `stdoutPath` when one is given (a device, a
// file), and is caught otherwise.
inline ToolRun RunTool(const std::vector<std::string>& command, const std::string& stdoutPath = "")
{
    FILE* out = tmpfile();
    FILE* err = tmpfile();
    pid_t pid = fork();
    if (pid == 0)
    {
        int fd = stdoutPath.empty() ? fileno(out) : open(stdoutPath.c_str(), O_WRONLY);
        dup2(fd, 1);
        dup2(fileno(err), 2);
        ExecCommand(command);
    }
    ToolRun run;
    run.status = WaitExit(pid, 300);
    run.out = ReadAll(out);
    run.err = ReadAll(err);
    return run;
}

} // namespace testsupport
