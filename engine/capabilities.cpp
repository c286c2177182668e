// Init and the capability probes: which extensions the driver has, their
// entry points, and the limits that later code reads.
#include <cstdio>
#include <cstring>

#include "app/log.h"
#include "app/window.h"
#include "console/console.h"
#include "engine/engine.h"
#include "app/gl_entry_points.h"
#include "platform/message_box.h"

namespace
{

// A required extension the driver lacks: its log text (no line feed, so
// two of them share a line of the file), its box text and caption.
struct MissingExtension
{
    const char* logText;
    const char* boxText;
    const char* caption;
};

const char* const kOldHardware = "Old hardware is still alive";

const MissingExtension kNoMultitexture = {"## multitexturing not supported by your 3d card ! ##",
                                          "## multitexturing is not supported by your 3d card ! ##",
                                          kOldHardware};
const MissingExtension kNoCompiledVertexArray = {
    "## compiled vertex array are not supported by your 3d card ! ##",
    "## compiled vertex array are not supported by your 3d card ! ##", kOldHardware};
const MissingExtension kNoTransposeMatrix = {
    "## gl_arb_transpose not supported by your 3d card ! ##",
    "## opengl 1.3 is not supported your 3d card or may be your drivers is old ##", kOldHardware};
const MissingExtension kNoVertexProgram = {
    "## gl_arb_vertex_program not supported by your 3d card ! ##",
    "## opengl 1.4 is not supported your 3d card or may be your drivers is old ##",
    "Incompatible hardware"};
const MissingExtension kNoTexture3D = {
    "## 3d texture not supported by your 3d card ! ##",
    "## your 3d card doesn't support 3d texture or your drivers is too old ##", "Hardware failure"};

void ReportMissing(const MissingExtension& missing)
{
    LogPrintf("%s", missing.logText);
    MessageBox(missing.boxText, missing.caption, 0);
}

// The limits of the vertex program extension, in the order they are read.
struct ProgramLimit
{
    GLenum name;
    int32_t Engine::*field;
};

const ProgramLimit kProgramLimits[] = {
    {GL_MAX_PROGRAM_INSTRUCTIONS_ARB, &Engine::maxProgramInstructions},
    {GL_MAX_PROGRAM_NATIVE_INSTRUCTIONS_ARB, &Engine::maxProgramNativeInstructions},
    {GL_MAX_PROGRAM_TEMPORARIES_ARB, &Engine::maxProgramTemporaries},
    {GL_MAX_PROGRAM_NATIVE_TEMPORARIES_ARB, &Engine::maxProgramNativeTemporaries},
    {GL_MAX_PROGRAM_PARAMETERS_ARB, &Engine::maxProgramParameters},
    {GL_MAX_PROGRAM_NATIVE_PARAMETERS_ARB, &Engine::maxProgramNativeParameters},
    {GL_MAX_PROGRAM_ATTRIBS_ARB, &Engine::maxProgramAttribs},
    {GL_MAX_PROGRAM_NATIVE_ATTRIBS_ARB, &Engine::maxProgramNativeAttribs},
    {GL_MAX_PROGRAM_ADDRESS_REGISTERS_ARB, &Engine::maxProgramAddressRegisters},
    {GL_MAX_PROGRAM_NATIVE_ADDRESS_REGISTERS_ARB, &Engine::maxProgramNativeAddressRegisters},
    {GL_MAX_PROGRAM_ENV_PARAMETERS_ARB, &Engine::maxProgramEnvParameters},
    {GL_MAX_VERTEX_ATTRIBS_ARB, &Engine::maxVertexAttribs},
    {GL_MAX_PROGRAM_MATRICES_ARB, &Engine::maxProgramMatrices},
    {GL_MAX_PROGRAM_MATRIX_STACK_DEPTH_ARB, &Engine::maxProgramMatrixStackDepth},
};

// Drivers of today answer most of these limits only per program target, and
// refuse them as plain integers: where glGetIntegerv refuses, ask the
// vertex program target, and leave no error behind.
int32_t ReadProgramLimit(GLenum name)
{
    while (glGetError() != GL_NO_ERROR)
    {
    }
    GLint value = 0;
    glGetIntegerv(name, &value);
    if (glGetError() != GL_NO_ERROR && ep_glGetProgramivARB)
    {
        value = 0;
        glGetProgramivARB(GL_VERTEX_PROGRAM_ARB, name, &value);
        glGetError();
    }
    return value;
}

} // namespace

// Whole words only: "GL_NV_vertex_array_range" is not found in a list that
// holds just "GL_NV_vertex_array_range2". Letter case counts.
bool ExtensionListContains(const char* list, const char* name)
{
    if (!list || !name)
        return false;
    size_t nameLength = strlen(name);
    const char* end = list + strlen(list);
    for (const char* word = list; word < end;)
    {
        size_t length = strcspn(word, " ");
        if (length == nameLength && strncmp(word, name, length) == 0)
            return true;
        word += length + 1;
    }
    return false;
}

bool Engine::ExtensionSupported(const char* name)
{
    return ExtensionListContains(reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS)), name);
}

bool Engine::Init()
{
    // The screen font (with its shader "Font") comes first and the vertex
    // memory pool after the probes, once their subsystems exist, and the
    // console publishes r_drawnormals once it has variables. The console
    // is made before the probes so that they have somewhere to report.
    console = new Console(font, g_window ? g_window->width : 0, g_window ? g_window->height : 0,
                          1024, 256, 12);
    ProbeCapabilities();
    stepTimer.Reset();
    statsTimer.Reset();
    return true;
}

void Engine::ProbeCapabilities()
{
    hasMultitexture = ExtensionSupported("GL_ARB_multitexture");
    if (hasMultitexture)
    {
        FetchEntryPoints(kGroupMultitexture);
        GLint units = 0;
        glGetIntegerv(GL_MAX_TEXTURE_UNITS_ARB, &units);
        maxTextureUnits = units;
        console->Printf("> multitexturing supported");
        console->Printf("  %d texture unit", maxTextureUnits);
    }
    else
        ReportMissing(kNoMultitexture);

    hasEdgeClamp = ExtensionSupported("GL_SGIS_texture_edge_clamp") ||
                   ExtensionSupported("GL_EXT_texture_edge_clamp");
    if (hasEdgeClamp)
        console->Printf("> texture egde clamping supported");

    hasCompiledVertexArray = ExtensionSupported("GL_EXT_compiled_vertex_array");
    if (hasCompiledVertexArray)
    {
        console->Printf("> compiled vertex array supported");
        FetchEntryPoints(kGroupCompiledVertexArray);
    }
    else
        ReportMissing(kNoCompiledVertexArray);

    hasVertexArrayRange = ExtensionSupported("GL_NV_vertex_array_range");
    if (hasVertexArrayRange)
    {
        console->Printf("> vertex array range extension supported");
        FetchEntryPoints(kGroupVertexArrayRange);
    }

    hasVertexArrayRange2 = ExtensionSupported("GL_NV_vertex_array_range2");
    if (hasVertexArrayRange2)
        console->Printf("> vertex array range 2 extension supported");

    hasRegisterCombiners = ExtensionSupported("GL_NV_register_combiners");
    if (hasRegisterCombiners)
    {
        FetchEntryPoints(kGroupRegisterCombiners);
        GLint combiners = 0;
        glGetIntegerv(GL_MAX_GENERAL_COMBINERS_NV, &combiners);
        maxGeneralCombiners = combiners;
        console->Printf("> register combiners extension supported");
        console->Printf("  %d max general combiners", maxGeneralCombiners);
    }

    hasTransposeMatrix = ExtensionSupported("GL_ARB_transpose_matrix");
    if (hasTransposeMatrix)
    {
        FetchEntryPoints(kGroupTransposeMatrix);
        console->Printf("> transpose matrix extension supported");
    }
    else
        ReportMissing(kNoTransposeMatrix);

    hasTexEnvCombine = ExtensionSupported("GL_ARB_texture_env_combine") ||
                       ExtensionSupported("GL_EXT_texture_env_combine");
    if (hasTexEnvCombine)
        console->Printf("> texture environment combine extension supported");

    hasTexEnvDot3 = ExtensionSupported("GL_ARB_texture_env_dot3");
    if (hasTexEnvDot3)
        console->Printf("> dotproduct3 texture extension supported");

    hasGenerateMipmap = ExtensionSupported("GL_SGIS_generate_mipmap");
    if (hasGenerateMipmap)
        console->Printf("> sgis generate mimap extension supported");

    hasVertexProgram = ExtensionSupported("GL_ARB_vertex_program");
    if (hasVertexProgram)
    {
        FetchEntryPoints(kGroupVertexProgram);
        for (const ProgramLimit& limit : kProgramLimits)
            this->*limit.field = ReadProgramLimit(limit.name);
        console->Printf("> arb vertex program supported");
    }
    else
        ReportMissing(kNoVertexProgram);

    hasTexture3D = ExtensionSupported("GL_EXT_texture3D");
    if (hasTexture3D)
    {
        FetchEntryPoints(kGroupTexture3D);
        console->Printf("> 3d texture supported");
    }
    else
        ReportMissing(kNoTexture3D);
}
