#include "engine/engine.h"

#include <unistd.h>

#include "app/report.h"
#include "console/console.h"
#include "platform/path_map.h"
#include "resources/screen_font.h"
#include "resources/vertex_array_pool.h"

namespace
{

// One tick of the update clock: the single-precision value of 1/60.
constexpr float kTickSeconds = 0.016666668f;

// The frame driver's accumulators, shared by every engine object.
float statsElapsed = 0;
float stepElapsed = 0;

} // namespace

// The definitions' path is formed in a buffer as deep as the start
// directory: FormatString's 256 characters would cut a deep folder's path.
Engine::Engine()
{
    if (!getcwd(startDirectory, sizeof startDirectory))
        startDirectory[0] = 0;
    char path[kMaxPath];
    if (startDirectory[0] && JoinPath(startDirectory, "Ini\\Shaders.ini", path, sizeof path))
        shaderDefinitions.SetFile(path);
    else
        Report(ToLog, Frame::Problem, "no path for <Ini\\Shaders.ini> in the working directory");
}

Engine::~Engine()
{
    // A subclass has deleted what it owns by now; the resources go next,
    // and the console reports them and saves its text before it goes.
    int32_t shadersDeleted = DeleteAllShaders();
    Report(ToConsole, Frame::None, "> %d shaders have been deleted", shadersDeleted);
    int32_t texturesDeleted = DeleteAllTextures();
    Report(ToConsole, Frame::None, "> %d textures have been deleted", texturesDeleted);
    int32_t programsDeleted = DeleteAllVertexPrograms();
    Report(ToConsole, Frame::None, "> %d vertex program have been deleted", programsDeleted);
    if (console)
        console->Execute("savelog console.log");
    DetachConsole(this);
    // Font, console, then the vertex pool.
    delete font;
    font = nullptr;
    delete console;
    console = nullptr;
    delete vertexPool;
    vertexPool = nullptr;
}

bool Engine::Frame()
{
    glClear(clearMask);
    glLoadIdentity();

    stats.statsTimer.Tick();
    statsElapsed += stats.statsTimer.delta;
    stats.framesThisSecond += 1;
    if (statsElapsed > 1.0f)
    {
        statsElapsed = 0;
        stats.fps = stats.framesThisSecond;
        stats.framesThisSecond = 0;
        stats.updatePercent = static_cast<int32_t>(stats.updateSeconds * 100);
        stats.renderPercent = static_cast<int32_t>(stats.renderSeconds * 100);
        stats.updateSeconds = stats.renderSeconds = 0;
    }

    // Time lost to a stall of a second or more is dropped, not caught up.
    stats.stepTimer.Tick();
    stepElapsed += stats.stepTimer.delta;
    if (stepElapsed >= 1.0f)
        stepElapsed = 0;

    stats.updateTimer.Tick();
    while (stepElapsed >= kTickSeconds)
    {
        Update();
        stepElapsed -= kTickSeconds;
    }
    stats.updateTimer.Tick();
    stats.updateSeconds += stats.updateTimer.delta;

    stats.polygonCount = 0;
    stats.renderTimer.Tick();
    return true;
}

void Engine::EndFrame()
{
    stats.renderTimer.Tick();
    stats.renderSeconds += stats.renderTimer.delta;
}

int32_t Engine::GetFps()
{
    return stats.fps;
}

void Engine::Begin2D(double width, double height)
{
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(0, width, height, 0, -1, 1);
    renderState.Enable(GL_LIGHTING, false);
    renderState.Enable(GL_DEPTH_TEST, false);
    glMatrixMode(GL_MODELVIEW);
}

void Engine::End2D()
{
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
}
