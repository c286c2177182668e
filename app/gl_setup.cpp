#include "app/gl_setup.h"

#include <GL/glu.h>
#include <cstdio>
#include <cstring>

#include "app/report.h"

namespace
{

// The last perspective, for the display mode switch to set it again.
float perspectiveWidth = 0;
float perspectiveHeight = 0;
float perspectiveNear = 0;
float perspectiveFar = 0;

} // namespace

bool InitGL()
{
    auto text = [](GLenum name)
    {
        const GLubyte* s = glGetString(name);
        return s ? reinterpret_cast<const char*>(s) : "";
    };
    {
        LogBlock log;
        log.Write(Frame::None, "- init openGL engine :\n");
        log.Write(Frame::None, "    + vendor   : %s\n", text(GL_VENDOR));
        log.Write(Frame::None, "    + renderer : %s\n", text(GL_RENDERER));
        log.Write(Frame::None, "    + version  : %s\n", text(GL_VERSION));
        log.Write(Frame::None, "    + listing all extensions : %s\n", text(GL_EXTENSIONS));
    }
    glClearColor(0.5f, 0, 0, 0);
    glClearDepth(1.0);
    glClearStencil(0);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_NICEST);
    glEnable(GL_TEXTURE_2D);
    glShadeModel(GL_SMOOTH);
    glLightModeli(GL_LIGHT_MODEL_TWO_SIDE, 0);
    glEnable(GL_LIGHTING);
    return true;
}

void SetPerspective(int32_t width, int32_t height, float nearPlane, float farPlane)
{
    if (height == 0)
        height = 1;
    glViewport(0, 0, width, height);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    float aspect = static_cast<float>(static_cast<double>(width) / static_cast<double>(height));
    gluPerspective(45.0, aspect, nearPlane, farPlane);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    perspectiveWidth = static_cast<float>(width);
    perspectiveHeight = static_cast<float>(height);
    perspectiveNear = nearPlane;
    perspectiveFar = farPlane;
}

void GetPerspective(float* width, float* height, float* nearPlane, float* farPlane)
{
    *width = perspectiveWidth;
    *height = perspectiveHeight;
    *nearPlane = perspectiveNear;
    *farPlane = perspectiveFar;
}

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
