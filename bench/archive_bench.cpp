// Archive extraction throughput (RarExtract) next to zlib's inflate of the
// same bytes, and the size of our writer's archive next to zlib at level 9,
// on a mixed corpus of at least 16 MiB built here (text and pictures the
// same on every run, binaries whatever the build folder holds):
//
//   text    the project's sources, and text drawn word by word from their
//           vocabulary
//   binary  object files, libraries and programs of the build
//   image   uncompressed 24- and 32-bit pictures: smooth shapes, texture and
//           sensor noise
//
//   build/bench/archive_bench [--benchmark_filter=...]
//
// It prints the sizes first (rar/zlib below 1 is smaller), then the timings,
// then each extraction rate against inflate's (ratio above 1 is faster).
//
// Entries go into one non-solid archive (and one zlib stream each), so that
// each is extracted on its own, as the engine loads its assets.

#include "archive/rar.h"
#include "archive/rar_writer.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <map>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace
{

using Bytes = std::vector<uint8_t>;

struct Entry
{
    std::string name;
    std::string kind;
    Bytes data;
    Bytes zlib; // level 9
};

std::vector<Entry> g_entries;
std::string g_archivePath;

Bytes ReadFile(const std::string& path)
{
    Bytes out;
    FILE* f = fopen(path.c_str(), "rb");
    if (!f)
        return out;
    uint8_t chunk[65536];
    size_t n;
    while ((n = fread(chunk, 1, sizeof(chunk), f)) > 0)
        out.insert(out.end(), chunk, chunk + n);
    fclose(f);
    return out;
}

// Files under `dir` whose names end in one of `suffixes`, sorted.
void FindFiles(const std::string& dir, const std::vector<std::string>& suffixes,
               std::vector<std::string>* out, int depth = 0)
{
    DIR* d = opendir(dir.c_str());
    if (!d || depth > 6)
    {
        if (d)
            closedir(d);
        return;
    }
    std::vector<std::string> names;
    while (dirent* e = readdir(d))
        if (e->d_name[0] != '.')
            names.push_back(e->d_name);
    closedir(d);
    std::sort(names.begin(), names.end());
    for (const std::string& n : names)
    {
        std::string path = dir + "/" + n;
        struct stat st;
        if (stat(path.c_str(), &st) != 0)
            continue;
        if (S_ISDIR(st.st_mode))
        {
            if (depth > 0 || n.rfind("build", 0) != 0)
                FindFiles(path, suffixes, out, depth + 1);
        }
        else
            for (const std::string& s : suffixes)
                if (n.size() > s.size() && n.compare(n.size() - s.size(), s.size(), s) == 0)
                    out->push_back(path);
    }
}

void Add(const std::string& name, const std::string& kind, Bytes data)
{
    if (data.size() > 0)
        g_entries.push_back({name, kind, std::move(data), {}});
}

// Text: the sources as they are, then words drawn from their vocabulary
// with the frequencies they have there, in lines of source-like length.
void AddText(size_t total)
{
    std::vector<std::string> files;
    FindFiles(TESSIMO_SOURCE_DIR, {".cpp", ".h", ".cmake", ".md", ".txt"}, &files);
    Bytes sources;
    for (const std::string& f : files)
    {
        Bytes b = ReadFile(f);
        if (sources.size() + b.size() > total / 4)
            break;
        sources.insert(sources.end(), b.begin(), b.end());
    }
    std::vector<std::string> words;
    std::string word;
    for (uint8_t c : sources)
    {
        if (c == ' ' || c == '\n')
        {
            if (!word.empty())
                words.push_back(word);
            word.clear();
        }
        else
            word += char(c);
    }
    std::mt19937 rng(1);
    Bytes text;
    while (text.size() + sources.size() < total && !words.empty())
    {
        int count = 3 + rng() % 10;
        text.insert(text.end(), 4 * (rng() % 3), ' ');
        for (int i = 0; i < count; ++i)
        {
            const std::string& w = words[rng() % words.size()];
            text.insert(text.end(), w.begin(), w.end());
            text.push_back(i + 1 < count ? ' ' : '\n');
        }
    }
    Add("text\\sources.txt", "text", sources);
    for (size_t i = 0; i * 1048576 < text.size(); ++i)
        Add("text\\words" + std::to_string(i) + ".txt", "text",
            Bytes(text.begin() + i * 1048576,
                  text.begin() + std::min(text.size(), (i + 1) * 1048576)));
}

// Binaries of the build: objects, libraries, programs (not this one).
void AddBinaries(size_t total)
{
    std::vector<std::string> files;
    FindFiles(TESSIMO_BINARY_DIR, {".o", ".a", "-rar", "_test"}, &files);
    size_t used = 0;
    for (const std::string& f : files)
    {
        Bytes b = ReadFile(f);
        if (b.size() > 4 * 1048576)
            b.resize(4 * 1048576);
        if (used + b.size() > total)
            b.resize(total - used);
        used += b.size();
        std::string name = f.substr(f.find_last_of('/') + 1);
        Add("bin\\" + name, "binary", std::move(b));
        if (used >= total)
            break;
    }
}

// Value noise: smooth random hills at one scale.
float Noise(int x, int y, int scale, uint32_t seed)
{
    auto corner = [&](int cx, int cy)
    {
        uint32_t h = uint32_t(cx) * 374761393u + uint32_t(cy) * 668265263u + seed * 2246822519u;
        h = (h ^ (h >> 13)) * 1274126177u;
        return float(h >> 8) / float(1 << 24);
    };
    int gx = x / scale, gy = y / scale;
    float fx = float(x % scale) / float(scale), fy = float(y % scale) / float(scale);
    fx = fx * fx * (3 - 2 * fx);
    fy = fy * fy * (3 - 2 * fy);
    float top = corner(gx, gy) + (corner(gx + 1, gy) - corner(gx, gy)) * fx;
    float bottom = corner(gx, gy + 1) + (corner(gx + 1, gy + 1) - corner(gx, gy + 1)) * fx;
    return top + (bottom - top) * fy;
}

// A picture: colour from a few octaves of noise, a little sensor noise,
// alpha (for 4 bytes a pixel) as a soft mask. Rows bottom-up, BGR(A), as a
// Targa file holds them.
Bytes Picture(int width, int height, int depth, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes out;
    out.reserve(size_t(width) * height * depth);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
        {
            float v = 0.55f * Noise(x, y, 160, seed) + 0.3f * Noise(x, y, 40, seed + 1) +
                      0.15f * Noise(x, y, 9, seed + 2);
            float hue = Noise(x, y, 300, seed + 3);
            float rgb[3] = {v * (0.6f + 0.4f * hue), v * 0.9f, v * (1.0f - 0.5f * hue)};
            for (int c = 2; c >= 0; --c)
            {
                int value = int(rgb[c] * 255.0f) + int(rng() % 5) - 2;
                out.push_back(uint8_t(std::min(255, std::max(0, value))));
            }
            if (depth == 4)
                out.push_back(uint8_t(Noise(x, y, 200, seed + 4) > 0.5f ? 255 : 0));
        }
    return out;
}

void BuildCorpus()
{
    AddText(5 * 1048576);
    AddBinaries(5 * 1048576);
    Add("img\\photo24.raw", "image", Picture(1024, 1024, 3, 11));
    Add("img\\photo32.raw", "image", Picture(1024, 512, 4, 12));
    Add("img\\tile24.raw", "image", Picture(512, 512, 3, 13));
    size_t total = 0;
    for (const Entry& e : g_entries)
        total += e.data.size();
    // Top up with more text should the build have few binaries yet.
    if (total < 16 * 1048576)
        AddText(16 * 1048576 - total);
    for (Entry& e : g_entries)
    {
        uLongf size = compressBound(e.data.size());
        e.zlib.resize(size);
        compress2(e.zlib.data(), &size, e.data.data(), e.data.size(), 9);
        e.zlib.resize(size);
    }
}

size_t WriteArchive(const std::string& path, bool solid, const std::string& kind, int audio = -1)
{
    std::vector<RarWriterEntry> list;
    for (const Entry& e : g_entries)
        if (kind.empty() || e.kind == kind)
            list.push_back({e.name.c_str(), e.data.data(), uint32_t(e.data.size())});
    RarWriterOptions options;
    options.solid = solid;
    options.audio = audio;
    Bytes archive;
    std::string error;
    RarWriteArchive(list.data(), list.size(), options, &archive, &error);
    if (!path.empty())
    {
        FILE* f = fopen(path.c_str(), "wb");
        fwrite(archive.data(), 1, archive.size(), f);
        fclose(f);
    }
    return archive.size();
}

void PrintSizes()
{
    printf("%-8s %12s %12s %12s %8s %12s\n", "corpus", "bytes", "rar", "zlib -9", "rar/zlib",
           "rar solid");
    for (std::string kind : {"text", "binary", "image", ""})
    {
        size_t raw = 0, z = 0;
        for (const Entry& e : g_entries)
            if (kind.empty() || e.kind == kind)
            {
                raw += e.data.size();
                z += e.zlib.size();
            }
        size_t ours = WriteArchive("", false, kind);
        size_t solid = WriteArchive("", true, kind);
        printf("%-8s %12zu %12zu %12zu %8.3f %12zu\n", kind.empty() ? "all" : kind.c_str(), raw,
               ours, z, double(ours) / double(z), solid);
    }
    size_t lzOnly = WriteArchive("", false, "image", 0);
    printf("image, LZ mode only: %zu\n", lzOnly);
    fflush(stdout);
}

void BM_RarExtract(benchmark::State& state, std::string kind)
{
    size_t bytes = 0;
    for (auto _ : state)
        for (const Entry& e : g_entries)
            if (kind.empty() || e.kind == kind)
            {
                uint8_t* data;
                uint32_t size;
                if (!RarExtract(&data, &size, e.name.c_str(), g_archivePath.c_str(), nullptr))
                    state.SkipWithError("extraction failed");
                bytes += size;
                free(data);
            }
    state.SetBytesProcessed(int64_t(bytes));
}

void BM_ZlibInflate(benchmark::State& state, std::string kind)
{
    size_t bytes = 0;
    Bytes out;
    for (auto _ : state)
        for (const Entry& e : g_entries)
            if (kind.empty() || e.kind == kind)
            {
                out.resize(e.data.size());
                uLongf size = out.size();
                if (uncompress(out.data(), &size, e.zlib.data(), e.zlib.size()) != Z_OK)
                    state.SkipWithError("inflate failed");
                bytes += size;
                benchmark::DoNotOptimize(out.data());
            }
    state.SetBytesProcessed(int64_t(bytes));
}

// Prints each benchmark as usual and, at the end, ours against inflate.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs)
        {
            auto it = r.counters.find("bytes_per_second");
            if (it != r.counters.end() && r.run_type == Run::RT_Iteration)
                rates[r.benchmark_name()] = it->second.value;
        }
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        for (const auto& [name, rate] : rates)
        {
            if (name.find("BM_RarExtract") != 0)
                continue;
            std::string peer = "BM_ZlibInflate" + name.substr(strlen("BM_RarExtract"));
            auto p = rates.find(peer);
            if (p == rates.end())
                continue;
            printf("%-28s rar %8.1f MiB/s  inflate %8.1f MiB/s  ratio %.2f\n", name.c_str(),
                   rate / 1048576.0, p->second / 1048576.0, rate / p->second);
        }
    }

private:
    std::map<std::string, double> rates;
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    BuildCorpus();
    char dir[] = "/tmp/archive_bench_XXXXXX";
    if (!mkdtemp(dir))
        return 1;
    g_archivePath = std::string(dir) + "/corpus.rar";
    WriteArchive(g_archivePath, false, "");
    PrintSizes();
    for (std::string kind : {"text", "binary", "image", ""})
    {
        std::string suffix = "/" + (kind.empty() ? std::string("all") : kind);
        benchmark::RegisterBenchmark(("BM_RarExtract" + suffix).c_str(), BM_RarExtract, kind)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("BM_ZlibInflate" + suffix).c_str(), BM_ZlibInflate, kind)
            ->Unit(benchmark::kMillisecond);
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    unlink(g_archivePath.c_str());
    rmdir(dir);
    return 0;
}
