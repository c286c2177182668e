#include "console/console_commands.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "app/gl_entry_points.h"
#include "app/gl_setup.h"
#include "app/window.h"
#include "console/console_texts.h"
#include "platform/messages.h"
#include "resources/engine_base.h"

namespace
{

// The field of view r_fov accepts, in degrees, and its fixed planes.
constexpr float kMinFov = 30;
constexpr float kMaxFov = 150;
constexpr float kNearPlane = 0.1f;
constexpr double kFarPlane = 1000.0;

// The one result line every command composes; the next command overwrites it.
char consoleMessage[1024];

const char* Say(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

const char* Say(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    vsnprintf(consoleMessage, sizeof consoleMessage, format, args);
    va_end(args);
    return consoleMessage;
}

const char* DriverString(GLenum name)
{
    const GLubyte* text = glGetString(name);
    return text ? reinterpret_cast<const char*>(text) : "";
}

// The window's size for the projections, at least 1 high.
void WindowSize(int32_t* width, int32_t* height)
{
    *width = g_window ? g_window->width : 0;
    *height = g_window && g_window->height > 0 ? g_window->height : 1;
}

// ---------------------------------------------------------------------------
// GL state

const char* Quit()
{
    PostQuitMessage(0);
    return nullptr;
}

const char* PolygonMode(const char* mode)
{
    GLenum glMode = GL_FILL;
    if (strcmp(mode, "line") == 0)
        glMode = GL_LINE;
    else if (strcmp(mode, "point") == 0)
        glMode = GL_POINT;
    glPolygonMode(GL_FRONT_AND_BACK, glMode);
    return Say(consoletext::kPolygonMode, mode);
}

const char* FlatShading()
{
    glShadeModel(GL_FLAT);
    return Say("%s", consoletext::kFlatShading);
}

const char* SmoothShading()
{
    glShadeModel(GL_SMOOTH);
    return Say("%s", consoletext::kSmoothShading);
}

// ---------------------------------------------------------------------------
// Driver queries

const char* Version()
{
    return Say(consoletext::kDriverString, DriverString(GL_VERSION));
}

const char* Renderer()
{
    return Say(consoletext::kDriverString, DriverString(GL_RENDERER));
}

const char* Vendor()
{
    return Say(consoletext::kDriverString, DriverString(GL_VENDOR));
}

// Asks the driver afresh, whatever the capability probes found at start-up.
const char* Extension(const char* name)
{
    bool found = ExtensionListContains(DriverString(GL_EXTENSIONS), name);
    return Say(found ? consoletext::kExtensionFound : consoletext::kExtensionNotFound, name);
}

// The error's own text, with no prefix; no line when none is pending.
const char* CheckError()
{
    GLenum error = glGetError();
    if (error == GL_NO_ERROR)
        return nullptr;
    const GLubyte* text = gluErrorString(error);
    return Say("%s", text ? reinterpret_cast<const char*>(text) : "");
}

// ---------------------------------------------------------------------------
// Projection and display mode

// The projection is set outside the frame's 2D mode, then the 2D mode comes
// back. The value isn't kept: it stands until a projection replaces it.
const char* Fov(float fov)
{
    // Written so that a value that is no number at all gets the lower limit.
    if (!(fov >= kMinFov))
        fov = kMinFov;
    else if (fov > kMaxFov)
        fov = kMaxFov;
    int32_t width = 0;
    int32_t height = 1;
    WindowSize(&width, &height);
    if (g_engine)
        g_engine->End2D();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluPerspective(fov, static_cast<float>(width) / static_cast<float>(height), kNearPlane,
                   kFarPlane);
    glMatrixMode(GL_MODELVIEW);
    if (g_engine)
        g_engine->Begin2D(width, height);
    return Say(consoletext::kFovSet, static_cast<double>(fov));
}

// Window and context made anew, then the projection of start-up, the GL
// defaults, the 2D mode of the frame, and the textures, which the new
// context doesn't hold (their count lands in the log before this line).
const char* SwitchMode(int32_t windowed, const char* line)
{
    if (g_engine)
        g_engine->End2D();
    if (g_window)
        g_window->Recreate(windowed);
    float width = 0;
    float height = 0;
    float nearPlane = 0;
    float farPlane = 0;
    GetPerspective(&width, &height, &nearPlane, &farPlane);
    SetPerspective(static_cast<int32_t>(width), static_cast<int32_t>(height), nearPlane, farPlane);
    InitGL();
    if (g_engine)
    {
        g_engine->Begin2D(g_window ? g_window->width : 0, g_window ? g_window->height : 0);
        if (g_engine->console)
            g_engine->console->Execute(consoletext::kReloadTexturesLine);
    }
    return Say("%s", line);
}

const char* FullscreenMode()
{
    return SwitchMode(0, consoletext::kFullscreen);
}

const char* WindowedMode()
{
    return SwitchMode(1, consoletext::kWindowed);
}

// ---------------------------------------------------------------------------
// Textures and shaders: the same five commands over either registry, each
// with the registry's operations and its own result lines.

struct RegistryCommands
{
    bool (*add)(EngineBase* engine, const char* name);
    bool (*find)(EngineBase* engine, const char* name);
    void (*remove)(EngineBase* engine, const char* name);
    void (*del)(EngineBase* engine, const char* name);
    int32_t (*list)(EngineBase* engine);
    int32_t (*reload)(EngineBase* engine);
    const char* added;
    const char* notAdded;
    const char* deleted;
    const char* removed;
    const char* notFound;
    const char* listed;
    const char* reloaded;
};

constexpr RegistryCommands kTextures = {
    [](EngineBase* e, const char* name)
    {
        return e->AddTexture(name, GL_REPEAT, GL_REPEAT, GL_LINEAR, GL_LINEAR_MIPMAP_NEAREST) !=
               nullptr;
    },
    [](EngineBase* e, const char* name) { return e->FindTexture(name) != nullptr; },
    [](EngineBase* e, const char* name) { e->RemoveTextureByName(name); },
    [](EngineBase* e, const char* name) { e->DeleteTextureByName(name); },
    [](EngineBase* e) { return e->ListTextures(); },
    [](EngineBase* e) { return e->ReloadTextures(); },
    consoletext::kTextureAdded,
    consoletext::kTextureNotAdded,
    consoletext::kTextureDeleted,
    consoletext::kTextureRemoved,
    consoletext::kTextureNotFound,
    consoletext::kTexturesListed,
    consoletext::kTexturesReloaded,
};

constexpr RegistryCommands kShaders = {
    [](EngineBase* e, const char* name) { return e->AddShader(name) != nullptr; },
    [](EngineBase* e, const char* name) { return e->FindShader(name) != nullptr; },
    [](EngineBase* e, const char* name) { e->RemoveShaderByName(name); },
    [](EngineBase* e, const char* name) { e->DeleteShaderByName(name); },
    [](EngineBase* e) { return e->ListShaders(); },
    [](EngineBase* e) { return e->ReloadShaders(); },
    consoletext::kShaderAdded,
    consoletext::kShaderNotAdded,
    consoletext::kShaderDeleted,
    consoletext::kShaderRemoved,
    consoletext::kShaderNotFound,
    consoletext::kShadersListed,
    consoletext::kShadersReloaded,
};

template <const RegistryCommands& R> const char* Add(const char* name)
{
    bool added = g_engine && R.add(g_engine, name);
    return Say(added ? R.added : R.notAdded, name);
}

template <const RegistryCommands& R> const char* Delete(const char* name)
{
    if (!g_engine || !R.find(g_engine, name))
        return Say(R.notFound, name);
    R.del(g_engine, name);
    return Say(R.deleted, name);
}

template <const RegistryCommands& R> const char* Remove(const char* name)
{
    if (!g_engine || !R.find(g_engine, name))
        return Say(R.notFound, name);
    R.remove(g_engine, name);
    return Say(R.removed, name);
}

template <const RegistryCommands& R> const char* List()
{
    return Say(R.listed, g_engine ? R.list(g_engine) : 0);
}

template <const RegistryCommands& R> const char* Reload()
{
    return Say(R.reloaded, g_engine ? R.reload(g_engine) : 0);
}

} // namespace

const ConsoleCommandEntry kConsoleCommands[] = {
    {"quit", CommandVoid, Quit},
    {"r_polygonemode", CommandString, PolygonMode},
    {"r_flatshading", CommandVoid, FlatShading},
    {"r_smoothshading", CommandVoid, SmoothShading},
    {"gl_version", CommandVoid, Version},
    {"gl_renderer", CommandVoid, Renderer},
    {"gl_vendor", CommandVoid, Vendor},
    {"gl_extension", CommandString, Extension},
    {"gl_checkerror", CommandVoid, CheckError},
    {"r_fov", CommandFloat, Fov},
    {"r_addtexture", CommandString, Add<kTextures>},
    {"r_deltexture", CommandString, Delete<kTextures>},
    {"r_removetexture", CommandString, Remove<kTextures>},
    {"r_fullscreenmode", CommandVoid, FullscreenMode},
    {"r_windowedmode", CommandVoid, WindowedMode},
    {"r_addshader", CommandString, Add<kShaders>},
    {"r_delshader", CommandString, Delete<kShaders>},
    {"r_removeshader", CommandString, Remove<kShaders>},
    {"r_listshaders", CommandVoid, List<kShaders>},
    {"r_reloadshaders", CommandVoid, Reload<kShaders>},
    {"r_listtextures", CommandVoid, List<kTextures>},
    {"r_reloadtextures", CommandVoid, Reload<kTextures>},
};

const int kConsoleCommandCount = sizeof kConsoleCommands / sizeof kConsoleCommands[0];

void RegisterConsoleCommands(ConsoleBase& console)
{
    for (const ConsoleCommandEntry& entry : kConsoleCommands)
        console.AddCommand(entry.name, entry.kind, entry.handler);
}
