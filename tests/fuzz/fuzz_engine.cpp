// Fuzzes the demo on offscreen GL: console lines, "!op argument" or keys; held objects live.
#include <GL/gl.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "app/input.h"
#include "console/console.h"
#include "hatching/tonal_art_map.h"
#include "resources/resource_list.h"
#include "resources/screen_font.h"
#include "resources/shader.h"
#include "resources/texture.h"
#include "resources/vertex_program.h"
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

struct Operation
{
    const char* name;
    void (*run)(const char* argument);
};

const Operation kOperations[] = {
    {"!delvp", [](const char* a) { demo->DeleteVertexProgramByName(a); }},
    {"!delallvp", [](const char*) { demo->DeleteAllVertexPrograms(); }},
    {"!delalltextures", [](const char*) { demo->DeleteAllTextures(); }},
    {"!delallshaders", [](const char*) { demo->DeleteAllShaders(); }},
    {"!reloadvp", [](const char*) { demo->ReloadVertexPrograms(); }},
    {"!listvp", [](const char*) { demo->ListVertexPrograms(); }},
    {"!addvp", [](const char* a) { demo->AddVertexProgram(a); }},
    {"!deltex", [](const char* a) { demo->DeleteTexture(demo->FindTexture(a)); }},
    {"!settex",
     [](const char* a)
     {
         if (Texture* texture = demo->FindTexture(a))
             demo->SetTexture(texture);
     }},
    {"!setshader", [](const char* a) { demo->SetShader(demo->FindShader(a)); }},
    {"!setvp", [](const char* a) { demo->SetVertexProgram(demo->FindVertexProgram(a)); }},
};

// "!name argument": the operation of that name, or nothing.
void RunOperation(const char* line)
{
    const char* blank = strchr(line, ' ');
    size_t length = blank ? static_cast<size_t>(blank - line) : strlen(line);
    for (const Operation& operation : kOperations)
        if (strlen(operation.name) == length && memcmp(operation.name, line, length) == 0)
            operation.run(blank ? blank + 1 : "");
}

std::vector<void*> Entries(const ResourceList* list)
{
    std::vector<void*> entries;
    for (ResourceListNode* n = list->First(); n; n = list->Next(n))
        entries.push_back(n->object);
    return entries;
}

// Every pointer held, in a fixed order: equal snapshots need no rebuild.
std::vector<void*> Snapshot()
{
    std::vector<void*> held = Entries(demo->textures);
    for (void* p : Entries(demo->shaders))
        held.push_back(p);
    for (void* p : Entries(demo->vertexPrograms))
        held.push_back(p);
    held.push_back(demo->font->shader);
    for (uint32_t i = 0; i < demo->model->meshCount; ++i)
        held.push_back(demo->model->meshes[i].shader);
    for (Shader* s = Shader::FirstLive(); s; s = s->NextLive())
    {
        held.push_back(s);
        held.push_back(s->vertexProgram);
        for (int32_t i = 0; i < s->stageCount && i < Shader::kMaxStages; ++i)
            held.push_back(s->stages[i].texture);
    }
    held.push_back(reinterpret_cast<void*>(demo->removedTextures.size()));
    return held;
}

bool Contains(const std::vector<void*>& set, const void* p)
{
    return std::find(set.begin(), set.end(), p) != set.end();
}

// No pointer into the registries may outlive its object.
void CheckHeld()
{
    std::vector<void*> textures = Entries(demo->textures);
    textures.insert(textures.end(), demo->removedTextures.begin(), demo->removedTextures.end());
    textures.push_back(demo->artMap);
    textures.push_back(nullptr);
    std::vector<void*> programs = Entries(demo->vertexPrograms);
    programs.push_back(nullptr);
    std::vector<void*> shaders = {nullptr};
    for (Shader* s = Shader::FirstLive(); s; s = s->NextLive())
        shaders.push_back(s);
    for (Shader* s = Shader::FirstLive(); s; s = s->NextLive())
    {
        for (const ShaderStage& stage : s->stages)
            if (!Contains(textures, stage.texture))
                abort();
        if (!Contains(programs, s->vertexProgram))
            abort();
    }
    if (!Contains(textures, demo->currentTexture) ||
        !Contains(programs, demo->currentVertexProgram))
        abort();
    if (!Contains(shaders, demo->currentShader) || !Contains(shaders, demo->font->shader))
        abort();
    for (uint32_t i = 0; i < demo->model->meshCount; ++i)
        if (!Contains(shaders, demo->model->meshes[i].shader))
            abort();
}

void Step()
{
    runner->Frame();
    CheckHeld();
    CheckConsoleBuffers(*static_cast<Console*>(demo->console));
}

std::vector<void*> baseline;
std::vector<std::string> shaderNames; // listed after Init, in their order
std::vector<std::string> meshShaders; // of each mesh
int32_t aperture = 0;

void Remember()
{
    shaderNames.clear();
    for (void* p : Entries(demo->shaders))
        shaderNames.push_back(static_cast<Shader*>(p)->name);
    meshShaders.clear();
    for (uint32_t i = 0; i < demo->model->meshCount; ++i)
        meshShaders.push_back(demo->model->meshes[i].shader ? demo->model->meshes[i].shader->name
                                                            : "");
    aperture = static_cast<Console*>(demo->console)->aperture;
    baseline = Snapshot();
}

// Drops every object, then asks for the shaders again in Init's order.
void Rebuild()
{
    demo->SetShader(nullptr);
    demo->SetVertexProgram(nullptr);
    if (demo->currentTexture)
        demo->currentTexture->Unbind();
    demo->currentTexture = nullptr;
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

constexpr int kMaxSteps = 24;

// Offscreen EGL gives out after ~1000 context remakes: mode switches are capped.
bool SwitchesMode(const char* line)
{
    static int switches = 0;
    if (!strstr(line, "r_fullscreenmode") && !strstr(line, "r_windowedmode"))
        return false;
    return ++switches > 256;
}

void RunLines(const uint8_t* bytes, size_t size)
{
    std::string line;
    int steps = 0;
    for (size_t i = 0; i <= size && steps < kMaxSteps; ++i)
    {
        if (i < size && bytes[i] != '\n' && line.size() < 300)
        {
            line += static_cast<char>(bytes[i]);
            continue;
        }
        if (line[0] == '!')
            RunOperation(line.c_str());
        else if (!SwitchesMode(line.c_str()))
            demo->console->Execute(line.c_str());
        Step();
        ++steps;
        line.clear();
    }
}

void RunKeys(const uint8_t* bytes, size_t size)
{
    int steps = 0;
    for (size_t i = 0; i < size && steps < kMaxSteps; ++i)
    {
        if (bytes[i] != 0)
            g_input->keys[bytes[i]] ^= 1;
        else
        {
            Step();
            ++steps;
        }
    }
    Step();
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
    Remember();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size == 0)
        return 0;
    // FUZZ_ENGINE_LAST keeps the running input, for a crash in the GL driver.
    static const char* last = getenv("FUZZ_ENGINE_LAST");
    if (last)
        if (FILE* file = fopen(last, "wb"))
        {
            fwrite(bytes, 1, size, file);
            fclose(file);
        }
    if (bytes[0] & 1)
        RunKeys(bytes + 1, size - 1);
    else
        RunLines(bytes + 1, size - 1);
    Restore();
    return 0;
}
