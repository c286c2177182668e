// PLACEHOLDER: the resource registries arrive with the resources subsystem
// (resources/registries.cpp), which replaces this whole file. Until then
// every registry is empty: look-ups find nothing, loads load nothing, and
// the counts are 0. SetShader and SetVertexProgram only clear the current
// pointer, so the state they track stays coherent.
#include "engine/engine.h"

void Engine::SetTexture(Texture*) {}
void Engine::DeleteTexture(Texture*) {}
void Engine::DeleteTextureByName(const char*) {}
int32_t Engine::DeleteAllTextures()
{
    return 0;
}
void Engine::RemoveTextureByName(const char*) {}
Texture* Engine::AddTexture(const char*, GLenum, GLenum, GLenum, GLenum)
{
    return nullptr;
}
Texture* Engine::FindTexture(const char*)
{
    return nullptr;
}
int32_t Engine::ListTextures()
{
    return 0;
}
int32_t Engine::ReloadTextures()
{
    return 0;
}
Shader* Engine::AddShader(const char*)
{
    return nullptr;
}
void Engine::DeleteShaderByName(const char*) {}
int32_t Engine::DeleteAllShaders()
{
    return 0;
}
void Engine::RemoveShaderByName(const char*) {}
Shader* Engine::FindShader(const char*)
{
    return nullptr;
}
void Engine::SetShader(Shader* shader)
{
    currentShader = shader;
}
int32_t Engine::ListShaders()
{
    return 0;
}
int32_t Engine::ReloadShaders()
{
    return 0;
}
void Engine::UpdateShaders() {}
VertexProgram* Engine::AddVertexProgram(const char*)
{
    return nullptr;
}
void Engine::DeleteVertexProgramByName(const char*) {}
int32_t Engine::DeleteAllVertexPrograms()
{
    return 0;
}
VertexProgram* Engine::FindVertexProgram(const char*)
{
    return nullptr;
}
void Engine::SetVertexProgram(VertexProgram* program)
{
    currentVertexProgram = program;
}
int32_t Engine::ListVertexPrograms()
{
    return 0;
}
int32_t Engine::ReloadVertexPrograms()
{
    return 0;
}
