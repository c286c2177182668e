// An engine without GL for the material suites and the fuzz target: the
// frame driver does nothing, and the two registry operations a shader
// calls while it loads only record their arguments. AddTexture hands out a
// texture object per name (never loaded, no GL name), AddVertexProgram one
// per name too, neither touching GL.
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

struct TextureRequest
{
    std::string name;
    GLenum wrapS, wrapT, magFilter, minFilter;
};

class StubEngine : public EngineBase
{
public:
    explicit StubEngine(const std::string& directory)
    {
        snprintf(startDirectory, sizeof startDirectory, "%s", directory.c_str());
        shaderDefinitions.SetFile((directory + "\\Ini\\Shaders.ini").c_str());
    }
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

    Texture* AddTexture(const char* name, GLenum wrapS, GLenum wrapT, GLenum magFilter,
                        GLenum minFilter) override
    {
        textureRequests.push_back({name, wrapS, wrapT, magFilter, minFilter});
        std::unique_ptr<Texture>& t = stubTextures[name];
        if (!t)
            t.reset(new Texture);
        return t.get();
    }
    VertexProgram* AddVertexProgram(const char* name) override
    {
        programRequests.push_back(name);
        std::unique_ptr<VertexProgram>& p = stubPrograms[name];
        if (!p)
            p.reset(new VertexProgram);
        return p.get();
    }

    std::vector<TextureRequest> textureRequests;
    std::vector<std::string> programRequests;
    std::map<std::string, std::unique_ptr<Texture>> stubTextures;
    std::map<std::string, std::unique_ptr<VertexProgram>> stubPrograms;
};

} // namespace testsupport
