// Runs the benchmarks the command line selects and, after their table,
// hands each one's run (the median, when repeated) to `print` for the
// lines that set it against its peer.
#pragma once
#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>

using RunMap = std::map<std::string, benchmark::BenchmarkReporter::Run>;

inline void RunBenchmarks(std::function<void(RunMap&)> print)
{
    struct Reporter : benchmark::ConsoleReporter
    {
        RunMap runs;
        std::function<void(RunMap&)> print;
        void ReportRuns(const std::vector<Run>& list) override
        {
            ConsoleReporter::ReportRuns(list);
            for (const Run& r : list)
                if ((r.run_type == Run::RT_Aggregate && r.aggregate_name == "median") ||
                    (r.run_type == Run::RT_Iteration && !runs.count(r.run_name.function_name)))
                    runs[r.run_name.function_name] = r;
        }
        void Finalize() override
        {
            ConsoleReporter::Finalize();
            print(runs);
        }
    } reporter;
    reporter.print = std::move(print);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
}
