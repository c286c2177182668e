// tessimo-shot: the demo, headless, on a stepped clock; writes the last
// frame as a PNG.
//
//   tessimo-shot [--run DIR] [--ticks N] [--size WxH] [--output FILE.png]
//                [--model FILE.tsm]
//
// --run    the run directory (ini/ and data.rar); default: the current one.
// --ticks  update ticks of 1/60 s before the picture is taken (default 1).
// --size   the window's size (default: the settings').
// --output the picture (default shot.png, relative to where it was started).
// --model  a model file on the disk shown in place of the airplane.
//
// The program is the real one: settings, window, GL, sound, the demo's Init
// and its frames, ended by the same teardown. Only the video (SDL's
// offscreen driver, no display needed) and the clock differ: the counter
// stands still within a frame and moves by exactly 1/60 s between frames,
// so the first frame (after Init's timer reset) runs no tick and every
// later one runs exactly one. A picture is thus a function of its tick, and
// the same tick gives the same bytes on the same driver.
//
// A run that has nothing true to show writes no picture and ends with
// status 1 and one line saying why: the data archive can't be read (not
// there, damaged, the wrong password), the model can't be read (no file,
// a folder, no mesh in it, a mesh the vertex memory can't hold), or the
// frame drew no polygon.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <png.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "app/gl_entry_points.h"
#include "app/window.h"
#include "archive/file_buffer.h"
#include "archive/rar.h"
#include "demo/hatching_demo.h"
#include "engine/program_loop.h"
#include "platform/counter.h"
#include "platform/path_map.h"
#include "scene/mesh.h"
#include "scene/mesh_set.h"
#include "tools/common/tool_cli.h"

namespace
{

// 60 million counts a second: a tick is exactly one million of them, and
// its length as a double rounds to the engine's float 1/60.
const int64_t kFrequency = 60000000;
const int64_t kTick = kFrequency / 60;
// Ten seconds on: the first frame after Init's reset sees a stall and runs
// no tick, as a real run's first frame does.
const int64_t kStart = 10 * kFrequency;

struct Options
{
    std::string runDir;
    long ticks = 1;
    int32_t width = 0;
    int32_t height = 0;
    std::string output = "shot.png";
    std::string model;
};

const toolcli::Tool kTool{
    "tessimo-shot",
    "usage: tessimo-shot [--run DIR] [--ticks N] [--size WxH] [--output FILE.png] "
    "[--model FILE.tsm]",
    "  --run DIR         the run folder, with ini/ and data.rar (the current one)\n"
    "  --ticks N         ticks of 1/60 s before the picture, 0 to 10000000 (1)\n"
    "  --size WxH        the window's size, each side 1 to 8192 (the settings')\n"
    "  --output FILE     the picture, a PNG (shot.png)\n"
    "  --model FILE.tsm  a model file on the disk, shown in place of the airplane\n"};

const char kSizeRange[] = "WIDTHxHEIGHT, each 1 to 8192";
const char kTicksRange[] = "0 to 10000000";

bool ParseSize(const char* text, int32_t* width, int32_t* height)
{
    char* end = nullptr;
    long w = strtol(text, &end, 10);
    if (end == text || (*end != 'x' && *end != 'X'))
        return false;
    const char* rest = end + 1;
    long h = strtol(rest, &end, 10);
    if (end == rest || *end || w < 1 || h < 1 || w > 8192 || h > 8192)
        return false;
    *width = static_cast<int32_t>(w);
    *height = static_cast<int32_t>(h);
    return true;
}

// A path given relative to where the tool was started, as an absolute one:
// the tool changes into the run directory before anything is read.
std::string Absolute(const std::string& path)
{
    if (path.empty() || path[0] == '/')
        return path;
    char here[PATH_MAX];
    if (!getcwd(here, sizeof here))
        return path;
    return std::string(here) + "/" + path;
}

// Parses argv into `options`; 0, or the usage status.
int ParseOptions(int argc, char** argv, Options* options)
{
    for (int i = 1; i < argc; ++i)
    {
        std::string arg = argv[i];
        bool known = arg == "--run" || arg == "--ticks" || arg == "--size" || arg == "--output" ||
                     arg == "--model";
        if (!known)
            return kTool.UsageError("unknown option '" + arg + "'");
        if (i + 1 >= argc)
            return kTool.MissingValue(arg, arg == "--ticks"  ? kTicksRange
                                           : arg == "--size" ? kSizeRange
                                                             : "a path");
        const char* value = argv[++i];
        if (arg == "--run")
            options->runDir = value;
        else if (arg == "--ticks" && !toolcli::ParseInteger(value, 0, 10000000, &options->ticks))
            return kTool.BadValue(arg, value, kTicksRange);
        else if (arg == "--size" && !ParseSize(value, &options->width, &options->height))
            return kTool.BadValue(arg, value, kSizeRange);
        else if (arg == "--output")
            options->output = value;
        else if (arg == "--model")
            options->model = value;
    }
    options->output = Absolute(options->output);
    options->model = Absolute(options->model);
    return 0;
}

// The back buffer of the frame just drawn, before the swap, bottom row
// first as GL gives it.
std::vector<uint8_t> ReadFrame(int32_t width, int32_t height)
{
    std::vector<uint8_t> rgb(static_cast<size_t>(width) * height * 3);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadBuffer(GL_BACK);
    glReadPixels(0, 0, width, height, GL_RGB, GL_UNSIGNED_BYTE, rgb.data());
    return rgb;
}

// The PNG in memory first: the file gets it whole or not at all. `inputs`
// are the files the run read, which the picture must not replace.
bool WritePng(const std::string& path, const std::vector<uint8_t>& rgb, int32_t width,
              int32_t height, const std::vector<std::string>& inputs, std::string* error)
{
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    // A negative stride: the rows come bottom up.
    png_int_32 stride = -static_cast<png_int_32>(width * 3);
    png_alloc_size_t size = 0;
    if (!png_image_write_get_memory_size(image, size, 0, rgb.data(), stride, nullptr))
    {
        *error = "can't encode the picture: " + std::string(image.message);
        return false;
    }
    std::vector<uint8_t> png(size);
    if (!png_image_write_to_memory(&image, png.data(), &size, 0, rgb.data(), stride, nullptr))
    {
        *error = "can't encode the picture: " + std::string(image.message);
        return false;
    }
    return toolcli::WriteOutput(path, png.data(), size, inputs, error);
}

void CollectEntry(const RarEntryInfo& entry, void* names)
{
    static_cast<std::vector<std::string>*>(names)->push_back(entry.name);
}

// Every entry of the archive read out and checked, as the engine reads
// them; empty when all are sound, the reason otherwise.
std::string ArchiveProblem(const char* archive, const char* password)
{
    char path[kMaxPath];
    MapPath(archive, path, sizeof path);
    std::string name = "cannot read the data archive " + toolcli::Quoted(archive) + ": ";
    if (access(path, R_OK) != 0)
        return name + strerror(errno);
    std::vector<std::string> entries;
    if (!RarListEntries(path, CollectEntry, &entries))
        return name + RarStatusText(RarStatus::NotRar);
    if (entries.empty())
        return name + "it holds no entry";
    for (const std::string& entry : entries)
    {
        FileBuffer file;
        if (!file.Open(entry.c_str(), archive, password))
            return name + RarStatusText(RarLastStatus()) + " in " + toolcli::Quoted(entry);
        file.Close();
    }
    return "";
}

// Opens the model as the demo did; the reason when that fails.
std::string OpenModel(const HatchingDemo& demo, FileBuffer* file)
{
    if (demo.modelFromArchive)
    {
        if (!file->Open(demo.modelPath, demo.archiveName, demo.archivePassword))
            return RarStatusText(RarLastStatus());
        return "";
    }
    struct stat st;
    if (stat(demo.modelPath, &st) != 0)
        return strerror(errno);
    if (S_ISDIR(st.st_mode))
        return strerror(EISDIR);
    if (!file->Open(demo.modelPath, "", nullptr))
        return strerror(errno ? errno : EIO);
    return "";
}

// Empty when every mesh the model file declares was loaded, the reason
// otherwise. The set holds an array as long as the declared count, or as
// the records its bytes have room for where that is fewer, and the mesh
// where loading stopped says why.
std::string ModelProblem(const HatchingDemo& demo)
{
    std::string name = "cannot read the model " + toolcli::Quoted(demo.modelPath) + ": ";
    FileBuffer file;
    std::string problem = OpenModel(demo, &file);
    if (!problem.empty())
        return name + problem;
    uint8_t header[27];
    uint32_t declared = 0;
    if (file.Read(header, sizeof header))
        memcpy(&declared, header + 23, 4);
    uint32_t room = (file.size - file.position) / kMeshRecordHeaderSize;
    uint32_t made = declared < room ? declared : room;
    const MeshSet* set = demo.model;
    uint32_t loaded = set ? set->meshCount : 0;
    if (declared == 0 || !set)
        return name + "it holds no mesh";
    if (loaded >= declared)
        return "";
    std::string mesh = "mesh " + std::to_string(loaded + 1) + " of " + std::to_string(declared);
    if (loaded == made || !set->meshes)
        return name + "it has room for " + std::to_string(room) + " of its " +
               std::to_string(declared) + " meshes";
    switch (set->meshes[loaded].problem)
    {
    case Mesh::PoolFull:
        return name + mesh + " doesn't fit in the vertex memory";
    case Mesh::BadIndex:
        return name + mesh + " names a vertex it doesn't have";
    default:
        return name + mesh + " is cut short";
    }
}

// Empty when the frame shows what was asked for, the reason otherwise.
std::string WhyNoPicture(const HatchingDemo& demo, const Options& options, bool taken,
                         int32_t polygons)
{
    if (demo.archiveName[0])
    {
        std::string problem = ArchiveProblem(demo.archiveName, demo.archivePassword);
        if (!problem.empty())
            return problem;
    }
    std::string problem = ModelProblem(demo);
    if (!problem.empty())
        return problem;
    if (!taken)
        return "the run ended before tick " + std::to_string(options.ticks);
    if (polygons == 0)
        return "nothing was drawn at tick " + std::to_string(options.ticks);
    return "";
}

} // namespace

int main(int argc, char** argv)
{
    if (toolcli::WantsHelp(argc, argv))
        return kTool.Help();
    Options options;
    if (int status = ParseOptions(argc, argv, &options))
        return status;
    if (!options.runDir.empty() && chdir(options.runDir.c_str()) != 0)
        return kTool.Fail("can't enter " + toolcli::Quoted(options.runDir) + ": " +
                          strerror(errno));
    // Headless: no display and no sound device are needed.
    setenv("SDL_VIDEODRIVER", "offscreen", 1);
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    UseManualCounter(kFrequency, kStart, 0);

    atexit(ExitCleanup);
    ProgramOptions program;
    program.width = options.width;
    program.height = options.height;
    program.forceWindowed = true;
    StartProgram(program);

    HatchingDemo* demo =
        options.model.empty() ? new HatchingDemo : new HatchingDemo(options.model.c_str());
    g_engine = demo;
    g_engine->Init();

    // Frame 0 runs no tick, frame f one each: tick N is drawn by frame N.
    std::vector<uint8_t> rgb;
    int32_t polygons = 0;
    for (long frame = 0; frame <= options.ticks; ++frame)
    {
        SetManualCounter(kStart + frame * kTick);
        bool more = g_engine->Frame();
        if (frame == options.ticks)
        {
            rgb = ReadFrame(g_window->width, g_window->height);
            polygons = g_engine->stats.polygonCount;
        }
        g_window->Swap();
        if (!more)
            break;
    }
    std::string problem = WhyNoPicture(*demo, options, !rgb.empty(), polygons);
    char archive[kMaxPath];
    MapPath(demo->archiveName, archive, sizeof archive);
    std::vector<std::string> inputs = {Absolute(archive)};
    if (!options.model.empty())
        inputs.push_back(options.model);
    int32_t width = g_window->width, height = g_window->height;
    // The run ends in order before the verdict, so that the tool's own line
    // comes after everything the program prints while it shuts down.
    ExitCleanup();
    if (problem.empty())
        WritePng(options.output, rgb, width, height, inputs, &problem);
    return problem.empty() ? 0 : kTool.Fail(problem);
}
