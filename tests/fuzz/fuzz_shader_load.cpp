// Fuzzes the shader reader: Shaders.ini NUL tokens.ini, loaded twice under several names.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "resources/shader.h"
#include "tests/support/material_files.h"
#include "tests/support/stub_engine.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static const std::string dir = []
    {
        char pattern[] = "/tmp/fuzz_shader_load.XXXXXX";
        if (!mkdtemp(pattern))
            abort();
        return std::string(pattern);
    }();
    std::string input(reinterpret_cast<const char*>(bytes), size);
    size_t split = input.find('\0');
    std::string shaders = input.substr(0, split);
    testsupport::WriteFile(dir + "/ini/Shaders.ini", shaders);
    testsupport::WriteFile(dir + "/ini/tokens.ini",
                           split == std::string::npos ? input : input.substr(split + 1));
    std::string first; // the first section's name
    size_t open = shaders.find('[');
    if (open != std::string::npos)
        first = shaders.substr(open + 1, shaders.find(']', open) - open - 1).substr(0, 400);

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
