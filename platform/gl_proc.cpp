#include "platform/gl_proc.h"

#include <SDL.h>

void* GetGLProcAddress(const char* name)
{
    if (!name || SDL_GL_GetCurrentContext() == nullptr)
        return nullptr;
    return SDL_GL_GetProcAddress(name);
}
