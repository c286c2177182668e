// The five extensions the engine needs, in the order of its probes, with
// what a run says when one is missing: the log text (no line feed) and the
// box, its text and caption.
#pragma once

namespace testsupport
{

struct RequiredExtension
{
    const char* name;
    const char* logText;
    const char* boxText;
    const char* caption;
};

inline const RequiredExtension kRequiredExtensions[5] = {
    {"GL_ARB_multitexture", "## multitexturing not supported by your 3d card ! ##",
     "## multitexturing is not supported by your 3d card ! ##", "Old hardware is still alive"},
    {"GL_EXT_compiled_vertex_array",
     "## compiled vertex array are not supported by your 3d card ! ##",
     "## compiled vertex array are not supported by your 3d card ! ##",
     "Old hardware is still alive"},
    {"GL_ARB_transpose_matrix", "## gl_arb_transpose not supported by your 3d card ! ##",
     "## opengl 1.3 is not supported your 3d card or may be your drivers is old ##",
     "Old hardware is still alive"},
    {"GL_ARB_vertex_program", "## gl_arb_vertex_program not supported by your 3d card ! ##",
     "## opengl 1.4 is not supported your 3d card or may be your drivers is old ##",
     "Incompatible hardware"},
    {"GL_EXT_texture3D", "## 3d texture not supported by your 3d card ! ##",
     "## your 3d card doesn't support 3d texture or your drivers is too old ##",
     "Hardware failure"},
};

} // namespace testsupport
