// The CPU generation of the demo's tonal art map, Build(256, 128, 5, 0): the
// quick form the program uses against the reference form that measures each
// candidate by walking its whole level, with the ratio and a check that both
// give the same bytes; first, in a process nothing has warmed yet, Build's
// start-up work: the stack, then every slice written out once.
//
//   build/bench/tam_bench --benchmark_min_time=2
#include "bench_support.h"
#include "tam/art_map_generation.h"

#include <chrono>
#include <cstdio>

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
BENCHMARK_CAPTURE(Generate, QuickForm, ArtMapForm::Quick)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Generate, ReferenceForm, ArtMapForm::Reference)->Unit(benchmark::kMillisecond);

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

void StartupShare()
{
    auto now = std::chrono::steady_clock::now;
    auto ms = [](auto from, auto to)
    { return std::chrono::duration<double, std::milli>(to - from).count(); };
    auto start = now();
    ArtMapStack stack;
    GenerateArtMapStack(256, 128, 5, 0, &stack);
    auto generated = now();
    ArtMapSlices slices(stack);
    for (uint32_t m = 0; m < stack.levelCount; ++m)
        for (uint32_t j = 0; j < stack.slices[m]; ++j)
            benchmark::DoNotOptimize(slices.Slice(m, j));
    auto written = now();
    printf("start-up share, first run: stack %.2f ms, slices %.2f ms, together %.2f ms\n",
           ms(start, generated), ms(generated, written), ms(start, written));
}

// A line by one clock, with the reference's time over the quick one's.
void Line(const char* clock, double quick, double reference)
{
    if (quick > 0 && reference > 0)
        printf("tonal art map 256x256x128 (%s): quick %.2f ms, reference %.1f ms, ratio %.1fx\n",
               clock, quick, reference, reference / quick);
}

} // namespace

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
    // By wall clock and by CPU time (the figure to read on a busy machine).
    RunBenchmarks(
        [](RunMap& runs)
        {
            auto &q = runs["Generate/QuickForm"], &r = runs["Generate/ReferenceForm"];
            Line("real", q.GetAdjustedRealTime(), r.GetAdjustedRealTime());
            Line("cpu", q.GetAdjustedCPUTime(), r.GetAdjustedCPUTime());
        });
    return quick.blocks == reference.blocks ? 0 : 1;
}
