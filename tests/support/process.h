// Runs of the built program and of the tools, and waits on them.
#pragma once

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace testsupport
{

inline std::string Env(const char* name)
{
    return getenv(name) ? getenv(name) : "";
}

// In a child after fork: replaces it with command[0]; 127 when it can't run.
[[noreturn]] inline void ExecCommand(const std::vector<std::string>& command)
{
    std::vector<char*> argv(command.size() + 1);
    for (size_t i = 0; i < command.size(); ++i)
        argv[i] = const_cast<char*>(command[i].c_str());
    execv(argv[0], argv.data());
    _exit(127);
}

// TESSIMO_RUN_DIR/tessimo2 started in `dir` (or here) with this SDL audio
// driver, boxes on standard error, `env` set (unset where a value is empty).
inline pid_t StartProgram(const std::string& dir, const char* audioDriver,
                          const std::vector<std::pair<std::string, std::string>>& env = {})
{
    pid_t pid = fork();
    if (pid == 0)
    {
        if (!dir.empty() && chdir(dir.c_str()) != 0)
            _exit(127);
        setenv("SDL_AUDIODRIVER", audioDriver, 1);
        setenv("TESSIMO_HEADLESS", "1", 1);
        for (const auto& [name, value] : env)
            value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
        ExecCommand({Env("TESSIMO_RUN_DIR") + "/tessimo2"});
    }
    return pid;
}

// Polls `done` until it holds or `seconds` have passed.
inline bool WaitFor(const std::function<bool()>& done, double seconds)
{
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (; std::chrono::steady_clock::now() < end; usleep(20000))
        if (done())
            return true;
    return done();
}

// The exit status (128 + the signal that ended it); -1, killed, when late.
inline int WaitExit(pid_t pid, double seconds)
{
    int status = 0;
    if (WaitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; }, seconds))
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return -1;
}

// Ends the child, if it still runs, however the test ends.
struct ChildGuard
{
    pid_t pid;
    ~ChildGuard() { pid > 0 && WaitExit(pid, 0); }
};

struct ToolRun
{
    int status = -1;
    std::string out, err;
};

// Runs command[0] here; standard output goes to `stdoutPath` or is caught.
inline ToolRun RunTool(const std::vector<std::string>& command, const std::string& stdoutPath = "")
{
    FILE *out = tmpfile(), *err = tmpfile();
    pid_t pid = fork();
    if (pid == 0)
    {
        dup2(stdoutPath.empty() ? fileno(out) : open(stdoutPath.c_str(), O_WRONLY), 1);
        dup2(fileno(err), 2);
        ExecCommand(command);
    }
    auto all = [](FILE* file, std::string text = "")
    {
        rewind(file);
        for (int c; (c = fgetc(file)) != EOF;)
            text += static_cast<char>(c);
        fclose(file);
        return text;
    };
    return {WaitExit(pid, 300), all(out), all(err)}; // in this order
}

// The words of an argument line, split at blanks (no blanks inside a word).
inline std::vector<std::string> Words(const std::string& line)
{
    std::vector<std::string> words;
    std::istringstream in(line);
    for (std::string w; in >> w;)
        words.push_back(w);
    return words;
}

// One of our tools, or tessimo-shot, named by command[0] ("tessimo-rar").
inline ToolRun RunOurTool(std::vector<std::string> command, const std::string& stdoutPath = "")
{
    command[0] = command[0] == "tessimo-shot"
                     ? Env("TESSIMO_RUN_DIR") + "/tessimo-shot"
                     : Env("TESSIMO_BINARY_DIR") + "/tools/" + command[0] + "/" + command[0];
    return RunTool(command, stdoutPath);
}

} // namespace testsupport
