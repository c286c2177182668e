// PLACEHOLDER: the resource registries are still to be written here. Until
// then every registry is empty: look-ups find nothing, loads load nothing, and
// the counts are 0. SetShader and SetVertexProgram only clear the current
// pointer, so the state they track stays coherent.
#include "resources/engine_base.h"

void EngineBase::SetTexture(Texture*) {}
void EngineBase::DeleteTexture(Texture*) {}
void EngineBase::DeleteTextureByName(const char*) {}
int32_t EngineBase::DeleteAllTextures()
{
    return 0;
}
void EngineBase::RemoveTextureByName(const char*) {}
Texture* EngineBase::AddTexture(const char*, GLenum, GLenum, GLenum, GLenum)
{
    return nullptr;
}
Texture* EngineBase::FindTexture(const char*)
{
    return nullptr;
}
int32_t EngineBase::ListTextures()
{
    return 0;
}
int32_t EngineBase::ReloadTextures()
{
    return 0;
}
Shader* EngineBase::AddShader(const char*)
{
    return nullptr;
}
void EngineBase::DeleteShaderByName(const char*) {}
int32_t EngineBase::DeleteAllShaders()
{
    return 0;
}
void EngineBase::RemoveShaderByName(const char*) {}
Shader* EngineBase::FindShader(const char*)
{
    return nullptr;
}
void EngineBase::SetShader(Shader* shader)
{
    currentShader = shader;
}
int32_t EngineBase::ListShaders()
{
    return 0;
}
int32_t EngineBase::ReloadShaders()
{
    return 0;
}
void EngineBase::UpdateShaders() {}
VertexProgram* EngineBase::AddVertexProgram(const char*)
{
    return nullptr;
}
void EngineBase::DeleteVertexProgramByName(const char*) {}
int32_t EngineBase::DeleteAllVertexPrograms()
{
    return 0;
}
VertexProgram* EngineBase::FindVertexProgram(const char*)
{
    return nullptr;
}
void EngineBase::SetVertexProgram(VertexProgram* program)
{
    currentVertexProgram = program;
}
int32_t EngineBase::ListVertexPrograms()
{
    return 0;
}
int32_t EngineBase::ReloadVertexPrograms()
{
    return 0;
}
