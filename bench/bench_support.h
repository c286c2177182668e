// Runs the benchmarks the command line selects and, after their table,
// hands each one's figures to `print` for the lines set against its peer:
// times in the benchmark's unit, from the median when it was repeated.
#pragma once
#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>

struct Figures
{
    double realTime = 0, cpuTime = 0, bytesPerSecond = 0;
};
using FigureMap = std::map<std::string, Figures>;

inline void RunBenchmarks(std::function<void(FigureMap&)> print)
{
    struct Reporter : benchmark::ConsoleReporter
    {
        FigureMap figures;
        std::function<void(FigureMap&)> print;
        void ReportRuns(const std::vector<Run>& runs) override
        {
            ConsoleReporter::ReportRuns(runs);
            for (const Run& r : runs)
            {
                const std::string& name = r.run_name.function_name;
                bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
                if (!median && (r.run_type != Run::RT_Iteration || figures.count(name)))
                    continue;
                auto rate = r.counters.find("bytes_per_second");
                figures[name] = {r.GetAdjustedRealTime(), r.GetAdjustedCPUTime(),
                                 rate == r.counters.end() ? 0 : rate->second.value};
            }
        }
        void Finalize() override
        {
            ConsoleReporter::Finalize();
            print(figures);
        }
    } reporter;
    reporter.print = std::move(print);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
}
