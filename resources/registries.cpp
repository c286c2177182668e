// The engine's three registries: textures, shaders and vertex programs.
//
// A resource is asked for by name and exists once; the name of a texture or
// a program is its file name, that of a shader its section name. Each list
// owns its objects and keeps registration order. Every operation that walks
// a list uses the engine's one position for that list (textureCursor,
// shaderCursor, vertexProgramCursor), so no operation on a registry may run
// from inside a walk of the same registry; reloading shaders does walk the
// other two through AddTexture and AddVertexProgram.
//
// Deleting what is still in use is made safe here: before an object is
// destroyed, the current pointers, the stages and programs of every shader
// alive and the font stop pointing at it, and the listeners hear of it.
#include "resources/registries.h"

#include <cstring>
#include <vector>

#include "resources/console_base.h"
#include "resources/engine_base.h"
#include "resources/resource_list.h"
#include "resources/screen_font.h"
#include "resources/shader.h"
#include "resources/texture.h"
#include "resources/vertex_program.h"

namespace
{

struct Listener
{
    ResourceListener function;
    void* user;
};

// Never destroyed: the engine may be deleted by an exit handler, after
// the statics made since its registration are gone.
std::vector<Listener>& Listeners()
{
    static std::vector<Listener>* listeners = new std::vector<Listener>;
    return *listeners;
}

// A copy is walked, so that a listener may register or leave meanwhile.
void TellListeners(ResourceEvent event, ResourceKind kind, void* object)
{
    const std::vector<Listener> listeners = Listeners();
    for (const Listener& listener : listeners)
        listener.function(event, kind, object, listener.user);
}

template <class T> T* At(const ResourceListNode* node)
{
    return static_cast<T*>(node->object);
}

// The object of that name, with the list's position left at it (or at the
// end, null, when there is none).
template <class T> T* FindByName(ResourceList* list, ResourceListNode*& cursor, const char* name)
{
    cursor = list->First();
    if (!name)
        cursor = nullptr;
    for (; cursor; cursor = list->Next(cursor))
        if (strcmp(At<T>(cursor)->name, name) == 0)
            return At<T>(cursor);
    return nullptr;
}

// One console line per name, with no prefix; a name is text, not a format.
template <class T>
int32_t ListNames(ResourceList* list, ResourceListNode*& cursor, ConsoleBase* console)
{
    int32_t listed = 0;
    for (cursor = list->First(); cursor; cursor = list->Next(cursor), ++listed)
        if (console)
            console->Printf("%s", At<T>(cursor)->name);
    return listed;
}

} // namespace

bool AddResourceListener(ResourceListener listener, void* user)
{
    if (!listener)
        return false;
    Listeners().push_back({listener, user});
    return true;
}

void RemoveResourceListener(ResourceListener listener, void* user)
{
    std::vector<Listener>& listeners = Listeners();
    for (size_t i = 0; i < listeners.size(); ++i)
        if (listeners[i].function == listener && listeners[i].user == user)
        {
            listeners.erase(listeners.begin() + static_cast<std::ptrdiff_t>(i));
            return;
        }
}

// --- Letting go of an object about to be destroyed -------------------------
// Textures and programs are let go of by every shader alive, not only the
// listed ones: a removed shader goes on drawing for whoever holds it.

static void ForgetTexture(EngineBase* e, Texture* texture)
{
    if (e->currentTexture == texture)
        e->currentTexture = nullptr;
    for (Shader* shader = Shader::FirstLive(); shader; shader = shader->NextLive())
        for (ShaderStage& stage : shader->stages)
            if (stage.texture == texture)
                stage.texture = nullptr;
    TellListeners(ResourceEvent::Released, ResourceKind::Texture, texture);
}

static void ForgetShader(EngineBase* e, Shader* shader)
{
    if (e->currentShader == shader)
        e->currentShader = nullptr;
    if (e->font && e->font->shader == shader)
        e->font->shader = nullptr;
    TellListeners(ResourceEvent::Released, ResourceKind::Shader, shader);
}

static void ForgetVertexProgram(EngineBase* e, VertexProgram* program)
{
    if (e->currentVertexProgram == program)
        e->currentVertexProgram = nullptr;
    for (Shader* shader = Shader::FirstLive(); shader; shader = shader->NextLive())
        if (shader->vertexProgram == program)
        {
            shader->vertexProgram = nullptr;
            shader->hasVertexProgram = false;
        }
    TellListeners(ResourceEvent::Released, ResourceKind::VertexProgram, program);
}

// --- Textures ----------------------------------------------------------------

// Only the pointer counts: the current texture set again sends nothing, even
// when a shader has bound another one since.
void EngineBase::SetTexture(Texture* texture)
{
    if (texture == currentTexture)
        return;
    if (currentTexture)
        currentTexture->Unbind();
    if (texture)
        texture->Bind();
    currentTexture = texture;
}

void EngineBase::DeleteTexture(Texture* texture)
{
    for (textureCursor = textures->First(); textureCursor;
         textureCursor = textures->Next(textureCursor))
    {
        if (At<Texture>(textureCursor) != texture)
            continue;
        textureCursor = nullptr;
        textures->Remove(texture);
        ForgetTexture(this, texture);
        delete texture;
        return;
    }
}

void EngineBase::DeleteTextureByName(const char* name)
{
    Texture* texture = FindTexture(name);
    if (!texture)
        return;
    textureCursor = nullptr;
    textures->Remove(texture);
    ForgetTexture(this, texture);
    delete texture;
}

// The current texture doesn't survive its object: it is cleared (without a
// GL call), so that the next SetTexture doesn't reach a deleted object.
int32_t EngineBase::DeleteAllTextures()
{
    int32_t deleted = 0;
    while ((textureCursor = textures->First()))
    {
        Texture* texture = At<Texture>(textureCursor);
        textureCursor = textures->Next(textureCursor);
        textures->Remove(texture);
        ForgetTexture(this, texture);
        delete texture;
        ++deleted;
    }
    return deleted;
}

// The texture lives on, owned by nobody: whoever kept its pointer may go on
// using it, and a later AddTexture of the name loads the file anew.
void EngineBase::RemoveTextureByName(const char* name)
{
    Texture* texture = FindTexture(name);
    if (!texture)
        return;
    textureCursor = nullptr;
    textures->Remove(texture);
}

// A name already registered returns its texture with the filters it was
// first loaded with. A file that doesn't load gives null and leaves nothing
// behind, so the next call tries the file again.
Texture* EngineBase::AddTexture(const char* name, GLenum wrapS, GLenum wrapT, GLenum magFilter,
                                GLenum minFilter)
{
    if (!name)
        return nullptr;
    if (Texture* found = FindTexture(name))
        return found;
    Texture* texture = new Texture;
    texture->wrapS = wrapS;
    texture->wrapT = wrapT;
    texture->magFilter = magFilter;
    texture->minFilter = minFilter;
    if (!texture->LoadTarga(name, archiveName, archivePassword))
    {
        delete texture;
        return nullptr;
    }
    textures->Append(texture);
    return texture;
}

Texture* EngineBase::FindTexture(const char* name)
{
    return FindByName<Texture>(textures, textureCursor, name);
}

int32_t EngineBase::ListTextures()
{
    return ListNames<Texture>(textures, textureCursor, console);
}

// Each texture loads its file again with its own filters; the count doesn't
// depend on how each one fares.
int32_t EngineBase::ReloadTextures()
{
    int32_t count = 0;
    for (textureCursor = textures->First(); textureCursor;
         textureCursor = textures->Next(textureCursor), ++count)
        At<Texture>(textureCursor)->Reload(archiveName, archivePassword);
    return count;
}

// --- Shaders -----------------------------------------------------------------

// Never null: a name without a section gives a shader of defaults. A new
// one is announced, so that meshes that lost a shader of that name find it.
Shader* EngineBase::AddShader(const char* name)
{
    if (Shader* found = FindShader(name))
        return found;
    Shader* shader = new Shader(name);
    shader->Load(shaderDefinitions);
    shaders->Append(shader);
    TellListeners(ResourceEvent::Added, ResourceKind::Shader, shader);
    return shader;
}

// The current shader is taken off the GL state first, so that its texture
// units don't stay switched on behind it.
void EngineBase::DeleteShaderByName(const char* name)
{
    Shader* shader = FindShader(name);
    if (!shader)
        return;
    if (currentShader == shader)
        SetShader(nullptr);
    shaderCursor = nullptr;
    shaders->Remove(shader);
    ForgetShader(this, shader);
    delete shader;
}

// Meant for the end of the run: the current shader is cleared without a GL
// call.
int32_t EngineBase::DeleteAllShaders()
{
    int32_t deleted = 0;
    while ((shaderCursor = shaders->First()))
    {
        Shader* shader = At<Shader>(shaderCursor);
        shaderCursor = shaders->Next(shaderCursor);
        shaders->Remove(shader);
        ForgetShader(this, shader);
        delete shader;
        ++deleted;
    }
    return deleted;
}

void EngineBase::RemoveShaderByName(const char* name)
{
    Shader* shader = FindShader(name);
    if (!shader)
        return;
    shaderCursor = nullptr;
    shaders->Remove(shader);
}

Shader* EngineBase::FindShader(const char* name)
{
    return FindByName<Shader>(shaders, shaderCursor, name);
}

// Only a change of pointer reaches GL: the same shader again, even after a
// reload, isn't applied anew.
void EngineBase::SetShader(Shader* shader)
{
    if (shader == currentShader)
        return;
    if (currentShader)
        currentShader->Unapply();
    currentShader = shader;
    if (shader)
        shader->Apply();
}

int32_t EngineBase::ListShaders()
{
    return ListNames<Shader>(shaders, shaderCursor, console);
}

// Each shader reads its definition again (a new material, the animation
// from the start). The current one keeps its GL state until it is set anew.
int32_t EngineBase::ReloadShaders()
{
    int32_t count = 0;
    for (shaderCursor = shaders->First(); shaderCursor;
         shaderCursor = shaders->Next(shaderCursor), ++count)
        At<Shader>(shaderCursor)->Load(shaderDefinitions);
    return count;
}

void EngineBase::UpdateShaders()
{
    for (shaderCursor = shaders->First(); shaderCursor; shaderCursor = shaders->Next(shaderCursor))
        At<Shader>(shaderCursor)->Update();
}

// --- Vertex programs ---------------------------------------------------------

// Listed whatever the compiler said: a rejected program is used all the
// same, and the console has shown why.
VertexProgram* EngineBase::AddVertexProgram(const char* name)
{
    if (VertexProgram* found = FindVertexProgram(name))
        return found;
    VertexProgram* program = new VertexProgram;
    program->Create(name);
    vertexPrograms->Append(program);
    return program;
}

void EngineBase::DeleteVertexProgramByName(const char* name)
{
    VertexProgram* program = FindVertexProgram(name);
    if (!program)
        return;
    if (currentVertexProgram == program)
        SetVertexProgram(nullptr);
    vertexProgramCursor = nullptr;
    vertexPrograms->Remove(program);
    ForgetVertexProgram(this, program);
    delete program;
}

int32_t EngineBase::DeleteAllVertexPrograms()
{
    int32_t deleted = 0;
    while ((vertexProgramCursor = vertexPrograms->First()))
    {
        VertexProgram* program = At<VertexProgram>(vertexProgramCursor);
        vertexProgramCursor = vertexPrograms->Next(vertexProgramCursor);
        vertexPrograms->Remove(program);
        ForgetVertexProgram(this, program);
        delete program;
        ++deleted;
    }
    return deleted;
}

VertexProgram* EngineBase::FindVertexProgram(const char* name)
{
    return FindByName<VertexProgram>(vertexPrograms, vertexProgramCursor, name);
}

void EngineBase::SetVertexProgram(VertexProgram* program)
{
    if (program == currentVertexProgram)
        return;
    if (currentVertexProgram)
        currentVertexProgram->Disable();
    currentVertexProgram = program;
    if (program)
        program->Enable();
}

int32_t EngineBase::ListVertexPrograms()
{
    return ListNames<VertexProgram>(vertexPrograms, vertexProgramCursor, console);
}

int32_t EngineBase::ReloadVertexPrograms()
{
    int32_t count = 0;
    for (vertexProgramCursor = vertexPrograms->First(); vertexProgramCursor;
         vertexProgramCursor = vertexPrograms->Next(vertexProgramCursor), ++count)
        At<VertexProgram>(vertexProgramCursor)->Reload();
    return count;
}
