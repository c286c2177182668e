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

    statsTimer.Tick();
    statsElapsed += statsTimer.delta;
    framesThisSecond += 1;
    if (statsElapsed > 1.0f)
    {
        statsElapsed = 0;
        fps = framesThisSecond;
        framesThisSecond = 0;
        updatePercent = static_cast<int32_t>(updateSeconds * 100);
        renderPercent = static_cast<int32_t>(renderSeconds * 100);
        updateSeconds = renderSeconds = 0;
    }

    // Time lost to a stall of a second or more is dropped, not caught up.
    stepTimer.Tick();
    stepElapsed += stepTimer.delta;
    if (stepElapsed >= 1.0f)
        stepElapsed = 0;

    updateTimer.Tick();
    while (stepElapsed >= kTickSeconds)
    {
        Update();
        stepElapsed -= kTickSeconds;
    }
    updateTimer.Tick();
    updateSeconds += updateTimer.delta;

    polygonCount = 0;
    renderTimer.Tick();
    return true;
}

void Engine::EndFrame()
{
    renderTimer.Tick();
    renderSeconds += renderTimer.delta;
}

int32_t Engine::GetFps()
{
    return fps;
}

void Engine::Begin2D(double width, double height)
{
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(0, width, height, 0, -1, 1);
    if (lightingEnabled)
    {
        glDisable(GL_LIGHTING);
        lightingEnabled = 0;
    }
    if (depthTestEnabled)
    {
        glDisable(GL_DEPTH_TEST);
        depthTestEnabled = 0;
    }
    glMatrixMode(GL_MODELVIEW);
}

void Engine::End2D()
{
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
}
