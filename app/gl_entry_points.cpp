#include "app/gl_entry_points.h"

#include <cstring>

#include "platform/gl_proc.h"

#define TESSIMO_DEFINE_ENTRY_POINT(group, type, name) type ep_##name = nullptr;
TESSIMO_GL_ENTRY_POINTS(TESSIMO_DEFINE_ENTRY_POINT)
#undef TESSIMO_DEFINE_ENTRY_POINT

namespace
{

// The names as the driver knows them. The memory allocator of the vertex
// array range extension goes by "wgl" on one window system and by "glX" on
// this one.
void* Lookup(const char* name)
{
    if (strncmp(name, "wgl", 3) == 0)
    {
        char glx[64] = "glX";
        strncat(glx, name + 3, sizeof glx - 4);
        return GetGLProcAddress(glx);
    }
    return GetGLProcAddress(name);
}

} // namespace

void FetchEntryPoints(EntryPointGroup group)
{
// #name stringifies the GL name as written in the list, not its alias.
#define TESSIMO_FETCH_ENTRY_POINT(g, type, name)                                                   \
    if (g == group)                                                                                \
        ep_##name = reinterpret_cast<type>(Lookup(#name));
    TESSIMO_GL_ENTRY_POINTS(TESSIMO_FETCH_ENTRY_POINT)
#undef TESSIMO_FETCH_ENTRY_POINT
}

int EntryPointCount(EntryPointGroup group)
{
    int count = 0;
#define TESSIMO_COUNT_ENTRY_POINT(g, type, name) count += g == group ? 1 : 0;
    TESSIMO_GL_ENTRY_POINTS(TESSIMO_COUNT_ENTRY_POINT)
#undef TESSIMO_COUNT_ENTRY_POINT
    return count;
}

int EntryPointCount()
{
    int count = 0;
#define TESSIMO_COUNT_ALL(g, type, name) ++count;
    TESSIMO_GL_ENTRY_POINTS(TESSIMO_COUNT_ALL)
#undef TESSIMO_COUNT_ALL
    return count;
}

namespace
{

// `m` through the transpose entry point where it was fetched; otherwise
// transposed here and sent through the core call.
void SendRowMajor(PFNGLLOADTRANSPOSEMATRIXFARBPROC transposed, void (*columnMajor)(const GLfloat*),
                  const GLfloat* m)
{
    if (transposed)
    {
        transposed(m);
        return;
    }
    GLfloat columns[16];
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            columns[4 * column + row] = m[4 * row + column];
    columnMajor(columns);
}

} // namespace

void LoadTransposeMatrix(const GLfloat* m)
{
    SendRowMajor(
        ep_glLoadTransposeMatrixfARB, [](const GLfloat* c) { glLoadMatrixf(c); }, m);
}

void MultTransposeMatrix(const GLfloat* m)
{
    SendRowMajor(
        ep_glMultTransposeMatrixfARB, [](const GLfloat* c) { glMultMatrixf(c); }, m);
}
