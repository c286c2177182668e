// Reading GL state back in the GL suites.
#pragma once

#include <GL/gl.h>

namespace testsupport
{

// glGetIntegerv's value, or with a level the bound 2D texture's level parameter.
inline GLint Integer(GLenum name, GLint level = -1)
{
    GLint v = -1;
    level < 0 ? glGetIntegerv(name, &v) : glGetTexLevelParameteriv(GL_TEXTURE_2D, level, name, &v);
    return v;
}

} // namespace testsupport
