// build/bench/archive_bench: RarExtract against zlib's inflate, and our sizes
// against zlib -9, on 16 MiB of text, binaries of the build and pictures, each
// entry extracted on its own from one non-solid archive, as assets are.
#include "archive/rar.h"
#include "archive/rar_writer.h"
#include "bench_support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <vector>
#include <zlib.h>

namespace
{
using Bytes = std::vector<uint8_t>;

struct Entry
{
    std::string name, kind;
    Bytes data, zlib; // zlib: level 9
};

std::vector<Entry> g_entries;
std::string g_archivePath;

bool In(const Entry& e, const std::string& kind)
{
    return kind == "all" || e.kind == kind;
}

Bytes ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

// Files under `dir` whose whole names match `pattern`, hidden ones and the
// top level's build folders left out, folder by folder and name by name.
std::vector<std::filesystem::path> FindFiles(const char* dir, const char* pattern)
{
    std::vector<std::filesystem::path> out;
    std::regex match(pattern);
    for (auto it = std::filesystem::recursive_directory_iterator(dir); it != end(it); ++it)
    {
        std::string n = it->path().filename();
        bool skip = n[0] == '.' || (it.depth() == 0 && n.rfind("build", 0) == 0);
        if (skip || it.depth() >= 6)
            it.disable_recursion_pending();
        if (!skip && !it->is_directory() && std::regex_match(n, match))
            out.push_back(it->path());
    }
    std::sort(out.begin(), out.end());
    return out;
}

void Add(const std::string& name, const std::string& kind, Bytes data)
{
    uLongf size = compressBound(data.size());
    Bytes zlib(size);
    compress2(zlib.data(), &size, data.data(), data.size(), 9);
    zlib.resize(size);
    if (data.size() > 0)
        g_entries.push_back({name, kind, std::move(data), std::move(zlib)});
}

// Text: the sources as they are, then words drawn from their vocabulary
// with the frequencies they have there, in lines of source-like length.
void AddText(size_t total)
{
    Bytes sources;
    for (const auto& f : FindFiles(TESSIMO_SOURCE_DIR, ".+\\.(cpp|h|cmake|md|txt)"))
    {
        Bytes b = ReadFile(f);
        if (sources.size() + b.size() > total / 4)
            break;
        sources.insert(sources.end(), b.begin(), b.end());
    }
    std::istringstream in(std::string(sources.begin(), sources.end()));
    std::vector<std::string> words{std::istream_iterator<std::string>(in), {}};
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

// A picture as a Targa file holds it (BGR(A)): colour from a few octaves of
// noise, a little sensor noise, alpha (4 bytes a pixel) as a soft mask.
Bytes Picture(int width, int height, int depth, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes out;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
        {
            float v = 0.55f * Noise(x, y, 160, seed) + 0.3f * Noise(x, y, 40, seed + 1) +
                      0.15f * Noise(x, y, 9, seed + 2);
            float hue = Noise(x, y, 300, seed + 3);
            float rgb[3] = {v * (0.6f + 0.4f * hue), v * 0.9f, v * (1.0f - 0.5f * hue)};
            for (int c = 2; c >= 0; --c)
                out.push_back(
                    uint8_t(std::clamp(int(rgb[c] * 255.0f) + int(rng() % 5) - 2, 0, 255)));
            if (depth == 4)
                out.push_back(uint8_t(Noise(x, y, 200, seed + 4) > 0.5f ? 255 : 0));
        }
    return out;
}

void BuildCorpus()
{
    AddText(5 * 1048576);
    size_t used = 0, binaries = 5 * 1048576;
    for (const auto& f : FindFiles(TESSIMO_BINARY_DIR, ".+(\\.o|\\.a|-rar|_test)"))
    {
        Bytes b = ReadFile(f);
        b.resize(std::min({b.size(), size_t(4 * 1048576), binaries - used}));
        used += b.size();
        Add("bin\\" + f.filename().string(), "binary", std::move(b));
        if (used >= binaries)
            break;
    }
    Add("img\\photo24.raw", "image", Picture(1024, 1024, 3, 11));
    Add("img\\photo32.raw", "image", Picture(1024, 512, 4, 12));
    Add("img\\tile24.raw", "image", Picture(512, 512, 3, 13));
    size_t total = 0;
    for (const Entry& e : g_entries)
        total += e.data.size();
    if (total < 16 * 1048576) // few binaries built yet: more text
        AddText(16 * 1048576 - total);
}

Bytes Archive(bool solid, const std::string& kind, int audio = -1)
{
    std::vector<RarWriterEntry> list;
    for (const Entry& e : g_entries)
        if (In(e, kind))
            list.push_back({e.name.c_str(), e.data.data(), uint32_t(e.data.size())});
    RarWriterOptions options;
    options.solid = solid;
    options.audio = audio;
    Bytes archive;
    std::string error;
    RarWriteArchive(list.data(), list.size(), options, &archive, &error);
    return archive;
}

// Every entry of `kind` extracted from the archive, or inflated.
void Extract(benchmark::State& state, std::string kind, bool rar)
{
    size_t bytes = 0;
    Bytes out;
    for (auto _ : state)
        for (const Entry& e : g_entries)
            if (In(e, kind) && rar)
            {
                uint8_t* data = nullptr;
                uint32_t size = 0;
                if (!RarExtract(&data, &size, e.name.c_str(), g_archivePath.c_str(), nullptr))
                    state.SkipWithError("extraction failed");
                bytes += size;
                free(data);
            }
            else if (In(e, kind))
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
} // namespace

// Prints the sizes (rar/zlib below 1: ours smaller), the timings, then each
// extraction rate against inflate's (ratio above 1: ours faster).
int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    BuildCorpus();
    char dir[] = "/tmp/archive_bench_XXXXXX";
    if (!mkdtemp(dir))
        return 1;
    g_archivePath = std::string(dir) + "/corpus.rar";
    Bytes archive = Archive(false, "all");
    std::ofstream(g_archivePath, std::ios::binary)
        .write(reinterpret_cast<const char*>(archive.data()), std::streamsize(archive.size()));
    printf("%-8s %12s %12s %12s %8s %12s\n", "corpus", "bytes", "rar", "zlib -9", "rar/zlib",
           "rar solid");
    for (std::string kind : {"text", "binary", "image", "all"})
    {
        size_t raw = 0, z = 0;
        for (const Entry& e : g_entries)
            if (In(e, kind))
            {
                raw += e.data.size();
                z += e.zlib.size();
            }
        size_t ours = Archive(false, kind).size(), solid = Archive(true, kind).size();
        printf("%-8s %12zu %12zu %12zu %8.3f %12zu\n", kind.c_str(), raw, ours, z,
               double(ours) / double(z), solid);
        for (bool rar : {true, false})
            benchmark::RegisterBenchmark(
                ((rar ? "BM_RarExtract/" : "BM_ZlibInflate/") + kind).c_str(), Extract, kind, rar)
                ->Unit(benchmark::kMillisecond);
    }
    printf("image, LZ mode only: %zu\n", Archive(false, "image", 0).size());
    RunMap runs = RunBenchmarks();
    for (std::string kind : {"all", "binary", "image", "text"})
    {
        double rar = runs["BM_RarExtract/" + kind].counters["bytes_per_second"] / 1048576;
        double zlib = runs["BM_ZlibInflate/" + kind].counters["bytes_per_second"] / 1048576;
        if (rar > 0 && zlib > 0)
            printf("%-28s rar %8.1f MiB/s  inflate %8.1f MiB/s  ratio %.2f\n",
                   ("BM_RarExtract/" + kind).c_str(), rar, zlib, rar / zlib);
    }
    std::filesystem::remove_all(dir);
    return 0;
}
