// The engine object: base class of the application and the one central
// object of the system, reached through g_engine.
//
// It owns the resource registries, the console, the screen font and the
// vertex memory pool, keeps the frame statistics, drives the fixed 60 Hz
// update ticks, and mirrors the GL enable state in a cache so that a change
// is sent only when the value differs. A subclass overrides Init, Update,
// Frame and the destructor; the rest is inherited.
//
// Where its operations live: the frame driver in engine/engine.cpp, Init and
// the capability probes in engine/capabilities.cpp.
#pragma once

#include <GL/gl.h>
#include <cstdint>

#include "app/ini_file.h"
#include "app/math.h"
#include "engine/timer.h"

class Console;
class ScreenFont;
class VertexArrayPool;
class Texture;
class Shader;
class VertexProgram;
// The registries' doubly linked lists and their nodes.
class ResourceList;
class ResourceListNode;

class Engine
{
public:
    Engine();
    virtual ~Engine();

    // Run at 60 ticks a second by Frame; empty here.
    virtual void Update() {}
    // Screen coordinates for overlays: y grows downwards from the top edge.
    virtual void Begin2D(double width, double height);
    virtual void End2D();
    // Clears, keeps the statistics, runs the ticks. Always true here; a
    // subclass calls it first, draws, then calls EndFrame.
    virtual bool Frame();
    // The second half of construction, with a GL context current: console,
    // capability probes, entry points, limits. Always true here.
    virtual bool Init();
    // Whether the driver lists `name` as a whole word of its extensions.
    virtual bool ExtensionSupported(const char* name);
    virtual int32_t GetFps();
    virtual void EndFrame();

    // The resource registries: each resource exists once, asked for by
    // name. Implemented with the resources subsystem.
    virtual void SetTexture(Texture* texture);
    virtual void DeleteTexture(Texture* texture);
    virtual void DeleteTextureByName(const char* name);
    virtual int32_t DeleteAllTextures();
    virtual void RemoveTextureByName(const char* name);
    virtual Texture* AddTexture(const char* name, GLenum wrapS, GLenum wrapT, GLenum magFilter,
                                GLenum minFilter);
    virtual Texture* FindTexture(const char* name);
    virtual int32_t ListTextures();
    virtual int32_t ReloadTextures();
    virtual Shader* AddShader(const char* name);
    virtual void DeleteShaderByName(const char* name);
    virtual int32_t DeleteAllShaders();
    virtual void RemoveShaderByName(const char* name);
    virtual Shader* FindShader(const char* name);
    virtual void SetShader(Shader* shader);
    virtual int32_t ListShaders();
    virtual int32_t ReloadShaders();
    virtual void UpdateShaders();
    virtual VertexProgram* AddVertexProgram(const char* name);
    virtual void DeleteVertexProgramByName(const char* name);
    virtual int32_t DeleteAllVertexPrograms();
    virtual VertexProgram* FindVertexProgram(const char* name);
    virtual void SetVertexProgram(VertexProgram* program);
    virtual int32_t ListVertexPrograms();
    virtual int32_t ReloadVertexPrograms();

    // Debug drawing of segments in the scene, in the current colour.
    virtual void DrawLine(const Vec4& from, const Vec4& to);
    virtual void DrawTriangle(const Vec4 corners[3]);
    virtual void DrawRay(const Vec4 ray[2]);

    VertexArrayPool* vertexPool = nullptr;
    Console* console = nullptr;
    ScreenFont* font = nullptr;
    unsigned char drawNormals = 0;

    // Capabilities, written once by Init.
    bool hasMultitexture = false;
    bool hasEdgeClamp = false;
    bool hasCompiledVertexArray = false;
    bool hasVertexArrayRange = false;
    bool hasVertexArrayRange2 = false;
    bool hasRegisterCombiners = false;
    bool hasTransposeMatrix = false;
    bool hasTexEnvCombine = false;
    bool hasTexEnvDot3 = false;
    bool hasGenerateMipmap = false;
    bool hasVertexProgram = false;
    bool hasTexture3D = false;
    // Vertex program limits, read only when hasVertexProgram.
    int32_t maxProgramInstructions = 0;
    int32_t maxProgramNativeInstructions = 0;
    int32_t maxProgramTemporaries = 0;
    int32_t maxProgramNativeTemporaries = 0;
    int32_t maxProgramParameters = 0;
    int32_t maxProgramNativeParameters = 0;
    int32_t maxProgramAttribs = 0;
    int32_t maxProgramNativeAttribs = 0;
    int32_t maxProgramAddressRegisters = 0;
    int32_t maxProgramNativeAddressRegisters = 0;
    int32_t maxProgramEnvParameters = 0;
    int32_t maxVertexAttribs = 0;
    int32_t maxProgramMatrices = 0;
    int32_t maxProgramMatrixStackDepth = 0;

    // Frame statistics.
    uint32_t clearMask = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT;
    int32_t polygonCount = 0;
    int32_t framesThisSecond = 0;
    int32_t renderPercent = 0;
    int32_t updatePercent = 0;
    int32_t fps = 0;

    VertexProgram* currentVertexProgram = nullptr;
    Texture* currentTexture = nullptr;
    Shader* currentShader = nullptr;

    // The material definitions, "<start directory>\Ini\Shaders.ini".
    IniFile shaderDefinitions;

    Timer statsTimer;
    Timer stepTimer;
    Timer renderTimer;
    Timer updateTimer;
    float renderSeconds = 0;
    float updateSeconds = 0;

    // The archive the loaders read from; empty means plain files.
    char archiveName[256] = {};
    char archivePassword[256] = {};
    char startDirectory[256] = {};

    // The render-state cache: mirrors of GL state, tested by the caller
    // before each GL call.
    unsigned char lightingEnabled = 1;
    unsigned char blendEnabled = 0;
    unsigned char stencilTestEnabled = 0;
    unsigned char depthTestEnabled = 1;
    unsigned char depthMaskEnabled = 1;
    unsigned char cullFaceEnabled = 0;
    unsigned char unitTextureEnabled[32] = {1};
    unsigned char unitTexGenS[32] = {};
    unsigned char unitTexGenT[32] = {};
    int32_t maxGeneralCombiners = 0;
    GLenum cachedDepthFunc = GL_LESS;
    GLenum activeTextureUnit = 0x84C0; // GL_TEXTURE0_ARB
    GLenum cachedFrontFace = GL_CCW;
    int32_t maxTextureUnits = 1;

    // The three registries, each with the one list position its walks use.
    ResourceList* textures = nullptr;
    ResourceListNode* textureCursor = nullptr;
    ResourceList* shaders = nullptr;
    ResourceListNode* shaderCursor = nullptr;
    ResourceList* vertexPrograms = nullptr;
    ResourceListNode* vertexProgramCursor = nullptr;

protected:
    // The probes of Init, in their order; each sets its flag.
    void ProbeCapabilities();
};

extern Engine* g_engine;

// The word test behind ExtensionSupported, on a given extension list.
bool ExtensionListContains(const char* list, const char* name);

// Logs the driver's strings and sets the GL defaults. Called at start-up and
// after each display mode switch (a new context starts from GL's defaults).
bool InitGL();
// Viewport and a 45 degree perspective; a height of 0 becomes 1. The values
// are kept for GetPerspective.
void SetPerspective(int32_t width, int32_t height, float nearPlane, float farPlane);
// The values of the last SetPerspective: width, height (after the
// correction), near and far.
void GetPerspective(float* width, float* height, float* nearPlane, float* farPlane);
// printf into one static buffer of 256 characters, which is returned; each
// call overwrites the last result. A null format returns null.
const char* FormatString(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;
