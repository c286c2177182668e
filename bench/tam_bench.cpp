// The CPU generation of the demo's tonal art map, Build(256, 128, 5, 0):
// the quick form the program uses next to the reference form that measures
// every candidate by walking its whole level, in the same run, with the
// ratio and a check that both give the same bytes. First, before anything
// has warmed the process, the CPU work of Build as the demo's start-up
// meets it: the stack, then every slice written out once.
//
//   build/bench/tam_bench --benchmark_min_time=2
#include <benchmark/benchmark.h>

#include <cstdio>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "tam/art_map_generation.h"

namespace
{

void Generate(benchmark::State& state, ArtMapForm form)
{
    ArtMapVolume volume;
    for (auto _ : state)
    {
        GenerateArtMapVolume(256, 128, 5, 0, form, &volume);
        benchmark::DoNotOptimize(volume.blocks[0].data());
    }
    state.counters["strokes"] = static_cast<double>(volume.strokes);
}

void BM_QuickForm(benchmark::State& state)
{
    Generate(state, ArtMapForm::Quick);
}
void BM_ReferenceForm(benchmark::State& state)
{
    Generate(state, ArtMapForm::Reference);
}
BENCHMARK(BM_QuickForm)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReferenceForm)->Unit(benchmark::kMillisecond);

// Prints the two forms side by side after the table, by wall-clock and by
// CPU time (the CPU figure is the one to read on a busy machine), with the
// reference's time over the quick one's.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs)
            if (r.run_type == Run::RT_Iteration)
            {
                // Adjusted times are in the benchmark's unit, milliseconds.
                realMs[r.benchmark_name()] = r.GetAdjustedRealTime();
                cpuMs[r.benchmark_name()] = r.GetAdjustedCPUTime();
            }
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        Line("real", realMs);
        Line("cpu", cpuMs);
    }

private:
    static void Line(const char* clock, std::map<std::string, double>& ms)
    {
        double quick = ms["BM_QuickForm"], reference = ms["BM_ReferenceForm"];
        if (quick > 0 && reference > 0)
            printf(
                "tonal art map 256x256x128 (%s): quick %.2f ms, reference %.1f ms, ratio %.1fx\n",
                clock, quick, reference, reference / quick);
    }
    std::map<std::string, double> realMs, cpuMs;
};

} // namespace

double NowMs()
{
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

// What Build does on the CPU, once, in a process that has done nothing yet.
void StartupShare()
{
    double start = NowMs();
    ArtMapStack stack;
    GenerateArtMapStack(256, 128, 5, 0, &stack);
    double generated = NowMs();
    ArtMapSlices slices(stack);
    for (uint32_t m = 0; m < stack.levelCount; ++m)
        for (uint32_t j = 0; j < stack.slices[m]; ++j)
            benchmark::DoNotOptimize(slices.Slice(m, j));
    double written = NowMs();
    printf("start-up share, first run: stack %.2f ms, slices %.2f ms, together %.2f ms\n",
           generated - start, written - generated, written - start);
}

void BM_Stack(benchmark::State& state)
{
    ArtMapStack stack;
    for (auto _ : state)
    {
        GenerateArtMapStack(256, 128, 5, 0, &stack);
        benchmark::DoNotOptimize(stack.inkFrom.data());
    }
}
BENCHMARK(BM_Stack)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    StartupShare();
    benchmark::Initialize(&argc, argv);
    ArtMapVolume quick, reference;
    GenerateArtMapVolume(256, 128, 5, 0, ArtMapForm::Quick, &quick);
    GenerateArtMapVolume(256, 128, 5, 0, ArtMapForm::Reference, &reference);
    printf("same bytes in both forms: %s (%llu strokes)\n",
           quick.blocks == reference.blocks ? "yes" : "NO",
           static_cast<unsigned long long>(quick.strokes));
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return quick.blocks == reference.blocks ? 0 : 1;
}
