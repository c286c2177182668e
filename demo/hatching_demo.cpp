#include "demo/hatching_demo.h"

#include <cstring>

#include "app/input.h"
#include "app/window.h"
#include "platform/keys.h"
#include "resources/console_base.h"
#include "resources/vertex_array_pool.h"

namespace
{

const char* const kArchiveName = "data.rar";
const char* const kArchivePassword = "mirodune";

} // namespace

bool HatchingDemo::Init()
{
    strcpy(g_engine->archiveName, kArchiveName);
    strcpy(g_engine->archivePassword, kArchivePassword);
    Engine::Init();
    // White paper, and the stencil buffer is cleared with the rest.
    glClearColor(1, 1, 1, 1);
    clearMask = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT;
    // One MiB of main memory for the meshes' vertices; the pool publishes
    // r_freeVAmemory on the console.
    vertexPool->Init(1048576, 0, 32, 0, 0);
    return true;
}

bool HatchingDemo::Frame()
{
    Engine::Frame();
    if (g_input->keys[VK_ESCAPE])
        return false;
    // The console sees the keys and draws in the 2D mode, over the picture.
    Begin2D(g_window->width, g_window->height);
    console->Update(g_input);
    End2D();
    EndFrame();
    return true;
}
