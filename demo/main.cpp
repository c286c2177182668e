// The program: the demo between StartProgram and ExitCleanup.
#include <cstdlib>

#include "app/window.h"
#include "demo/hatching_demo.h"
#include "engine/program_loop.h"
#include "platform/message_box.h"

int main(int, char**)
{
    atexit(ExitCleanup);
    StartProgram(ProgramOptions());
    g_engine = new HatchingDemo;
    if (!g_engine->Init())
    {
        g_window->Destroy();
        MessageBox("Error while loading", "ERROR", MB_ICONEXCLAMATION);
        return 0;
    }
    MainLoop();
    return 0;
}
