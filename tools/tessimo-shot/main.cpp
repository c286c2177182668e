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
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <png.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "app/gl_entry_points.h"
#include "app/window.h"
#include "demo/hatching_demo.h"
#include "demo/program.h"
#include "platform/counter.h"

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

void Usage()
{
    fprintf(stderr, "usage: tessimo-shot [--run DIR] [--ticks N] [--size WxH] "
                    "[--output FILE.png] [--model FILE.tsm]\n");
}

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

bool ParseOptions(int argc, char** argv, Options* options)
{
    for (int i = 1; i < argc; ++i)
    {
        std::string arg = argv[i];
        bool hasValue = i + 1 < argc;
        if (arg == "--run" && hasValue)
            options->runDir = argv[++i];
        else if (arg == "--ticks" && hasValue)
        {
            char* end = nullptr;
            errno = 0;
            options->ticks = strtol(argv[++i], &end, 10);
            if (*end || errno || options->ticks < 0 || options->ticks > 10000000)
                return false;
        }
        else if (arg == "--size" && hasValue)
        {
            if (!ParseSize(argv[++i], &options->width, &options->height))
                return false;
        }
        else if (arg == "--output" && hasValue)
            options->output = argv[++i];
        else if (arg == "--model" && hasValue)
            options->model = argv[++i];
        else
            return false;
    }
    options->output = Absolute(options->output);
    options->model = Absolute(options->model);
    return true;
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

bool WritePng(const std::string& path, const std::vector<uint8_t>& rgb, int32_t width,
              int32_t height)
{
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGB;
    // A negative stride: the rows come bottom up.
    png_int_32 stride = -static_cast<png_int_32>(width * 3);
    return png_image_write_to_file(&image, path.c_str(), 0, rgb.data(), stride, nullptr) != 0;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, &options))
    {
        Usage();
        return 2;
    }
    if (!options.runDir.empty() && chdir(options.runDir.c_str()) != 0)
    {
        fprintf(stderr, "tessimo-shot: can't enter '%s': %s\n", options.runDir.c_str(),
                strerror(errno));
        return 1;
    }
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

    g_engine = options.model.empty() ? new HatchingDemo : new HatchingDemo(options.model.c_str());
    g_engine->Init();

    // Frame 0 runs no tick, frame f one each: tick N is drawn by frame N.
    std::vector<uint8_t> rgb;
    for (long frame = 0; frame <= options.ticks; ++frame)
    {
        SetManualCounter(kStart + frame * kTick);
        bool more = g_engine->Frame();
        if (frame == options.ticks)
            rgb = ReadFrame(g_window->width, g_window->height);
        g_window->Swap();
        if (!more)
            break;
    }
    if (rgb.empty() || !WritePng(options.output, rgb, g_window->width, g_window->height))
    {
        fprintf(stderr, "tessimo-shot: can't write '%s'\n", options.output.c_str());
        return 1;
    }
    return 0;
}
