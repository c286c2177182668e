// build/bench/tam_bench: the art map of Build(256, 128, 5, 0) in the quick
// form against the reference form, which walks a whole level per candidate;
// first, in a fresh process, Build's start-up work (stack, then slices).
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
    RunMap runs = RunBenchmarks();
    auto &q = runs["Generate/QuickForm"], &r = runs["Generate/ReferenceForm"];
    for (bool cpu : {false, true})
    {
        double quickMs = cpu ? q.GetAdjustedCPUTime() : q.GetAdjustedRealTime();
        double referenceMs = cpu ? r.GetAdjustedCPUTime() : r.GetAdjustedRealTime();
        if (quickMs > 0 && referenceMs > 0)
            printf(
                "tonal art map 256x256x128 (%s): quick %.2f ms, reference %.1f ms, ratio %.1fx\n",
                cpu ? "cpu" : "real", quickMs, referenceMs, referenceMs / quickMs);
    }
    return quick.blocks == reference.blocks ? 0 : 1;
}
