// build/bench/tam_process_bench [runs (15) [TOOL]]: tessimo-tam --digest (or
// TOOL) against tam_peer, whole processes run alternately: median CPU (wait4)
// and wall times, largest max RSS, ratios; both must print the same lines.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

extern char** environ;

namespace
{
struct Series
{
    Series(const char* name, std::vector<const char*> argv) : name(name), argv(argv) {}
    const char* name;
    std::vector<const char*> argv; // null-terminated
    std::vector<double> cpuMs, wallMs;
    long maxRssKiB = 0;
    std::string out;
};

// Runs the series' command once, its standard output going to `outPath`.
bool Measure(Series& s, const char* outPath)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outPath, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    int spawned = posix_spawn(&pid, s.argv[0], &actions, nullptr,
                              const_cast<char* const*>(s.argv.data()), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage{};
    if (spawned != 0 || wait4(pid, &status, 0, &usage) != pid)
        return false;
    std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
    s.wallMs.push_back(wall.count());
    auto ms = [](const timeval& t) { return t.tv_sec * 1e3 + t.tv_usec / 1e3; };
    s.cpuMs.push_back(ms(usage.ru_utime) + ms(usage.ru_stime));
    s.maxRssKiB = std::max(s.maxRssKiB, usage.ru_maxrss);
    std::ifstream out(outPath);
    s.out.assign(std::istreambuf_iterator<char>(out), {});
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
    int runs = std::max(1, argc > 1 ? atoi(argv[1]) : 15);
    Series series[2] = {
        {"tessimo-tam --digest", {argc > 2 ? argv[2] : TESSIMO_TAM_TOOL, "--digest", nullptr}},
        {"tam_peer", {TESSIMO_TAM_PEER, nullptr}}};
    std::string outPath = "/tmp/tam_process_bench." + std::to_string(getpid());
    for (int i = 0; i < runs; ++i)
        for (Series& s : series)
            if (!Measure(s, outPath.c_str()))
            {
                fprintf(stderr, "tam_process_bench: %s failed\n", s.argv[0]);
                return 1;
            }
    unlink(outPath.c_str());
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
