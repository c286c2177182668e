// tessimo-tam --digest against tam_peer, a minimal plain C generator of the
// same volume, as whole processes run N times alternately: the median CPU
// time (user + system, from wait4), the median wall time and the largest
// max RSS of each, with the ratios. Both must print the same lines.
//
//   build/bench/tam_process_bench [runs [TOOL]]
//
// runs defaults to 15; TOOL is another tessimo-tam to measure in place of
// the one built here (an older build, say).
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern char** environ;

namespace
{

struct Series
{
    Series(const char* name, std::vector<std::string> argv) : name(name), argv(std::move(argv)) {}
    const char* name;
    std::vector<std::string> argv;
    std::vector<double> cpuMs, wallMs;
    long maxRssKiB = 0;
    std::string out;
};

double Ms(const timeval& t)
{
    return t.tv_sec * 1e3 + t.tv_usec / 1e3;
}

// Runs the series' command once, its standard output read into `out`.
bool Measure(Series& s)
{
    int fd[2];
    if (pipe(fd) != 0)
        return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fd[1], 1);
    posix_spawn_file_actions_addclose(&actions, fd[0]);
    std::vector<char*> args;
    for (std::string& a : s.argv)
        args.push_back(a.data());
    args.push_back(nullptr);
    auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    int spawned = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fd[1]);
    s.out.clear();
    char buf[4096];
    ssize_t n;
    while ((n = read(fd[0], buf, sizeof buf)) > 0)
        s.out.append(buf, static_cast<size_t>(n));
    close(fd[0]);
    int status = 0;
    rusage usage{};
    if (spawned != 0 || wait4(pid, &status, 0, &usage) != pid)
        return false;
    std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
    s.wallMs.push_back(wall.count());
    s.cpuMs.push_back(Ms(usage.ru_utime) + Ms(usage.ru_stime));
    s.maxRssKiB = std::max(s.maxRssKiB, usage.ru_maxrss);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    int runs = argc > 1 ? atoi(argv[1]) : 15;
    if (runs < 1)
    {
        fprintf(stderr, "usage: tam_process_bench [runs [TOOL]]\n");
        return 2;
    }
    Series series[2] = {
        {"tessimo-tam --digest", {argc > 2 ? argv[2] : TESSIMO_TAM_TOOL, "--digest"}},
        {"tam_peer", {TESSIMO_TAM_PEER}}};
    for (int i = 0; i < runs; ++i)
        for (Series& s : series)
            if (!Measure(s))
            {
                fprintf(stderr, "tam_process_bench: %s failed\n", s.argv[0].c_str());
                return 1;
            }
    bool same = series[0].out == series[1].out;
    printf("same lines from both: %s\n", same ? "yes" : "NO");
    for (const Series& s : series)
        printf("%-22s cpu %7.1f ms  wall %7.1f ms  max RSS %6.1f MiB  (median of %d)\n", s.name,
               Median(s.cpuMs), Median(s.wallMs), s.maxRssKiB / 1024.0, runs);
    printf("ratio tessimo-tam / peer: cpu %.2fx, max RSS %.2fx\n",
           Median(series[0].cpuMs) / Median(series[1].cpuMs),
           static_cast<double>(series[0].maxRssKiB) / static_cast<double>(series[1].maxRssKiB));
    return same ? 0 : 1;
}
