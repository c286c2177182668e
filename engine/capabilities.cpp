// Init and the capability probes: which extensions the driver has, their
// entry points, and the limits that later code reads.
#include <cstdio>
#include <cstring>

#include "app/gl_entry_points.h"
#include "app/gl_setup.h"
#include "app/report.h"
#include "app/window.h"
#include "console/console.h"
#include "engine/engine.h"
#include "resources/screen_font.h"
#include "resources/vertex_array_pool.h"

namespace
{

// A required extension the driver lacks: its problem in the log (with no
// line feed, so two of them share a line of the file), its problem in a box
// and the box's caption.
struct MissingExtension
{
    const char* logText;
    const char* boxText;
    const char* caption;
};

const char* const kOldHardware = "Old hardware is still alive";

const MissingExtension kNoMultitexture = {"multitexturing not supported by your 3d card !",
                                          "multitexturing is not supported by your 3d card !",
                                          kOldHardware};
const MissingExtension kNoCompiledVertexArray = {
    "compiled vertex array are not supported by your 3d card !",
    "compiled vertex array are not supported by your 3d card !", kOldHardware};
const MissingExtension kNoTransposeMatrix = {
    "gl_arb_transpose not supported by your 3d card !",
    "opengl 1.3 is not supported your 3d card or may be your drivers is old", kOldHardware};
const MissingExtension kNoVertexProgram = {
    "gl_arb_vertex_program not supported by your 3d card !",
    "opengl 1.4 is not supported your 3d card or may be your drivers is old",
    "Incompatible hardware"};
const MissingExtension kNoTexture3D = {
    "3d texture not supported by your 3d card !",
    "your 3d card doesn't support 3d texture or your drivers is too old", "Hardware failure"};

// The limits of the vertex program extension, in the order they are read.
struct ProgramLimit
{
    GLenum name;
    int32_t ProgramLimits::*field;
};

const ProgramLimit kProgramLimits[] = {
    {GL_MAX_PROGRAM_INSTRUCTIONS_ARB, &ProgramLimits::maxProgramInstructions},
    {GL_MAX_PROGRAM_NATIVE_INSTRUCTIONS_ARB, &ProgramLimits::maxProgramNativeInstructions},
    {GL_MAX_PROGRAM_TEMPORARIES_ARB, &ProgramLimits::maxProgramTemporaries},
    {GL_MAX_PROGRAM_NATIVE_TEMPORARIES_ARB, &ProgramLimits::maxProgramNativeTemporaries},
    {GL_MAX_PROGRAM_PARAMETERS_ARB, &ProgramLimits::maxProgramParameters},
    {GL_MAX_PROGRAM_NATIVE_PARAMETERS_ARB, &ProgramLimits::maxProgramNativeParameters},
    {GL_MAX_PROGRAM_ATTRIBS_ARB, &ProgramLimits::maxProgramAttribs},
    {GL_MAX_PROGRAM_NATIVE_ATTRIBS_ARB, &ProgramLimits::maxProgramNativeAttribs},
    {GL_MAX_PROGRAM_ADDRESS_REGISTERS_ARB, &ProgramLimits::maxProgramAddressRegisters},
    {GL_MAX_PROGRAM_NATIVE_ADDRESS_REGISTERS_ARB, &ProgramLimits::maxProgramNativeAddressRegisters},
    {GL_MAX_PROGRAM_ENV_PARAMETERS_ARB, &ProgramLimits::maxProgramEnvParameters},
    {GL_MAX_VERTEX_ATTRIBS_ARB, &ProgramLimits::maxVertexAttribs},
    {GL_MAX_PROGRAM_MATRICES_ARB, &ProgramLimits::maxProgramMatrices},
    {GL_MAX_PROGRAM_MATRIX_STACK_DEPTH_ARB, &ProgramLimits::maxProgramMatrixStackDepth},
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

// What a probe reads, when its extension is present, behind the fetch.
enum class Limits
{
    None,
    TextureUnits,     // GL_MAX_TEXTURE_UNITS_ARB into maxTextureUnits
    GeneralCombiners, // GL_MAX_GENERAL_COMBINERS_NV into maxGeneralCombiners
    Program,          // the vertex program's limits, kProgramLimits
};

const int kNoGroup = -1;

// One probe of Init. The flag takes ExtensionSupported's answer for
// `extension` or, where that is absent, for `alternative`. Present: the
// entry point group is fetched (behind `line` where lineFirst), the limits
// are read, and `line` and then `countLine` (with the limit) go to the
// console. Absent: the failure, where there is one.
struct Probe
{
    const char* extension;
    const char* alternative;
    bool Capabilities::*flag;
    int group; // an EntryPointGroup, or kNoGroup
    bool lineFirst;
    Limits limits;
    const char* line;
    const char* countLine;
    const MissingExtension* missing;
};

// The probes, in the order Init runs them.
// clang-format off
const Probe kProbes[] = {
    {"GL_ARB_multitexture", nullptr, &Capabilities::hasMultitexture, kGroupMultitexture, false,
     Limits::TextureUnits, "> multitexturing supported", "  %d texture unit", &kNoMultitexture},
    {"GL_SGIS_texture_edge_clamp", "GL_EXT_texture_edge_clamp", &Capabilities::hasEdgeClamp,
     kNoGroup, false, Limits::None, "> texture egde clamping supported", nullptr, nullptr},
    {"GL_EXT_compiled_vertex_array", nullptr, &Capabilities::hasCompiledVertexArray,
     kGroupCompiledVertexArray, true, Limits::None, "> compiled vertex array supported", nullptr,
     &kNoCompiledVertexArray},
    {"GL_NV_vertex_array_range", nullptr, &Capabilities::hasVertexArrayRange, kGroupVertexArrayRange,
     true, Limits::None, "> vertex array range extension supported", nullptr, nullptr},
    {"GL_NV_vertex_array_range2", nullptr, &Capabilities::hasVertexArrayRange2, kNoGroup, false,
     Limits::None, "> vertex array range 2 extension supported", nullptr, nullptr},
    {"GL_NV_register_combiners", nullptr, &Capabilities::hasRegisterCombiners,
     kGroupRegisterCombiners, false, Limits::GeneralCombiners,
     "> register combiners extension supported", "  %d max general combiners", nullptr},
    {"GL_ARB_transpose_matrix", nullptr, &Capabilities::hasTransposeMatrix, kGroupTransposeMatrix,
     false, Limits::None, "> transpose matrix extension supported", nullptr, &kNoTransposeMatrix},
    {"GL_ARB_texture_env_combine", "GL_EXT_texture_env_combine", &Capabilities::hasTexEnvCombine,
     kNoGroup, false, Limits::None, "> texture environment combine extension supported", nullptr,
     nullptr},
    {"GL_ARB_texture_env_dot3", nullptr, &Capabilities::hasTexEnvDot3, kNoGroup, false,
     Limits::None, "> dotproduct3 texture extension supported", nullptr, nullptr},
    {"GL_SGIS_generate_mipmap", nullptr, &Capabilities::hasGenerateMipmap, kNoGroup, false,
     Limits::None, "> sgis generate mimap extension supported", nullptr, nullptr},
    {"GL_ARB_vertex_program", nullptr, &Capabilities::hasVertexProgram, kGroupVertexProgram, false,
     Limits::Program, "> arb vertex program supported", nullptr, &kNoVertexProgram},
    {"GL_EXT_texture3D", nullptr, &Capabilities::hasTexture3D, kGroupTexture3D, false,
     Limits::None, "> 3d texture supported", nullptr, &kNoTexture3D},
};
// clang-format on

// Reads the limits of `kind` into the engine; the result is the one limit
// that a count line shows.
int32_t ReadLimits(EngineBase& e, Limits kind)
{
    GLint value = 0;
    switch (kind)
    {
    case Limits::TextureUnits:
        glGetIntegerv(GL_MAX_TEXTURE_UNITS_ARB, &value);
        return e.capabilities.maxTextureUnits = value;
    case Limits::GeneralCombiners:
        glGetIntegerv(GL_MAX_GENERAL_COMBINERS_NV, &value);
        return e.capabilities.maxGeneralCombiners = value;
    case Limits::Program:
        for (const ProgramLimit& limit : kProgramLimits)
            e.programLimits.*limit.field = ReadProgramLimit(limit.name);
        return 0;
    case Limits::None:
        break;
    }
    return 0;
}

// The engine's console as the destination of console reports: whichever
// console the engine holds at the time.
void ToEngineConsole(const char* line, void* engine)
{
    if (ConsoleBase* console = static_cast<Engine*>(engine)->console)
        console->Printf("%s", line);
}

} // namespace

bool Engine::ExtensionSupported(const char* name)
{
    return ExtensionListContains(reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS)), name);
}

bool Engine::Init()
{
    // The screen font comes first: it loads the shader "Font" and its
    // textures, before the console exists and before the vertex program
    // entry points are fetched, so that definition names no program. The
    // console is made before the probes so that they have somewhere to
    // report.
    font = new ScreenFont("Font", 12, 7);
    console = new Console(font, g_window ? g_window->width : 0, g_window ? g_window->height : 0,
                          1024, 256, 12);
    AttachConsole(ToEngineConsole, this);
    ProbeCapabilities();
    // Ours, for the stage key "anisotropy": silent, present or not.
    capabilities.hasAnisotropicFilter = ExtensionSupported("GL_EXT_texture_filter_anisotropic");
    if (capabilities.hasAnisotropicFilter)
        glGetFloatv(GL_MAX_TEXTURE_MAX_ANISOTROPY_EXT, &capabilities.maxAnisotropy);
    // The pool takes no memory yet: the application sets it up.
    vertexPool = new VertexArrayPool;
    console->AddVariable("r_drawnormals", VariableBool, &drawNormals, false);
    stats.stepTimer.Reset();
    stats.statsTimer.Reset();
    return true;
}

void Engine::ProbeCapabilities()
{
    for (const Probe& probe : kProbes)
    {
        bool present = ExtensionSupported(probe.extension) ||
                       (probe.alternative && ExtensionSupported(probe.alternative));
        capabilities.*probe.flag = present;
        if (!present)
        {
            if (probe.missing)
            {
                Report(ToLog, Frame::InlineProblem, "%s", probe.missing->logText);
                ReportBox(Frame::Problem, probe.missing->boxText, probe.missing->caption, 0);
            }
            continue;
        }
        if (probe.lineFirst)
            Report(ToConsole, Frame::None, "%s", probe.line);
        if (probe.group != kNoGroup)
            FetchEntryPoints(static_cast<EntryPointGroup>(probe.group));
        int32_t count = ReadLimits(*this, probe.limits);
        if (!probe.lineFirst)
            Report(ToConsole, Frame::None, "%s", probe.line);
        if (probe.countLine)
            Report(ToConsole, Frame::None, probe.countLine, count);
    }
}
