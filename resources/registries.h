// What the registries tell the holders of their objects.
//
// Stages, shaders, meshes and the font hold plain pointers into the
// registries, and the console can delete what they point at. Before a
// registry destroys an object it clears the pointers it knows of (the
// current texture, shader and program, the stages' textures and the
// programs of every shader alive, listed or not, the font's shader) and then
// calls every listener registered here with Released, so that holders above
// this layer (a mesh's shader) can let go too. A shader that AddShader makes
// anew is announced with Added once it is loaded and listed, so that a
// holder that lost one of that name can take it up again.
//
//     void FollowShaders(ResourceEvent event, ResourceKind kind, void* object, void* user)
//     {
//         if (kind == ResourceKind::Shader) static_cast<MeshSet*>(user)->Follow(event, object);
//     }
//     AddResourceListener(FollowShaders, meshSet);
#pragma once

enum class ResourceKind
{
    Texture,
    Shader,
    VertexProgram,
};

enum class ResourceEvent
{
    Released, // about to be destroyed; still readable
    Added,    // new on its list
};

typedef void (*ResourceListener)(ResourceEvent event, ResourceKind kind, void* object, void* user);

// As many listeners as memory holds; false only for a null function. The
// same pair registered twice is called twice. A listener may add or remove
// listeners while it is called: those take effect from the next event.
bool AddResourceListener(ResourceListener listener, void* user);
void RemoveResourceListener(ResourceListener listener, void* user);
