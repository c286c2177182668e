// The GL extension entry points the engine calls.
//
// Each of the 91 names is a global function pointer, null until
// FetchEntryPoints fetches its group from the current context. The pointers
// are kept under other names (ep_<name>) and the GL names are aliased to
// them by macros, because Mesa's headers already declare some of these
// names as functions. Code therefore reads as plain OpenGL:
//     glActiveTextureARB(GL_TEXTURE0_ARB);
// Include this header instead of <GL/gl.h> wherever an extension is called;
// it brings gl.h and glext.h in first so that their declarations are not
// renamed by the macros.
#pragma once

#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glu.h>

// The allocator of the vertex array range extension has no prototype type in
// glext.h.
typedef void*(APIENTRYP PFNWGLALLOCATEMEMORYNVPROC)(GLsizei size, GLfloat readFrequency,
                                                    GLfloat writeFrequency, GLfloat priority);
typedef void(APIENTRYP PFNWGLFREEMEMORYNVPROC)(void* pointer);

// The groups, each fetched when its extension is found.
enum EntryPointGroup
{
    kGroupMultitexture,        // A: GL_ARB_multitexture
    kGroupCompiledVertexArray, // B: GL_EXT_compiled_vertex_array
    kGroupVertexArrayRange,    // C: GL_NV_vertex_array_range
    kGroupRegisterCombiners,   // D: GL_NV_register_combiners
    kGroupTransposeMatrix,     // E: GL_ARB_transpose_matrix
    kGroupVertexProgram,       // F: GL_ARB_vertex_program
    kGroupTexture3D,           // G: GL_EXT_texture3D
};

// X(group, pointer type, name), in the order each group is fetched.
#define TESSIMO_GL_ENTRY_POINTS(X)                                                                 \
    X(kGroupMultitexture, PFNGLACTIVETEXTUREARBPROC, glActiveTextureARB)                           \
    X(kGroupMultitexture, PFNGLMULTITEXCOORD2FARBPROC, glMultiTexCoord2fARB)                       \
    X(kGroupMultitexture, PFNGLCLIENTACTIVETEXTUREARBPROC, glClientActiveTextureARB)               \
    X(kGroupCompiledVertexArray, PFNGLLOCKARRAYSEXTPROC, glLockArraysEXT)                          \
    X(kGroupCompiledVertexArray, PFNGLUNLOCKARRAYSEXTPROC, glUnlockArraysEXT)                      \
    X(kGroupVertexArrayRange, PFNGLFLUSHVERTEXARRAYRANGENVPROC, glFlushVertexArrayRangeNV)         \
    X(kGroupVertexArrayRange, PFNGLVERTEXARRAYRANGENVPROC, glVertexArrayRangeNV)                   \
    X(kGroupVertexArrayRange, PFNWGLALLOCATEMEMORYNVPROC, wglAllocateMemoryNV)                     \
    X(kGroupVertexArrayRange, PFNWGLFREEMEMORYNVPROC, wglFreeMemoryNV)                             \
    X(kGroupRegisterCombiners, PFNGLCOMBINERPARAMETERFVNVPROC, glCombinerParameterfvNV)            \
    X(kGroupRegisterCombiners, PFNGLCOMBINERPARAMETERIVNVPROC, glCombinerParameterivNV)            \
    X(kGroupRegisterCombiners, PFNGLCOMBINERPARAMETERFNVPROC, glCombinerParameterfNV)              \
    X(kGroupRegisterCombiners, PFNGLCOMBINERPARAMETERINVPROC, glCombinerParameteriNV)              \
    X(kGroupRegisterCombiners, PFNGLCOMBINERINPUTNVPROC, glCombinerInputNV)                        \
    X(kGroupRegisterCombiners, PFNGLCOMBINEROUTPUTNVPROC, glCombinerOutputNV)                      \
    X(kGroupRegisterCombiners, PFNGLFINALCOMBINERINPUTNVPROC, glFinalCombinerInputNV)              \
    X(kGroupRegisterCombiners, PFNGLGETCOMBINERINPUTPARAMETERFVNVPROC,                             \
      glGetCombinerInputParameterfvNV)                                                             \
    X(kGroupRegisterCombiners, PFNGLGETCOMBINERINPUTPARAMETERIVNVPROC,                             \
      glGetCombinerInputParameterivNV)                                                             \
    X(kGroupRegisterCombiners, PFNGLGETCOMBINEROUTPUTPARAMETERFVNVPROC,                            \
      glGetCombinerOutputParameterfvNV)                                                            \
    X(kGroupRegisterCombiners, PFNGLGETCOMBINEROUTPUTPARAMETERIVNVPROC,                            \
      glGetCombinerOutputParameterivNV)                                                            \
    X(kGroupRegisterCombiners, PFNGLGETFINALCOMBINERINPUTPARAMETERFVNVPROC,                        \
      glGetFinalCombinerInputParameterfvNV)                                                        \
    X(kGroupRegisterCombiners, PFNGLGETFINALCOMBINERINPUTPARAMETERIVNVPROC,                        \
      glGetFinalCombinerInputParameterivNV)                                                        \
    X(kGroupTransposeMatrix, PFNGLLOADTRANSPOSEMATRIXFARBPROC, glLoadTransposeMatrixfARB)          \
    X(kGroupTransposeMatrix, PFNGLLOADTRANSPOSEMATRIXDARBPROC, glLoadTransposeMatrixdARB)          \
    X(kGroupTransposeMatrix, PFNGLMULTTRANSPOSEMATRIXFARBPROC, glMultTransposeMatrixfARB)          \
    X(kGroupTransposeMatrix, PFNGLMULTTRANSPOSEMATRIXDARBPROC, glMultTransposeMatrixdARB)          \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB1SARBPROC, glVertexAttrib1sARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB1FARBPROC, glVertexAttrib1fARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB1DARBPROC, glVertexAttrib1dARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB2SARBPROC, glVertexAttrib2sARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB2FARBPROC, glVertexAttrib2fARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB2DARBPROC, glVertexAttrib2dARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB3SARBPROC, glVertexAttrib3sARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB3FARBPROC, glVertexAttrib3fARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB3DARBPROC, glVertexAttrib3dARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4SARBPROC, glVertexAttrib4sARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4FARBPROC, glVertexAttrib4fARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4DARBPROC, glVertexAttrib4dARB)                        \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4NUBARBPROC, glVertexAttrib4NubARB)                    \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB1SVARBPROC, glVertexAttrib1svARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB1FVARBPROC, glVertexAttrib1fvARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB1DVARBPROC, glVertexAttrib1dvARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB2SVARBPROC, glVertexAttrib2svARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB2FVARBPROC, glVertexAttrib2fvARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB2DVARBPROC, glVertexAttrib2dvARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB3SVARBPROC, glVertexAttrib3svARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB3FVARBPROC, glVertexAttrib3fvARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB3DVARBPROC, glVertexAttrib3dvARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4BVARBPROC, glVertexAttrib4bvARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4SVARBPROC, glVertexAttrib4svARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4IVARBPROC, glVertexAttrib4ivARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4UBVARBPROC, glVertexAttrib4ubvARB)                    \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4USVARBPROC, glVertexAttrib4usvARB)                    \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4UIVARBPROC, glVertexAttrib4uivARB)                    \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4FVARBPROC, glVertexAttrib4fvARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4DVARBPROC, glVertexAttrib4dvARB)                      \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4NBVARBPROC, glVertexAttrib4NbvARB)                    \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4NSVARBPROC, glVertexAttrib4NsvARB)                    \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4NIVARBPROC, glVertexAttrib4NivARB)                    \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4NUBVARBPROC, glVertexAttrib4NubvARB)                  \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4NUSVARBPROC, glVertexAttrib4NusvARB)                  \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIB4NUIVARBPROC, glVertexAttrib4NuivARB)                  \
    X(kGroupVertexProgram, PFNGLVERTEXATTRIBPOINTERARBPROC, glVertexAttribPointerARB)              \
    X(kGroupVertexProgram, PFNGLENABLEVERTEXATTRIBARRAYARBPROC, glEnableVertexAttribArrayARB)      \
    X(kGroupVertexProgram, PFNGLDISABLEVERTEXATTRIBARRAYARBPROC, glDisableVertexAttribArrayARB)    \
    X(kGroupVertexProgram, PFNGLPROGRAMSTRINGARBPROC, glProgramStringARB)                          \
    X(kGroupVertexProgram, PFNGLBINDPROGRAMARBPROC, glBindProgramARB)                              \
    X(kGroupVertexProgram, PFNGLDELETEPROGRAMSARBPROC, glDeleteProgramsARB)                        \
    X(kGroupVertexProgram, PFNGLGENPROGRAMSARBPROC, glGenProgramsARB)                              \
    X(kGroupVertexProgram, PFNGLPROGRAMENVPARAMETER4DARBPROC, glProgramEnvParameter4dARB)          \
    X(kGroupVertexProgram, PFNGLPROGRAMENVPARAMETER4DVARBPROC, glProgramEnvParameter4dvARB)        \
    X(kGroupVertexProgram, PFNGLPROGRAMENVPARAMETER4FARBPROC, glProgramEnvParameter4fARB)          \
    X(kGroupVertexProgram, PFNGLPROGRAMENVPARAMETER4FVARBPROC, glProgramEnvParameter4fvARB)        \
    X(kGroupVertexProgram, PFNGLPROGRAMLOCALPARAMETER4DARBPROC, glProgramLocalParameter4dARB)      \
    X(kGroupVertexProgram, PFNGLPROGRAMLOCALPARAMETER4DVARBPROC, glProgramLocalParameter4dvARB)    \
    X(kGroupVertexProgram, PFNGLPROGRAMLOCALPARAMETER4FARBPROC, glProgramLocalParameter4fARB)      \
    X(kGroupVertexProgram, PFNGLPROGRAMLOCALPARAMETER4FVARBPROC, glProgramLocalParameter4fvARB)    \
    X(kGroupVertexProgram, PFNGLGETPROGRAMENVPARAMETERDVARBPROC, glGetProgramEnvParameterdvARB)    \
    X(kGroupVertexProgram, PFNGLGETPROGRAMENVPARAMETERFVARBPROC, glGetProgramEnvParameterfvARB)    \
    X(kGroupVertexProgram, PFNGLGETPROGRAMLOCALPARAMETERDVARBPROC,                                 \
      glGetProgramLocalParameterdvARB)                                                             \
    X(kGroupVertexProgram, PFNGLGETPROGRAMLOCALPARAMETERFVARBPROC,                                 \
      glGetProgramLocalParameterfvARB)                                                             \
    X(kGroupVertexProgram, PFNGLGETPROGRAMIVARBPROC, glGetProgramivARB)                            \
    X(kGroupVertexProgram, PFNGLGETPROGRAMSTRINGARBPROC, glGetProgramStringARB)                    \
    X(kGroupVertexProgram, PFNGLGETVERTEXATTRIBDVARBPROC, glGetVertexAttribdvARB)                  \
    X(kGroupVertexProgram, PFNGLGETVERTEXATTRIBFVARBPROC, glGetVertexAttribfvARB)                  \
    X(kGroupVertexProgram, PFNGLGETVERTEXATTRIBIVARBPROC, glGetVertexAttribivARB)                  \
    X(kGroupVertexProgram, PFNGLGETVERTEXATTRIBPOINTERVARBPROC, glGetVertexAttribPointervARB)      \
    X(kGroupVertexProgram, PFNGLISPROGRAMARBPROC, glIsProgramARB)                                  \
    X(kGroupTexture3D, PFNGLTEXIMAGE3DPROC, glTexImage3D)                                          \
    X(kGroupTexture3D, PFNGLTEXSUBIMAGE3DPROC, glTexSubImage3D)                                    \
    X(kGroupTexture3D, PFNGLCOPYTEXSUBIMAGE3DPROC, glCopyTexSubImage3D)

#define TESSIMO_DECLARE_ENTRY_POINT(group, type, name) extern type ep_##name;
TESSIMO_GL_ENTRY_POINTS(TESSIMO_DECLARE_ENTRY_POINT)
#undef TESSIMO_DECLARE_ENTRY_POINT

// Fetches every entry point of one group from the current context. Results
// are stored as they come: a name the driver lacks stays null.
void FetchEntryPoints(EntryPointGroup group);
// Number of names in the list (91), and in one group.
int EntryPointCount();
int EntryPointCount(EntryPointGroup group);

// The drawing code's row-major matrices to GL. Through the transpose
// extension where it was fetched; without it (its pointers stay null) the
// matrix is transposed here and goes through glLoadMatrixf or
// glMultMatrixf, which gives GL the same matrix.
void LoadTransposeMatrix(const GLfloat* m);
void MultTransposeMatrix(const GLfloat* m);

// The GL names, aliased to the pointers.
#define glActiveTextureARB ep_glActiveTextureARB
#define glMultiTexCoord2fARB ep_glMultiTexCoord2fARB
#define glClientActiveTextureARB ep_glClientActiveTextureARB
#define glLockArraysEXT ep_glLockArraysEXT
#define glUnlockArraysEXT ep_glUnlockArraysEXT
#define glFlushVertexArrayRangeNV ep_glFlushVertexArrayRangeNV
#define glVertexArrayRangeNV ep_glVertexArrayRangeNV
#define wglAllocateMemoryNV ep_wglAllocateMemoryNV
#define wglFreeMemoryNV ep_wglFreeMemoryNV
#define glCombinerParameterfvNV ep_glCombinerParameterfvNV
#define glCombinerParameterivNV ep_glCombinerParameterivNV
#define glCombinerParameterfNV ep_glCombinerParameterfNV
#define glCombinerParameteriNV ep_glCombinerParameteriNV
#define glCombinerInputNV ep_glCombinerInputNV
#define glCombinerOutputNV ep_glCombinerOutputNV
#define glFinalCombinerInputNV ep_glFinalCombinerInputNV
#define glGetCombinerInputParameterfvNV ep_glGetCombinerInputParameterfvNV
#define glGetCombinerInputParameterivNV ep_glGetCombinerInputParameterivNV
#define glGetCombinerOutputParameterfvNV ep_glGetCombinerOutputParameterfvNV
#define glGetCombinerOutputParameterivNV ep_glGetCombinerOutputParameterivNV
#define glGetFinalCombinerInputParameterfvNV ep_glGetFinalCombinerInputParameterfvNV
#define glGetFinalCombinerInputParameterivNV ep_glGetFinalCombinerInputParameterivNV
#define glLoadTransposeMatrixfARB ep_glLoadTransposeMatrixfARB
#define glLoadTransposeMatrixdARB ep_glLoadTransposeMatrixdARB
#define glMultTransposeMatrixfARB ep_glMultTransposeMatrixfARB
#define glMultTransposeMatrixdARB ep_glMultTransposeMatrixdARB
#define glVertexAttrib1sARB ep_glVertexAttrib1sARB
#define glVertexAttrib1fARB ep_glVertexAttrib1fARB
#define glVertexAttrib1dARB ep_glVertexAttrib1dARB
#define glVertexAttrib2sARB ep_glVertexAttrib2sARB
#define glVertexAttrib2fARB ep_glVertexAttrib2fARB
#define glVertexAttrib2dARB ep_glVertexAttrib2dARB
#define glVertexAttrib3sARB ep_glVertexAttrib3sARB
#define glVertexAttrib3fARB ep_glVertexAttrib3fARB
#define glVertexAttrib3dARB ep_glVertexAttrib3dARB
#define glVertexAttrib4sARB ep_glVertexAttrib4sARB
#define glVertexAttrib4fARB ep_glVertexAttrib4fARB
#define glVertexAttrib4dARB ep_glVertexAttrib4dARB
#define glVertexAttrib4NubARB ep_glVertexAttrib4NubARB
#define glVertexAttrib1svARB ep_glVertexAttrib1svARB
#define glVertexAttrib1fvARB ep_glVertexAttrib1fvARB
#define glVertexAttrib1dvARB ep_glVertexAttrib1dvARB
#define glVertexAttrib2svARB ep_glVertexAttrib2svARB
#define glVertexAttrib2fvARB ep_glVertexAttrib2fvARB
#define glVertexAttrib2dvARB ep_glVertexAttrib2dvARB
#define glVertexAttrib3svARB ep_glVertexAttrib3svARB
#define glVertexAttrib3fvARB ep_glVertexAttrib3fvARB
#define glVertexAttrib3dvARB ep_glVertexAttrib3dvARB
#define glVertexAttrib4bvARB ep_glVertexAttrib4bvARB
#define glVertexAttrib4svARB ep_glVertexAttrib4svARB
#define glVertexAttrib4ivARB ep_glVertexAttrib4ivARB
#define glVertexAttrib4ubvARB ep_glVertexAttrib4ubvARB
#define glVertexAttrib4usvARB ep_glVertexAttrib4usvARB
#define glVertexAttrib4uivARB ep_glVertexAttrib4uivARB
#define glVertexAttrib4fvARB ep_glVertexAttrib4fvARB
#define glVertexAttrib4dvARB ep_glVertexAttrib4dvARB
#define glVertexAttrib4NbvARB ep_glVertexAttrib4NbvARB
#define glVertexAttrib4NsvARB ep_glVertexAttrib4NsvARB
#define glVertexAttrib4NivARB ep_glVertexAttrib4NivARB
#define glVertexAttrib4NubvARB ep_glVertexAttrib4NubvARB
#define glVertexAttrib4NusvARB ep_glVertexAttrib4NusvARB
#define glVertexAttrib4NuivARB ep_glVertexAttrib4NuivARB
#define glVertexAttribPointerARB ep_glVertexAttribPointerARB
#define glEnableVertexAttribArrayARB ep_glEnableVertexAttribArrayARB
#define glDisableVertexAttribArrayARB ep_glDisableVertexAttribArrayARB
#define glProgramStringARB ep_glProgramStringARB
#define glBindProgramARB ep_glBindProgramARB
#define glDeleteProgramsARB ep_glDeleteProgramsARB
#define glGenProgramsARB ep_glGenProgramsARB
#define glProgramEnvParameter4dARB ep_glProgramEnvParameter4dARB
#define glProgramEnvParameter4dvARB ep_glProgramEnvParameter4dvARB
#define glProgramEnvParameter4fARB ep_glProgramEnvParameter4fARB
#define glProgramEnvParameter4fvARB ep_glProgramEnvParameter4fvARB
#define glProgramLocalParameter4dARB ep_glProgramLocalParameter4dARB
#define glProgramLocalParameter4dvARB ep_glProgramLocalParameter4dvARB
#define glProgramLocalParameter4fARB ep_glProgramLocalParameter4fARB
#define glProgramLocalParameter4fvARB ep_glProgramLocalParameter4fvARB
#define glGetProgramEnvParameterdvARB ep_glGetProgramEnvParameterdvARB
#define glGetProgramEnvParameterfvARB ep_glGetProgramEnvParameterfvARB
#define glGetProgramLocalParameterdvARB ep_glGetProgramLocalParameterdvARB
#define glGetProgramLocalParameterfvARB ep_glGetProgramLocalParameterfvARB
#define glGetProgramivARB ep_glGetProgramivARB
#define glGetProgramStringARB ep_glGetProgramStringARB
#define glGetVertexAttribdvARB ep_glGetVertexAttribdvARB
#define glGetVertexAttribfvARB ep_glGetVertexAttribfvARB
#define glGetVertexAttribivARB ep_glGetVertexAttribivARB
#define glGetVertexAttribPointervARB ep_glGetVertexAttribPointervARB
#define glIsProgramARB ep_glIsProgramARB
#define glTexImage3D ep_glTexImage3D
#define glTexSubImage3D ep_glTexSubImage3D
#define glCopyTexSubImage3D ep_glCopyTexSubImage3D
