// Fuzzes the demo on offscreen GL: console lines, "!op argument" or keys; held objects live.
#include <GL/gl.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "app/input.h"
#include "resources/resource_list.h"
#include "resources/screen_font.h"
#include "resources/shader.h"
#include "resources/texture.h"
#include "scene/mesh_set.h"
#include "tests/fuzz/fuzz_checks.h"
#include "tests/support/demo_engine.h"

namespace
{

// Keeps what the console takes off the texture list for the reset to destroy.
class FuzzDemo : public HatchingDemo
{
public:
    void RemoveTextureByName(const char* name) override
    {
        if (Texture* texture = FindTexture(name))
            removedTextures.push_back(texture);
        HatchingDemo::RemoveTextureByName(name);
    }
    std::vector<Texture*> removedTextures;
};

FuzzDemo* demo = nullptr;
testsupport::DemoEngine* runner = nullptr;

// Engine operations no console command reaches.
const std::map<std::string, void (*)(const char*)> kOperations = {
    {"!delvp", [](const char* a) { demo->DeleteVertexProgramByName(a); }},
    {"!delallvp", [](const char*) { demo->DeleteAllVertexPrograms(); }},
    {"!delalltextures", [](const char*) { demo->DeleteAllTextures(); }},
    {"!delallshaders", [](const char*) { demo->DeleteAllShaders(); }},
    {"!reloadvp", [](const char*) { demo->ReloadVertexPrograms(); }},
    {"!listvp", [](const char*) { demo->ListVertexPrograms(); }},
    {"!addvp", [](const char* a) { demo->AddVertexProgram(a); }},
    {"!deltex", [](const char* a) { demo->DeleteTexture(demo->FindTexture(a)); }},
    {"!settex", [](const char* a) { demo->SetTexture(demo->FindTexture(a)); }},
    {"!setshader", [](const char* a) { demo->SetShader(demo->FindShader(a)); }},
    {"!setvp", [](const char* a) { demo->SetVertexProgram(demo->FindVertexProgram(a)); }},
};

// `held` with the objects of `list` after it (with no list, the live shaders).
std::vector<void*> Entries(const ResourceList* list, std::vector<void*> held = {})
{
    for (ResourceListNode* n = list ? list->First() : nullptr; n; n = list->Next(n))
        held.push_back(n->object);
    for (Shader* s = list ? nullptr : Shader::FirstLive(); s; s = s->NextLive())
        held.push_back(s);
    return held;
}

// The registries and the live shaders, in a fixed order: equal snapshots need no rebuild.
std::vector<void*> Snapshot()
{
    std::vector<void*> held = {reinterpret_cast<void*>(demo->removedTextures.size())};
    for (const ResourceList* list : {demo->textures, demo->shaders, demo->vertexPrograms})
        held = Entries(list, held);
    return Entries(nullptr, held);
}

// No pointer into the registries may outlive its object.
void CheckHeld()
{
    std::vector<void*> textures = Entries(demo->textures, {demo->artMap, nullptr});
    textures.insert(textures.end(), demo->removedTextures.begin(), demo->removedTextures.end());
    std::vector<void*> programs = Entries(demo->vertexPrograms, {nullptr});
    std::vector<void*> shaders = Entries(nullptr, {nullptr});
    auto need = [](const std::vector<void*>& set, const void* p)
    {
        if (std::find(set.begin(), set.end(), p) == set.end())
            abort();
    };
    for (Shader* s = Shader::FirstLive(); s; s = s->NextLive())
    {
        for (const ShaderStage& stage : s->stages)
            need(textures, stage.texture);
        need(programs, s->vertexProgram);
    }
    need(textures, demo->currentTexture);
    need(programs, demo->currentVertexProgram);
    need(shaders, demo->currentShader);
    need(shaders, demo->font->shader);
    for (uint32_t i = 0; i < demo->model->meshCount; ++i)
        need(shaders, demo->model->meshes[i].shader);
}

std::vector<void*> baseline;
std::vector<std::string> shaderNames; // listed after Init, in their order
std::vector<std::string> meshShaders; // of each mesh
int32_t aperture = 0;

// Drops every object, then asks for the shaders again in Init's order.
void Rebuild()
{
    demo->SetShader(nullptr);
    demo->SetVertexProgram(nullptr);
    demo->SetTexture(nullptr);
    demo->font->shader = nullptr;
    for (uint32_t i = 0; i < demo->model->meshCount; ++i)
    {
        Mesh& mesh = demo->model->meshes[i];
        mesh.shader = nullptr;
        snprintf(mesh.lostShader, sizeof mesh.lostShader, "%s", meshShaders[i].c_str());
    }
    demo->DeleteAllShaders();
    while (Shader* removed = Shader::FirstLive())
        delete removed;
    demo->DeleteAllTextures();
    for (Texture* texture : demo->removedTextures)
        delete texture;
    demo->removedTextures.clear();
    demo->DeleteAllVertexPrograms();
    for (const std::string& name : shaderNames)
        demo->AddShader(name.c_str());
    demo->font->shader = demo->FindShader("Font");
}

void Restore()
{
    Console& console = *static_cast<Console*>(demo->console);
    console.open = false;
    console.input[0] = 0;
    console.cursor = 0;
    console.aperture = aperture;
    memset(g_input->keys, 0, sizeof g_input->keys);
    ClearMessageQueue();
    demo->drawNormals = 0;
    demo->lightHeight = 40.0f;
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    glShadeModel(GL_SMOOTH);
    if (!g_window->windowed)
        console.Execute("r_windowedmode");
    if (Snapshot() != baseline)
    {
        Rebuild();
        baseline = Snapshot();
    }
}

// A line: "!name argument" runs that operation, any other goes to the console (offscreen EGL
// gives out after ~1000 context remakes: mode switches are capped); then a frame.
void Step(const char* line)
{
    static int switches = 0;
    const char* blank = line ? strchr(line, ' ') : nullptr;
    auto operation =
        kOperations.find(line ? std::string(line, blank ? blank : line + strlen(line)) : "");
    if (operation != kOperations.end())
        operation->second(blank ? blank + 1 : "");
    else if (line && line[0] != '!' &&
             ((!strstr(line, "r_fullscreenmode") && !strstr(line, "r_windowedmode")) ||
              ++switches <= 256))
        demo->console->Execute(line);
    runner->Frame();
    CheckHeld();
}

} // namespace

// The demo runs from /tmp on a small offscreen window.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    runner = new testsupport::DemoEngine;
    auto make = []() -> HatchingDemo* { return demo = new FuzzDemo; };
    if (!runner->Start(TESSIMO_RUN_DIR, "/tmp", 96, 72, make) || !demo->model ||
        demo->model->meshCount == 0 || !demo->font)
    {
        fprintf(stderr, "fuzz_engine: the demo didn't start from %s\n", TESSIMO_RUN_DIR);
        abort();
    }
    runner->Frame();
    for (void* p : Entries(demo->shaders))
        shaderNames.push_back(static_cast<Shader*>(p)->name);
    for (uint32_t i = 0; i < demo->model->meshCount; ++i)
        meshShaders.push_back(demo->model->meshes[i].shader ? demo->model->meshes[i].shader->name
                                                            : "");
    aperture = static_cast<Console*>(demo->console)->aperture;
    baseline = Snapshot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    Replay(bytes, size, g_input->keys, 300, 24, *static_cast<Console*>(demo->console), Step);
    Restore();
    return 0;
}
