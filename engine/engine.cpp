#include "engine/engine.h"

#include <GL/glu.h>
#include <cstdarg>
#include <cstdio>
#include <unistd.h>

#include "app/log.h"
#include "console/console.h"

Engine* g_engine = nullptr;

namespace
{

// One tick of the update clock: the single-precision value of 1/60.
constexpr float kTickSeconds = 0.016666668f;

// The frame driver's accumulators, shared by every engine object.
float statsElapsed = 0;
float stepElapsed = 0;

// The last perspective, for the display mode switch to set it again.
float perspectiveWidth = 0;
float perspectiveHeight = 0;
float perspectiveNear = 0;
float perspectiveFar = 0;

char formatBuffer[256];

} // namespace

Engine::Engine()
{
    if (!getcwd(startDirectory, sizeof startDirectory))
        startDirectory[0] = 0;
    shaderDefinitions.SetFile(FormatString("%s\\Ini\\Shaders.ini", startDirectory));
}

Engine::~Engine()
{
    // A subclass has deleted what it owns by now; the resources go next,
    // and the console reports them and saves its text before it goes.
    int32_t shadersDeleted = DeleteAllShaders();
    if (console)
        console->Printf("> %d shaders have been deleted", shadersDeleted);
    int32_t texturesDeleted = DeleteAllTextures();
    if (console)
        console->Printf("> %d textures have been deleted", texturesDeleted);
    int32_t programsDeleted = DeleteAllVertexPrograms();
    if (console)
    {
        console->Printf("> %d vertex program have been deleted", programsDeleted);
        console->SaveLog("console.log");
    }
    // The font and the vertex pool are deleted here, before the console,
    // once their subsystems exist.
    delete console;
    console = nullptr;
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

bool InitGL()
{
    auto text = [](GLenum name)
    {
        const GLubyte* s = glGetString(name);
        return s ? reinterpret_cast<const char*>(s) : "";
    };
    if (FILE* log = OpenLog("at"))
    {
        fprintf(log, "- init openGL engine :\n");
        fprintf(log, "    + vendor   : %s\n", text(GL_VENDOR));
        fprintf(log, "    + renderer : %s\n", text(GL_RENDERER));
        fprintf(log, "    + version  : %s\n", text(GL_VERSION));
        fprintf(log, "    + listing all extensions : %s\n", text(GL_EXTENSIONS));
        fclose(log);
    }
    glClearColor(0.5f, 0, 0, 0);
    glClearDepth(1.0);
    glClearStencil(0);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_NICEST);
    glEnable(GL_TEXTURE_2D);
    glShadeModel(GL_SMOOTH);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, 0);
    glEnable(GL_LIGHTING);
    return true;
}

void SetPerspective(int32_t width, int32_t height, float nearPlane, float farPlane)
{
    if (height == 0)
        height = 1;
    glViewport(0, 0, width, height);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    float aspect = static_cast<float>(static_cast<double>(width) / static_cast<double>(height));
    gluPerspective(45.0, aspect, nearPlane, farPlane);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    perspectiveWidth = static_cast<float>(width);
    perspectiveHeight = static_cast<float>(height);
    perspectiveNear = nearPlane;
    perspectiveFar = farPlane;
}

void GetPerspective(float* width, float* height, float* nearPlane, float* farPlane)
{
    *width = perspectiveWidth;
    *height = perspectiveHeight;
    *nearPlane = perspectiveNear;
    *farPlane = perspectiveFar;
}

const char* FormatString(const char* format, ...)
{
    if (!format)
        return nullptr;
    va_list args;
    va_start(args, format);
    vsnprintf(formatBuffer, sizeof formatBuffer, format, args);
    va_end(args);
    return formatBuffer;
}
