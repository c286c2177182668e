// Runs the benchmarks the command line selects, printing their table, and
// returns each one's run (the median, when repeated) for the lines that set
// it against its peer.
#pragma once
#include <benchmark/benchmark.h>

#include <map>
#include <string>

using RunMap = std::map<std::string, benchmark::BenchmarkReporter::Run>;

inline RunMap RunBenchmarks()
{
    struct Reporter : benchmark::ConsoleReporter
    {
        RunMap runs;
        void ReportRuns(const std::vector<Run>& list) override
        {
            ConsoleReporter::ReportRuns(list);
            for (const Run& r : list)
                if ((r.run_type == Run::RT_Aggregate && r.aggregate_name == "median") ||
                    (r.run_type == Run::RT_Iteration && !runs.count(r.run_name.function_name)))
                    runs[r.run_name.function_name] = r;
        }
    } reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return reporter.runs;
}
