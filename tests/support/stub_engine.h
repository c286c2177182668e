// An engine without GL for the material suites and the fuzz target: the
// registry calls a shader makes while it loads record their arguments and
// hand out one unloaded object per name.
#pragma once

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "resources/engine_base.h"
#include "resources/texture.h"
#include "resources/vertex_program.h"

namespace testsupport
{

// A texture's name with its wraps S and T and its filters mag and min.
using TextureRequest = std::pair<std::string, std::vector<GLenum>>;

// The engine's frame, drawing and probes as no-ops: the registries alone.
class NoGlEngine : public EngineBase
{
public:
    void Begin2D(double, double) override {}
    void End2D() override {}
    bool Frame() override { return true; }
    bool Init() override { return true; }
    bool ExtensionSupported(const char*) override { return false; }
    int32_t GetFps() override { return 0; }
    void EndFrame() override {}
    void DrawLine(const Vec4&, const Vec4&) override {}
    void DrawTriangle(const Vec4*) override {}
    void DrawRay(const Vec4*) override {}
};

class StubEngine : public NoGlEngine
{
public:
    explicit StubEngine(const std::string& directory)
    {
        snprintf(startDirectory, sizeof startDirectory, "%s", directory.c_str());
        shaderDefinitions.SetFile((directory + "\\Ini\\Shaders.ini").c_str());
    }

    Texture* AddTexture(const char* name, GLenum wrapS, GLenum wrapT, GLenum magFilter,
                        GLenum minFilter) override
    {
        textureRequests.push_back({name, {wrapS, wrapT, magFilter, minFilter}});
        return Stub(stubTextures, name);
    }
    VertexProgram* AddVertexProgram(const char* name) override { return Stub(stubPrograms, name); }
    template <class T>
    static T* Stub(std::map<std::string, std::unique_ptr<T>>& held, const char* name)
    {
        std::unique_ptr<T>& p = held[name];
        if (!p)
            p.reset(new T);
        return p.get();
    }

    std::vector<TextureRequest> textureRequests;
    std::map<std::string, std::unique_ptr<Texture>> stubTextures;
    std::map<std::string, std::unique_ptr<VertexProgram>> stubPrograms;
};

} // namespace testsupport
