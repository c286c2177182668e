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

#include "app/report.h"
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
template <class T> int32_t ListNames(ResourceList* list, ResourceListNode*& cursor)
{
    int32_t listed = 0;
    for (cursor = list->First(); cursor; cursor = list->Next(cursor), ++listed)
        Report(ToConsole, Frame::None, "%s", At<T>(cursor)->name);
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

namespace
{

// --- Letting go of an object about to be destroyed -------------------------
// Textures and programs are let go of by every shader alive, not only the
// listed ones: a removed shader goes on drawing for whoever holds it. The
// live shaders are no registry list: their walk needs none of the three
// positions, and nothing it calls makes or destroys a shader.

template <class Visit> void ForEachLiveShader(Visit visit)
{
    for (Shader* shader = Shader::FirstLive(); shader; shader = shader->NextLive())
        visit(shader);
}

// What differs between the three registries: the list and its position,
// what is taken off GL before a delete, who lets go of an object (the
// current pointer is cleared without a GL call), and what reloading does.
template <class T> struct Kind;

template <> struct Kind<Texture>
{
    static constexpr ResourceKind kKind = ResourceKind::Texture;
    static ResourceList* List(EngineBase* e) { return e->textures; }
    static ResourceListNode*& Cursor(EngineBase* e) { return e->textureCursor; }
    // Nothing to take off GL: Destroy clears the current texture without a
    // GL call.
    static void Unset(EngineBase*, Texture*) {}
    static void Forget(EngineBase* e, Texture* texture)
    {
        if (e->currentTexture == texture)
            e->currentTexture = nullptr;
        ForEachLiveShader(
            [texture](Shader* shader)
            {
                for (ShaderStage& stage : shader->stages)
                    if (stage.texture == texture)
                        stage.texture = nullptr;
            });
    }
    static void Reload(EngineBase* e, Texture* texture)
    {
        texture->Reload(e->archiveName, e->archivePassword);
    }
};

template <> struct Kind<Shader>
{
    static constexpr ResourceKind kKind = ResourceKind::Shader;
    static ResourceList* List(EngineBase* e) { return e->shaders; }
    static ResourceListNode*& Cursor(EngineBase* e) { return e->shaderCursor; }
    static void Unset(EngineBase* e, Shader* shader)
    {
        if (e->currentShader == shader)
            e->SetShader(nullptr);
    }
    static void Forget(EngineBase* e, Shader* shader)
    {
        if (e->currentShader == shader)
            e->currentShader = nullptr;
        if (e->font && e->font->shader == shader)
            e->font->shader = nullptr;
    }
    static void Reload(EngineBase* e, Shader* shader) { shader->Load(e->shaderDefinitions); }
};

template <> struct Kind<VertexProgram>
{
    static constexpr ResourceKind kKind = ResourceKind::VertexProgram;
    static ResourceList* List(EngineBase* e) { return e->vertexPrograms; }
    static ResourceListNode*& Cursor(EngineBase* e) { return e->vertexProgramCursor; }
    static void Unset(EngineBase* e, VertexProgram* program)
    {
        if (e->currentVertexProgram == program)
            e->SetVertexProgram(nullptr);
    }
    static void Forget(EngineBase* e, VertexProgram* program)
    {
        if (e->currentVertexProgram == program)
            e->currentVertexProgram = nullptr;
        ForEachLiveShader(
            [program](Shader* shader)
            {
                if (shader->vertexProgram == program)
                {
                    shader->vertexProgram = nullptr;
                    shader->hasVertexProgram = false;
                }
            });
    }
    static void Reload(EngineBase*, VertexProgram* program) { program->Reload(); }
};

// --- The operations every registry shares ------------------------------------

template <class T> T* Find(EngineBase* e, const char* name)
{
    return FindByName<T>(Kind<T>::List(e), Kind<T>::Cursor(e), name);
}

// Off the list, every pointer known to it cleared, the listeners told, then
// destroyed.
template <class T> void Destroy(EngineBase* e, T* object)
{
    Kind<T>::List(e)->Remove(object);
    Kind<T>::Forget(e, object);
    TellListeners(ResourceEvent::Released, Kind<T>::kKind, object);
    delete object;
}

template <class T> void DeleteByName(EngineBase* e, const char* name)
{
    T* object = Find<T>(e, name);
    if (!object)
        return;
    Kind<T>::Unset(e, object);
    Kind<T>::Cursor(e) = nullptr;
    Destroy(e, object);
}

// The position moves on before its entry goes.
template <class T> int32_t DeleteAll(EngineBase* e)
{
    ResourceListNode*& cursor = Kind<T>::Cursor(e);
    int32_t deleted = 0;
    while ((cursor = Kind<T>::List(e)->First()))
    {
        T* object = At<T>(cursor);
        cursor = Kind<T>::List(e)->Next(cursor);
        Destroy(e, object);
        ++deleted;
    }
    return deleted;
}

// Off the list, owned by nobody.
template <class T> void RemoveByName(EngineBase* e, const char* name)
{
    T* object = Find<T>(e, name);
    if (!object)
        return;
    Kind<T>::Cursor(e) = nullptr;
    Kind<T>::List(e)->Remove(object);
}

template <class T> int32_t List(EngineBase* e)
{
    return ListNames<T>(Kind<T>::List(e), Kind<T>::Cursor(e));
}

// The count doesn't depend on how each one fares.
template <class T> int32_t ReloadAll(EngineBase* e)
{
    ResourceListNode*& cursor = Kind<T>::Cursor(e);
    int32_t count = 0;
    for (cursor = Kind<T>::List(e)->First(); cursor;
         cursor = Kind<T>::List(e)->Next(cursor), ++count)
        Kind<T>::Reload(e, At<T>(cursor));
    return count;
}

} // namespace

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
        Destroy(this, texture);
        return;
    }
}

void EngineBase::DeleteTextureByName(const char* name)
{
    DeleteByName<Texture>(this, name);
}

// The current texture doesn't survive its object: it is cleared (without a
// GL call), so that the next SetTexture doesn't reach a deleted object.
int32_t EngineBase::DeleteAllTextures()
{
    return DeleteAll<Texture>(this);
}

// The texture lives on, owned by nobody: whoever kept its pointer may go on
// using it, and a later AddTexture of the name loads the file anew.
void EngineBase::RemoveTextureByName(const char* name)
{
    RemoveByName<Texture>(this, name);
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
    return Find<Texture>(this, name);
}

int32_t EngineBase::ListTextures()
{
    return List<Texture>(this);
}

// Each texture loads its file again with its own filters.
int32_t EngineBase::ReloadTextures()
{
    return ReloadAll<Texture>(this);
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
    DeleteByName<Shader>(this, name);
}

// Meant for the end of the run: the current shader is cleared without a GL
// call.
int32_t EngineBase::DeleteAllShaders()
{
    return DeleteAll<Shader>(this);
}

void EngineBase::RemoveShaderByName(const char* name)
{
    RemoveByName<Shader>(this, name);
}

Shader* EngineBase::FindShader(const char* name)
{
    return Find<Shader>(this, name);
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
    return List<Shader>(this);
}

// Each shader reads its definition again (a new material, the animation
// from the start). The current one keeps its GL state until it is set anew.
int32_t EngineBase::ReloadShaders()
{
    return ReloadAll<Shader>(this);
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
    DeleteByName<VertexProgram>(this, name);
}

int32_t EngineBase::DeleteAllVertexPrograms()
{
    return DeleteAll<VertexProgram>(this);
}

VertexProgram* EngineBase::FindVertexProgram(const char* name)
{
    return Find<VertexProgram>(this, name);
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
    return List<VertexProgram>(this);
}

int32_t EngineBase::ReloadVertexPrograms()
{
    return ReloadAll<VertexProgram>(this);
}
