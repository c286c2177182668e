// Reading a shader from the definition file through the token table.
//
// Two INI files under the engine's start directory: "Ini\Shaders.ini" (the
// engine's shaderDefinitions, handed in) holds one section per shader and
// one per stage; "Ini\tokens.ini" maps the GL names used there to their
// numbers, written in hexadecimal. The token file is opened afresh for each
// Load and read key by key, so both files may be edited while the program
// runs and a reload picks the change up.
#include "resources/shader.h"

#include <cstdio>
#include <cstring>

#include "app/ini_file.h"
#include "platform/path_map.h"
#include "resources/engine_base.h"

namespace
{

const char* const kTokenFile = "Ini\\tokens.ini";
const char* const kTokenSection = "OpenGL";
const char* const kStageSection = "%s - TU%d";
const char* const kNoVertexProgram = "none";
const char* const kWhite = "( 1.0, 1.0, 1.0, 1.0 )";

// A value of Shaders.ini is at most 127 characters, so no word of it is
// longer than this.
constexpr int kWordSize = 128;

// The number of the GL name that `key` holds (or `def` names). A name the
// table lacks, or a missing table, gives all bits set.
uint32_t ReadToken(IniFile& definitions, IniFile& tokens, const char* key, const char* def)
{
    const char* tokenName = definitions.GetString(key, def);
    return static_cast<uint32_t>(tokens.GetHex(tokenName, -1));
}

// "( r, g, b, a )": a word, a number, a word, ... so the opening bracket and
// each comma are words of their own (a comma needs white space behind it)
// and the closing bracket isn't looked at. Numbers that don't scan keep
// 1.0, the value of the key's default, so "( 0.5 )" is (0.5, 1, 1, 1).
void ReadColour(IniFile& definitions, const char* key, float colour[4])
{
    const char* text = definitions.GetString(key, kWhite);
    char word[kWordSize];
    colour[0] = colour[1] = colour[2] = colour[3] = 1.0f;
    sscanf(text, "%127s %f %127s %f %127s %f %127s %f", word, &colour[0], word, &colour[1], word,
           &colour[2], word, &colour[3]);
}

// "( x, y )" into x and y of `v`, which keep their values where the text
// doesn't scan.
void ReadPair(IniFile& definitions, const char* key, const char* def, Vec4& v)
{
    const char* text = definitions.GetString(key, def);
    char word[kWordSize];
    sscanf(text, "%127s %f %127s %f", word, &v.x, word, &v.y);
}

// A file name read from the definitions, kept apart from the shared result
// buffer of the INI reader while the registries load it.
void ReadText(IniFile& definitions, const char* key, const char* def, char (&out)[256])
{
    snprintf(out, sizeof out, "%s", definitions.GetString(key, def));
}

} // namespace

void Shader::Load(IniFile& definitions)
{
    // Formed in a buffer as deep as the start directory; a path that doesn't
    // fit leaves the reader without a file, and every token is then unknown.
    IniFile tokens;
    char tokenPath[kMaxPath];
    if (JoinPath(g_engine->startDirectory, kTokenFile, tokenPath, sizeof tokenPath))
        tokens.SetFile(tokenPath);
    tokens.SetSection(kTokenSection);
    definitions.SetSection(name);

    ReleaseMaterial();
    material = new Material;
    ReadColour(definitions, "ambient", material->ambient);
    ReadColour(definitions, "diffuse", material->diffuse);
    ReadColour(definitions, "specular", material->specular);
    ReadColour(definitions, "emission", material->emission);
    material->shininess = definitions.GetFloat("shininess", 0.0f);
    culling = definitions.GetBool("culling", true);
    ccw = definitions.GetBool("ccw", true);
    depthTest = definitions.GetBool("depthtest", true);
    depthMask = definitions.GetBool("depthmask", true);
    depthFunc = ReadToken(definitions, tokens, "depthfunc", "GL_LESS");
    blendSrc = ReadToken(definitions, tokens, "blendsrc", "GL_ONE");
    blendDst = ReadToken(definitions, tokens, "blenddst", "GL_ZERO");
    blending = definitions.GetBool("blending", false);
    // The record has room for 32 stages and the drawing code takes the
    // count as unsigned: a count outside 0 to 32 is clamped to that range.
    stageCount = definitions.GetInt("nbstages", 1);
    if (stageCount < 0)
        stageCount = 0;
    if (stageCount > kMaxStages)
        stageCount = kMaxStages;

    char program[256];
    ReadText(definitions, "vertex_program", kNoVertexProgram, program);
    if (strcmp(program, kNoVertexProgram) == 0)
    {
        hasVertexProgram = false;
    }
    else
    {
        vertexProgram = g_engine->AddVertexProgram(program);
        hasVertexProgram = true;
    }

    for (int32_t i = 0; i < stageCount; ++i)
    {
        // Section names are cut at 255 characters by the INI reader: a name
        // near that limit loses its stage suffix, and such stages then share
        // whatever section the cut name finds.
        char section[sizeof name + 16];
        snprintf(section, sizeof section, kStageSection, name, i);
        definitions.SetSection(section);
        LoadStage(definitions, tokens, stages[i]);
    }
}

void Shader::LoadStage(IniFile& definitions, IniFile& tokens, ShaderStage& stage)
{
    uint32_t magFilter = ReadToken(definitions, tokens, "mag_filter", "GL_LINEAR");
    uint32_t minFilter = ReadToken(definitions, tokens, "min_filter", "GL_LINEAR_MIPMAP_NEAREST");
    uint32_t wrapU = ReadToken(definitions, tokens, "wrap_u", "GL_REPEAT");
    uint32_t wrapV = ReadToken(definitions, tokens, "wrap_v", "GL_REPEAT");
    char map[256];
    ReadText(definitions, "map", "tga\\Default.tga", map);
    stage.texture = g_engine->AddTexture(map, wrapU, wrapV, magFilter, minFilter);

    stage.rotationAngle = 0;
    stage.rotationSpeed = definitions.GetFloat("rotation", 0.0f);
    stage.scrollOffset.Set(0, 0, 0, 0);
    stage.scrollSpeed.Set(0, 0, 0, 0);
    ReadPair(definitions, "scroll", "( 0.0, 0.0 )", stage.scrollSpeed);
    stage.scale.Set(1, 1, 1, 0);
    ReadPair(definitions, "scale", "( 1.0, 1.0 )", stage.scale);
    stage.staticTransform = stage.scale.x == 1.0f && stage.scale.y == 1.0f &&
                            stage.scale.z == 1.0f && stage.scrollSpeed.x == 0.0f &&
                            stage.scrollSpeed.y == 0.0f && stage.scrollSpeed.z == 0.0f &&
                            stage.rotationSpeed == 0.0f;

    // "false" is no GL name: the default finds nothing and gives no
    // coordinate generation.
    stage.tcgenMode = ReadToken(definitions, tokens, "tcgen", "false");
    stage.tcgenEnabled = stage.tcgenMode != 0xFFFFFFFFu;
    stage.sourceRgb0 = ReadToken(definitions, tokens, "source_rgb0", "GL_TEXTURE");
    stage.sourceRgb1 = ReadToken(definitions, tokens, "source_rgb1", "GL_PREVIOUS");
    stage.opRgb0 = ReadToken(definitions, tokens, "op_rgb0", "GL_SRC_COLOR");
    stage.opRgb1 = ReadToken(definitions, tokens, "op_rgb1", "GL_SRC_COLOR");
    stage.combineRgb = ReadToken(definitions, tokens, "combine_rgb", "GL_MODULATE");
    stage.sourceAlpha0 = ReadToken(definitions, tokens, "source_alpha0", "GL_TEXTURE");
    stage.sourceAlpha1 = ReadToken(definitions, tokens, "source_alpha1", "GL_PREVIOUS");
    stage.opAlpha0 = ReadToken(definitions, tokens, "op_alpha0", "GL_SRC_ALPHA");
    stage.opAlpha1 = ReadToken(definitions, tokens, "op_alpha1", "GL_SRC_ALPHA");
    stage.combineAlpha = ReadToken(definitions, tokens, "combine_alpha", "GL_MODULATE");
    stage.alphaScale = definitions.GetFloat("alpha_scale", 1.0f);
    stage.rgbScale = definitions.GetFloat("rgb_scale", 1.0f);
    // Ours: 1 leaves the texture's filtering as it is.
    stage.anisotropy = definitions.GetFloat("anisotropy", 1.0f);
    stage.anisotropicTexture = nullptr;
    stage.anisotropicTextureId = 0;
}
