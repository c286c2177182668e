// tessimo-tam --digest against tam_peer, a minimal plain C generator of the
// same volume, as whole processes: each runs N times, alternately, and the
// median CPU time (user + system, from wait4), the median wall time and the
// largest max RSS of each are printed with the ratios. Both must print the
// same lines, or the run fails.
//
//   build/bench/tam_process_bench [runs [TOOL]]
//
// runs defaults to 15; TOOL is another tessimo-tam to measure in place of
// the one built here (an older build, say).
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern char** environ;

namespace
{

struct Run
{
    double cpuMs = 0, wallMs = 0;
    long maxRssKiB = 0;
    std::string out;
    bool ok = false;
};

double Ms(const timeval& t)
{
    return t.tv_sec * 1e3 + t.tv_usec / 1e3;
}

double NowMs()
{
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

Run Measure(std::vector<std::string> argv)
{
    Run r;
    int fd[2];
    if (pipe(fd) != 0)
        return r;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fd[1], 1);
    posix_spawn_file_actions_addclose(&actions, fd[0]);
    std::vector<char*> args;
    for (std::string& a : argv)
        args.push_back(a.data());
    args.push_back(nullptr);
    double start = NowMs();
    pid_t pid = 0;
    int spawned = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fd[1]);
    char buf[4096];
    ssize_t n;
    while ((n = read(fd[0], buf, sizeof buf)) > 0)
        r.out.append(buf, static_cast<size_t>(n));
    close(fd[0]);
    if (spawned != 0)
        return r;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid)
        return r;
    r.wallMs = NowMs() - start;
    r.cpuMs = Ms(usage.ru_utime) + Ms(usage.ru_stime);
    r.maxRssKiB = usage.ru_maxrss;
    r.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return r;
}

double Median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

struct Series
{
    const char* name;
    std::vector<std::string> argv;
    std::vector<double> cpu, wall;
    long rss = 0;
    std::string out;
};

} // namespace

int main(int argc, char** argv)
{
    int runs = argc > 1 ? atoi(argv[1]) : 15;
    if (runs < 1)
    {
        fprintf(stderr, "usage: tam_process_bench [runs [TOOL]]\n");
        return 2;
    }
    Series series[] = {
        {"tessimo-tam --digest",
         {argc > 2 ? argv[2] : TESSIMO_TAM_TOOL, "--digest"},
         {},
         {},
         0,
         {}},
        {"tam_peer", {TESSIMO_TAM_PEER}, {}, {}, 0, {}},
    };
    for (int i = 0; i < runs; ++i)
        for (Series& s : series)
        {
            Run r = Measure(s.argv);
            if (!r.ok)
            {
                fprintf(stderr, "tam_process_bench: %s failed\n", s.argv[0].c_str());
                return 1;
            }
            s.cpu.push_back(r.cpuMs);
            s.wall.push_back(r.wallMs);
            s.rss = std::max(s.rss, r.maxRssKiB);
            s.out = r.out;
        }
    bool same = series[0].out == series[1].out;
    printf("same lines from both: %s\n", same ? "yes" : "NO");
    for (const Series& s : series)
        printf("%-22s cpu %7.1f ms  wall %7.1f ms  max RSS %6.1f MiB  (median of %d)\n", s.name,
               Median(s.cpu), Median(s.wall), s.rss / 1024.0, runs);
    printf("ratio tessimo-tam / peer: cpu %.2fx, max RSS %.2fx\n",
           Median(series[0].cpu) / Median(series[1].cpu),
           static_cast<double>(series[0].rss) / static_cast<double>(series[1].rss));
    return same ? 0 : 1;
}
