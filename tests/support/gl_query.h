// Reading GL state back in the GL suites.
#pragma once

#include <GL/gl.h>

namespace testsupport
{

// glGetIntegerv's value, or with a level the bound texture's level parameter.
inline GLint Integer(GLenum name, GLint level = -1, GLenum target = GL_TEXTURE_2D)
{
    GLint v = -1;
    level < 0 ? glGetIntegerv(name, &v) : glGetTexLevelParameteriv(target, level, name, &v);
    return v;
}

// The bound texture's parameter.
inline GLint Parameter(GLenum name, GLenum target = GL_TEXTURE_2D)
{
    GLint v = 0;
    return glGetTexParameteriv(target, name, &v), v;
}

} // namespace testsupport
