// The program: the demo between StartProgram and ExitCleanup.
#include <cstdlib>

#include "app/report.h"
#include "app/window.h"
#include "demo/hatching_demo.h"
#include "engine/program_loop.h"

int main(int, char**)
{
    atexit(ExitCleanup);
    StartProgram(ProgramOptions());
    g_engine = new HatchingDemo;
    if (!g_engine->Init())
    {
        g_window->Destroy();
        ReportBox(Frame::None, "Error while loading", "ERROR", MB_ICONEXCLAMATION);
        return 0;
    }
    MainLoop();
    return 0;
}
