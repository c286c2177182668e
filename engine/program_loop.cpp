#include "engine/program_loop.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "app/gl_setup.h"
#include "app/ini_file.h"
#include "app/input.h"
#include "app/report.h"
#include "app/sound_startup.h"
#include "app/window.h"
#include "engine/engine.h"
#include "platform/messages.h"
#include "platform/path_map.h"
#include "platform/sound.h"

namespace
{

const char* const kTitle = "Tessimo 2 Engine";

// The start directory, as deep as the system allows. Where it can't be
// read (deeper than any path the system takes), the run ends with a line in
// the log: the settings would otherwise come from another folder.
void ReadDirectory(char (&out)[kMaxPath])
{
    if (getcwd(out, sizeof out))
        return;
    Report(ToLog, Frame::Problem, "cannot read the working directory: %s", strerror(errno));
    exit(1);
}

// "<directory>\<name>": the file layer maps the separator and letter case.
// A path too long to open ends the run as above.
void FilePath(char (&out)[kMaxPath], const char* directory, const char* name)
{
    if (JoinPath(directory, name, out, sizeof out))
        return;
    Report(ToLog, Frame::Problem, "path too long: <%s\\%s>", directory, name);
    exit(1);
}

// Opens the window the settings ask for; on failure the box and log line
// are out already, and the process ends with status 1.
void OpenWindow(IniFile& settings, const ProgramOptions& options)
{
    bool fullscreen = settings.GetBool("fullscreen", false);
    int32_t zbuffer = settings.GetInt("zbuffer", 16);
    int32_t stencilbpp = settings.GetInt("stencilbpp", 0);
    int32_t bpp = settings.GetInt("bpp", 16);
    int32_t height = settings.GetInt("window_height", 600);
    int32_t width = settings.GetInt("window_width", 800);
    if (options.width > 0 && options.height > 0)
    {
        width = options.width;
        height = options.height;
    }
    if (options.forceWindowed)
        fullscreen = false;
    if (!g_window->Create(kTitle, width, height, bpp, stencilbpp, zbuffer, fullscreen ? 0 : 1))
    {
        g_window->Destroy();
        exit(1);
    }
}

// The mixer and output settings name entries of the token file; each text
// is used as the token key at once, before the shared buffer changes.
void StartSound(IniFile& settings, IniFile& tokens)
{
    int32_t maxchannels = settings.GetInt("maxchannels", 32);
    int32_t mixrate = settings.GetInt("mixrate", 44100);
    int32_t mixer = tokens.GetHex(settings.GetString("mixer", "FSOUND_MIXER_AUTODETECT"), -1);
    int32_t driver = settings.GetInt("driver", 0);
    int32_t output = tokens.GetHex(settings.GetString("output", "FSOUND_OUTPUT_DSOUND"), -1);
    SoundStartup(output, driver, mixer, mixrate, maxchannels);
}

} // namespace

void StartProgram(const ProgramOptions& options)
{
    IniFile settings;
    IniFile tokens;
    char directory[kMaxPath];
    ReadDirectory(directory);
    char path[kMaxPath];
    FilePath(path, directory, "ini\\tessimo2.ini");
    settings.SetFile(path);
    settings.SetSection("3D engine");
    OpenWindow(settings, options);

    SetPerspective(g_window->width, g_window->height, 0.1, 1000.0);
    InitGL();

    FilePath(path, directory, "ini\\tokens.ini");
    tokens.SetFile(path);
    tokens.SetSection("FMOD");
    settings.SetSection("Sound");
    StartSound(settings, tokens);
}

void MainLoop()
{
    bool quit = false;
    MSG msg;
    for (;;)
    {
        if (PeekMessage(&msg))
        {
            if (msg.message == WM_QUIT)
                return;
            TranslateMessage(&msg);
            DispatchMessage(&msg);
            continue;
        }
        if (!g_engine->Frame())
            quit = true;
        g_window->Swap();
        if (quit)
            return;
    }
}

void ExitCleanup()
{
    FSOUND_Close();
    if (g_engine)
    {
        delete g_engine;
        g_engine = nullptr;
    }
    if (g_window)
    {
        g_window->Destroy();
        delete g_window;
        g_window = nullptr;
    }
    if (g_input)
    {
        delete g_input;
        g_input = nullptr;
    }
}
