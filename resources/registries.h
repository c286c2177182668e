// What the registries tell the holders of their objects.
//
// Stages, shaders, meshes and the font hold plain pointers into the
// registries, and the console can delete what they point at. Before a
// registry destroys an object it clears the pointers it knows of (the
// current texture, shader and program, the stages' textures, the shaders'
// programs, the font's shader) and then calls every listener registered
// here, so that holders above this layer (a mesh's shader) can let go too.
//
//     void ForgetShader(ResourceKind kind, void* object, void* user)
//     {
//         if (kind == ResourceKind::Shader) static_cast<MeshSet*>(user)->Forget(object);
//     }
//     AddResourceReleaseListener(ForgetShader, meshSet);
#pragma once

enum class ResourceKind
{
    Texture,
    Shader,
    VertexProgram,
};

typedef void (*ResourceReleaseListener)(ResourceKind kind, void* object, void* user);

// At most 16 listeners; a seventeenth is refused (false). The same pair
// registered twice is called twice.
bool AddResourceReleaseListener(ResourceReleaseListener listener, void* user);
void RemoveResourceReleaseListener(ResourceReleaseListener listener, void* user);
