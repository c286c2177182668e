// The program's life around the application object in g_engine, shared by
// every program built on the engine (tessimo2, tessimo-shot, the frame
// benchmark, the demo tests): settings, window, GL, sound, the message and
// frame loop, and the orderly teardown in ExitCleanup. The program brings
// only its Engine subclass:
//
//     atexit(ExitCleanup);
//     StartProgram(ProgramOptions());   // ends the process if no window
//     g_engine = new HatchingDemo;      // the program's own Engine subclass
//     g_engine->Init();
//     MainLoop();
#pragma once

#include <cstdint>

struct ProgramOptions
{
    // Window size instead of the settings' (0: as the settings say), and a
    // window instead of fullscreen whatever the settings say.
    int32_t width = 0;
    int32_t height = 0;
    bool forceWindowed = false;
};

// Reads "ini\tessimo2.ini" of the working directory, opens the window (the
// process ends with status 1 if it can't), sets the perspective and the GL
// defaults, and starts the sound library.
void StartProgram(const ProgramOptions& options);
// Drains the queue before each frame; ends on WM_QUIT or when a frame says
// so (after that frame has been presented).
void MainLoop();
// Runs on every way out through exit(): sound first, then the engine while
// the window and its GL context still exist, then the window, then input.
void ExitCleanup();
