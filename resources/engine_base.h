// The engine as every layer sees it: the record and the table of virtual
// operations of the one central object, reached through g_engine.
//
// The object is an Engine (engine/engine.h), or the application derived from
// it; this base is declared here, below the objects that call back into it,
// so that a texture binding through the render-state cache, a shader asking
// the registries for its textures or a mesh adding to the polygon count
// link against this layer only. The registry operations are implemented
// here too (resources/registries.cpp); the frame driver, Init, the
// capability probes and the debug drawing are the Engine's, in engine/.
#pragma once

#include <GL/gl.h>
#include <cstdint>

#include "app/ini_file.h"
#include "app/math.h"
#include "app/timer.h"
#include "resources/render_state_cache.h"

class ConsoleBase;
class ScreenFont;
class VertexArrayPool;
class Texture;
class Shader;
class VertexProgram;
// The registries' doubly linked lists and their nodes.
class ResourceList;
class ResourceListNode;

// Which extensions the driver has and its limits. Init writes each field
// once; only the texture units, the vertex program, combine, mipmap
// generation, vertex array range and anisotropy are read afterwards.
struct Capabilities
{
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
    // Anisotropic texture filtering (GL_EXT_texture_filter_anisotropic),
    // probed silently after the others, and the driver's greatest degree.
    bool hasAnisotropicFilter = false;
    float maxAnisotropy = 1.0f;
    // 1 until the multitexture probe reads the real number.
    int32_t maxTextureUnits = 1;
    int32_t maxGeneralCombiners = 0;
};

// The vertex program extension's limits, read only when the driver has it.
struct ProgramLimits
{
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
};

// The frame driver's statistics and the timers behind them: the polygons of
// this frame, the frames of the last second and its shares of drawing and
// update ticks. The timers are constructed, and so read the counter, in
// this order.
struct FrameStats
{
    int32_t polygonCount = 0;
    int32_t framesThisSecond = 0;
    int32_t renderPercent = 0;
    int32_t updatePercent = 0;
    int32_t fps = 0;
    Timer statsTimer;
    Timer stepTimer;
    Timer renderTimer;
    Timer updateTimer;
    // Seconds of the current second spent drawing and in update ticks.
    float renderSeconds = 0;
    float updateSeconds = 0;
};

class EngineBase
{
public:
    EngineBase();
    virtual ~EngineBase();

    // Run at 60 ticks a second by Frame; empty here.
    virtual void Update() {}
    // Screen coordinates for overlays: y grows downwards from the top edge.
    virtual void Begin2D(double width, double height) = 0;
    virtual void End2D() = 0;
    // Clears, keeps the statistics, runs the ticks; a subclass calls it
    // first, draws, then calls EndFrame.
    virtual bool Frame() = 0;
    // The second half of construction, with a GL context current: font,
    // console, capability probes, entry points, limits.
    virtual bool Init() = 0;
    // Whether the driver lists `name` as a whole word of its extensions.
    virtual bool ExtensionSupported(const char* name) = 0;
    virtual int32_t GetFps() = 0;
    virtual void EndFrame() = 0;

    // The resource registries: each resource exists once, asked for by
    // name. Implemented here, in resources/registries.cpp.
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
    virtual void DrawLine(const Vec4& from, const Vec4& to) = 0;
    virtual void DrawTriangle(const Vec4 corners[3]) = 0;
    virtual void DrawRay(const Vec4 ray[2]) = 0;

    VertexArrayPool* vertexPool = nullptr;
    ConsoleBase* console = nullptr;
    ScreenFont* font = nullptr;
    unsigned char drawNormals = 0;

    // What the driver offers, probed once by Init.
    Capabilities capabilities;
    ProgramLimits programLimits;

    // Given to glClear at the start of each frame.
    uint32_t clearMask = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT;
    FrameStats stats;

    VertexProgram* currentVertexProgram = nullptr;
    Texture* currentTexture = nullptr;
    Shader* currentShader = nullptr;

    // The material definitions, "<start directory>\Ini\Shaders.ini".
    IniFile shaderDefinitions;

    // The archive the loaders read from; empty means plain files.
    char archiveName[256] = {};
    char archivePassword[256] = {};
    // The working directory at construction, as deep as the system allows.
    char startDirectory[kMaxPath] = {};

    // Mirrors of the GL state that materials, text and the scene switch;
    // every change goes through its methods.
    RenderStateCache renderState;

    // The three registries, each with the one list position its walks use.
    ResourceList* textures = nullptr;
    ResourceListNode* textureCursor = nullptr;
    ResourceList* shaders = nullptr;
    ResourceListNode* shaderCursor = nullptr;
    ResourceList* vertexPrograms = nullptr;
    ResourceListNode* vertexProgramCursor = nullptr;
};

// The one engine object: set by the program when it makes the application,
// null before and after.
extern EngineBase* g_engine;
