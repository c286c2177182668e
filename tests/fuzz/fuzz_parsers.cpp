// The GL-free fuzz targets, one executable each: FUZZ_TARGET names the function that takes
// the input. Each aborts where a result breaks its reader's promise.
#include <algorithm>
#include <vector>

#include "app/input.h"
#include "archive/file_buffer.h"
#include "archive/rar.h"
#include "platform/profile.h"
#include "resources/dib_image.h"
#include "resources/shader.h"
#include "resources/targa_image.h"
#include "resources/vertex_array_pool.h"
#include "scene/mesh_set.h"
#include "tests/fuzz/fuzz_checks.h"
#include "tests/support/console_stand_in.h"
#include "tests/support/material_files.h"
#include "tests/support/stub_engine.h"

namespace fuzz
{

// A loaded buffer holding a copy of the input, of its exact size.
void Load(FileBuffer* file, const uint8_t* bytes, size_t size)
{
    file->data = static_cast<uint8_t*>(malloc(size ? size : 1));
    memcpy(file->data, bytes, size);
    file->size = static_cast<uint32_t>(size);
    file->loaded = true;
}

// The console: even first byte, lines for Execute; odd, key presses (0 ends a frame).
int fuzz_console(const uint8_t* bytes, size_t size)
{
    static const testsupport::TempDir folder; // entered: savelog writes console.log
    // A small ring, so that inputs of modest size wrap it.
    Console console(nullptr, 800, 600, 64, 256, 12);
    testsupport::StandInCommands(console);
    unsigned char flag = 0;
    float scale = 0;
    int32_t fixed = 7;
    console.AddVariable("t_flag", VariableBool, &flag, false);
    console.AddVariable("t_scale", VariableFloat, &scale, false);
    console.AddVariable("t_fixed", VariableInt, &fixed, true);
    Input input;
    auto step = [&](const char* line)
    {
        if (line)
            console.Execute(line);
        else
            console.Update(&input);
    };
    Replay(bytes, size, input.keys, 511, int(size) + 1, console, step);
    if (fixed != 7 || folder.path.empty())
        abort();
    return 0;
}

// The bitmap decoder: a failure leaves the image empty, a success is whole.
int fuzz_dib(const uint8_t* bytes, size_t size)
{
    DibImage image;
    bool ok = DecodeDib(bytes, size, &image) == DibResult::Ok;
    if (ok ? !image.pixels || !image.width || !image.height
           : image.pixels || image.width || image.height)
        abort();
    // The whole block must be there: ASan checks its last byte.
    volatile uint8_t last = ok ? image.pixels[3 * size_t(image.width) * image.height - 1] : 0;
    (void)last;
    return 0;
}

// An engine with nothing but the vertex pool, made the engine.
class PoolEngine : public testsupport::NoGlEngine
{
public:
    PoolEngine()
    {
        vertexPool = new VertexArrayPool;
        vertexPool->Init(0x100000, 0, 32, 0.0f, 0.0f);
        g_engine = this;
    }
    Shader* AddShader(const char*) override { return nullptr; }
};

// The model reader, from memory: every mesh that loads is whole and inside the vertex pool.
int fuzz_mesh_set(const uint8_t* bytes, size_t size)
{
    static PoolEngine* engine = new PoolEngine;
    VertexArrayPool& pool = *engine->vertexPool;
    pool.Reset();
    auto inside = [&](const void* block, uint64_t count)
    {
        auto at = static_cast<const uint8_t*>(block);
        return at >= pool.base && at + count <= pool.end;
    };
    FileBuffer file;
    Load(&file, bytes, size);
    MeshSet set; // gone before the file
    set.Read(file, "fuzz.tsm");
    for (uint32_t m = 0; m < set.meshCount; ++m)
    {
        const Mesh& mesh = set.meshes[m];
        for (uint64_t i = 0; i < 3 * uint64_t(mesh.faceCount); ++i)
            if (mesh.indices[i] >= mesh.vertexCount)
                abort();
        uint64_t v = mesh.vertexCount;
        if (!inside(mesh.renderPositions, 12 * v) || !inside(mesh.renderNormals, 12 * v) ||
            !inside(mesh.renderTexCoords, 8 * v))
            abort();
        volatile float last = v ? mesh.renderTexCoords[2 * v - 1] : 0.0f;
        (void)last;
    }
    return 0;
}

// The settings reader: every result terminated within its buffer.
int fuzz_profile(const uint8_t* bytes, size_t size)
{
    const char* text = reinterpret_cast<const char*>(bytes);
    for (const char* lookup : {"3D engine/window_width", "3d ENGINE/fullscreen", "Sound/output",
                               "FMOD/FSOUND_OUTPUT_DSOUND", "OpenGL/GL_LESS", "/", "[/="})
        for (uint32_t outSize : {1u, 5u, 128u})
        {
            const std::string section(lookup, strchr(lookup, '/'));
            char out[129];
            memset(out, 'X', sizeof out);
            uint32_t n = GetProfileStringFromText(text, size, section.c_str(),
                                                  strchr(lookup, '/') + 1, "default", out, outSize);
            if (n >= outSize || out[n] != 0 || out[outSize] != 'X')
                abort();
        }
    // A key taken from the result buffer itself, as the start-up does.
    char shared[128];
    GetProfileStringFromText(text, size, "Sound", "mixer", "FSOUND_MIXER_AUTODETECT", shared,
                             sizeof shared);
    GetProfileStringFromText(text, size, "FMOD", shared, "-1", shared, sizeof shared);
    return 0;
}

// The archive reader: every listed entry extracted; failures hand out nothing.
int fuzz_rar_extract(const uint8_t* bytes, size_t size)
{
    std::vector<std::string> names = {"no such entry"};
    auto collect = [](const RarEntryInfo& info, void* user)
    {
        auto* names = static_cast<std::vector<std::string>*>(user);
        if (names->size() <= 16)
            names->push_back(info.name);
    };
    RarListEntriesMemory(bytes, size, collect, &names);
    for (const std::string& name : names)
    {
        uint8_t* data = nullptr;
        uint32_t length = 0;
        bool ok = RarExtractMemory(&data, &length, name.c_str(), bytes, size, "mirodune");
        // Nothing handed out on failure; the status agrees with the result and has a text.
        if ((!ok && (data || length)) || ok != (RarLastStatus() == RarStatus::Ok) ||
            !RarStatusText(RarLastStatus())[0])
            abort();
        volatile uint8_t last = length ? data[length - 1] : 0; // the block whole, for ASan
        (void)last;
        free(data);
    }
    return 0;
}

// The shader reader: Shaders.ini NUL tokens.ini, loaded twice under several names.
int fuzz_shader_load(const uint8_t* bytes, size_t size)
{
    static const testsupport::TempDir folder; // ini/ is read from here
    const std::string& dir = folder.path;
    std::string input(reinterpret_cast<const char*>(bytes), size);
    size_t split = input.find('\0');
    std::string shaders = input.substr(0, split);
    testsupport::WriteFile(dir + "/ini/Shaders.ini", shaders);
    testsupport::WriteFile(dir + "/ini/tokens.ini",
                           split == std::string::npos ? input : input.substr(split + 1));
    std::string first = shaders.substr(shaders.find('[') + 1); // the first section's name
    first.resize(std::min<size_t>(first.find(']'), 400));
    testsupport::StubEngine engine(dir);
    g_engine = &engine;
    for (const std::string& name :
         {std::string("Font"), std::string("Hatching"), first, std::string(300, 'n')})
    {
        Shader shader(name.c_str());
        shader.Load(engine.shaderDefinitions);
        if (shader.stageCount < 0 || shader.stageCount > Shader::kMaxStages || !shader.material)
            abort();
        shader.Update();
        shader.Load(engine.shaderDefinitions);
        shader.Update();
    }
    g_engine = nullptr;
    return 0;
}

// The Targa reader: a success hands out its pixels in the buffer.
int fuzz_targa(const uint8_t* bytes, size_t size)
{
    FileBuffer file;
    Load(&file, bytes, size);
    TargaImage image;
    bool ok = ReadTarga(file, &image);
    uint64_t length = uint64_t(image.width) * image.height * (image.hasAlpha ? 4 : 3);
    if (ok ? !image.headerAccepted || image.pixels != file.data + 18 || 18 + length > file.size
           : image.pixels != nullptr)
        abort();
    volatile uint8_t last = ok ? image.pixels[length - 1] : 0;
    (void)last;
    return 0;
}

} // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    return fuzz::FUZZ_TARGET(bytes, size);
}
