// The real demo in this process (offscreen window, dummy sound) in a copy of
// the run folder, a tick of 1/60 s a frame after the first, as tessimo-shot.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "app/window.h"
#include "demo/hatching_demo.h"
#include "engine/program_loop.h"
#include "platform/counter.h"
#include "platform/messages.h"
#include "platform/sound.h"

namespace testsupport
{

class DemoEngine
{
public:
    static constexpr int64_t kFrequency = 60000000, kTick = kFrequency / 60;

    ~DemoEngine() { Stop(); }
    // Starts the demo (or `make`'s) in a copy of ini/ and data.rar of `run` under `base`.
    bool Start(const std::string& run, const std::string& base, int32_t width, int32_t height,
               HatchingDemo* (*make)() = nullptr)
    {
        std::string path = base + "/demoXXXXXX";
        if (!mkdtemp(path.data()))
            return false;
        folder = path;
        std::string copy = "cp -r '" + run + "/ini' '" + run + "/data.rar' '" + folder + "/'";
        if (system(copy.c_str()) != 0 || chdir(folder.c_str()) != 0)
            return false;
        setenv("SDL_VIDEODRIVER", "offscreen", 1);
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        setenv("TESSIMO_HEADLESS", "1", 1);
        UseManualCounter(kFrequency, 10 * kFrequency, 0);
        StartProgram(ProgramOptions{width, height, true}); // windowed whatever the settings say
        g_engine = make ? make() : new HatchingDemo;
        g_engine->Init();
        return true;
    }
    // One frame; its back buffer can be read until the next swaps it.
    bool Frame()
    {
        if (frames > 0)
            g_window->Swap();
        SetManualCounter(10 * kFrequency + frames * kTick);
        ++frames;
        return g_engine->Frame();
    }
    // The engine's orderly end (console.log saved), the window, the sound.
    void Stop()
    {
        if (!g_engine)
            return;
        delete g_engine;
        g_engine = nullptr;
        g_window->Destroy();
        FSOUND_Close();
        ClearMessageQueue();
        UseSystemCounter();
    }
    std::string folder;
    int64_t frames = 0;
};

} // namespace testsupport
