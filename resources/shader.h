// Shader: the engine's material, read by name from the definition file.
//
// A shader is lighting colours, culling, depth and blend settings, an
// optional vertex program and up to 32 texture stages, each with its
// texture, an animated texture matrix, texture coordinate generation and a
// texture-environment combine set-up. Every GL constant in the definition is
// written by its symbolic name and turned into a number through the token
// table "Ini\tokens.ini", section "OpenGL":
//
//     ; Ini\Shaders.ini
//     [Font]
//     blending=true
//     blendsrc=GL_SRC_ALPHA
//     blenddst=GL_ONE_MINUS_SRC_ALPHA
//     nbstages=1
//     [Font - TU0]
//     map=tga\Font.tga
//     scroll=( 0.0, 0.0 )
//
// The registry makes shaders (Engine AddShader) and the engine's SetShader
// applies them: Apply puts the shader on the GL state through the engine's
// render-state cache, Unapply switches its texture targets off again, and
// Update advances the stage animation by one tick of 1/60 second.
#pragma once

#include <cstdint>

#include "app/math.h"

class IniFile;
class Texture;
class VertexProgram;

class Material
{
public:
    Material();
    virtual ~Material() = default;

    // Ambient and diffuse to both faces, specular, shininess and emission
    // to the front face.
    virtual void Apply();
    // A slot without a task.
    virtual void ReservedMaterialOperation();

    float ambient[4];
    float diffuse[4];
    float specular[4];
    float shininess;
    float emission[4];
};

// One texture unit of a shader.
struct ShaderStage
{
    Texture* texture;      // owned by the texture registry; null when the map didn't load
    float rotationSpeed;   // degrees a tick
    float rotationAngle;   // current angle
    float alphaScale;      // GL_ALPHA_SCALE
    float rgbScale;        // GL_RGB_SCALE
    Vec4 scale;            // x, y from the file; z 1, w 0
    Vec4 scrollSpeed;      // x, y from the file; z, w 0
    Vec4 scrollOffset;     // current translation
    uint32_t tcgenMode;    // glTexGeni mode; all bits set for none
    uint32_t sourceRgb0;   // GL_SOURCE0_RGB
    uint32_t sourceRgb1;   // GL_SOURCE1_RGB
    uint32_t opRgb0;       // GL_OPERAND0_RGB
    uint32_t opRgb1;       // GL_OPERAND1_RGB
    uint32_t combineRgb;   // GL_COMBINE_RGB
    uint32_t sourceAlpha0; // GL_SOURCE0_ALPHA
    uint32_t sourceAlpha1; // GL_SOURCE1_ALPHA
    uint32_t opAlpha0;     // GL_OPERAND0_ALPHA
    uint32_t opAlpha1;     // GL_OPERAND1_ALPHA
    uint32_t combineAlpha; // GL_COMBINE_ALPHA
    bool tcgenEnabled;     // tcgenMode names a mode
    bool staticTransform;  // the texture matrix never moves
    // Ours: the degree of anisotropic filtering given to the stage's
    // texture (1, the default, leaves the texture alone), and the texture
    // object that last got it, so that it is set once, not at every Apply.
    float anisotropy;
    const Texture* anisotropicTexture;
    uint32_t anisotropicTextureId;
};

class Shader
{
public:
    static constexpr int32_t kMaxStages = 32;

    explicit Shader(const char* name);
    // Frees the material. Textures and the vertex program belong to their
    // registries.
    virtual ~Shader();
    // Every shader alive, listed or not, oldest first: one taken off its
    // list lives on in the font, a mesh or the current shader, and must
    // still let go of a texture or program that is destroyed.
    static Shader* FirstLive() { return liveFirst; }
    Shader* NextLive() const { return liveNext; }
    Shader(const Shader&) = delete;
    Shader& operator=(const Shader&) = delete;

    // Reads the section `name` of `definitions` and the stage sections
    // "<name> - TU<i>", asks the registries for textures and the vertex
    // program, and restarts the stage animation. Never fails: whatever is
    // missing takes its default.
    virtual void Load(IniFile& definitions);
    virtual void Apply();
    // Switches the stages' texture targets off; nothing else.
    virtual void Unapply();
    // One tick of the stage animation.
    virtual void Update();
    // Frees `material` (null afterwards).
    virtual void ReleaseMaterial();

    ShaderStage stages[kMaxStages]; // the first stageCount are read
    VertexProgram* vertexProgram;   // owned by the vertex program registry
    Material* material;             // owned; a new one at each Load
    char name[256];
    bool culling;
    bool ccw;
    bool depthTest;
    bool depthMask;
    bool blending;
    bool hasVertexProgram;
    uint32_t depthFunc;
    int32_t stageCount;
    uint32_t blendSrc;
    uint32_t blendDst;

private:
    static Shader* liveFirst;
    static Shader* liveLast;
    Shader* livePrevious;
    Shader* liveNext;

    void LoadStage(IniFile& definitions, IniFile& tokens, ShaderStage& stage);
    void ApplyCulling();
    void ApplyDepth();
    void ApplyBlending();
    void ApplyStage(ShaderStage& stage, uint32_t unit);
    void ApplyAnisotropy(ShaderStage& stage);
};
