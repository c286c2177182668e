// The world the scene suites draw in: a folder of their own with the token
// table (so that the materials the models name resolve their defaults), a
// GL context on the offscreen driver, and an Engine in g_engine after Init,
// with the demo's 1 MiB vertex pool in main memory.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "app/gl_setup.h"
#include "console/console.h"
#include "engine/engine.h"
#include "files.h"
#include "gl_context.h"
#include "resources/vertex_array_pool.h"

namespace testsupport
{

class SceneEngine
{
public:
    SceneEngine(int width, int height) : context(width, height)
    {
        engine = new Engine;
        g_engine = engine;
        if (!context.created)
            return;
        InitGL();
        engine->Init();
        engine->vertexPool->Init(0x100000, 0, 32, 0.0f, 0.0f);
    }
    ~SceneEngine()
    {
        delete engine;
        g_engine = nullptr;
    }

    Console* console() const { return static_cast<Console*>(engine->console); }
    // The console's lines from number `from` on.
    std::vector<std::string> Lines(uint32_t from = 0) const
    {
        std::vector<std::string> lines;
        for (uint32_t i = from; i < console()->HeldLines(); ++i)
            lines.push_back(console()->Line(i));
        return lines;
    }

    TempDir dir;

private:
    static bool Prepare(const TempDir& dir)
    {
        std::error_code ec;
        std::filesystem::create_directories(dir.path + "/ini", ec);
        return std::filesystem::copy_file(std::string(getenv("TESSIMO_SOURCE_DIR")) +
                                              "/data/ini/tokens.ini",
                                          dir.path + "/ini/tokens.ini", ec);
    }
    bool prepared = Prepare(dir);

public:
    GlContext context;
    Engine* engine = nullptr;
};

} // namespace testsupport
