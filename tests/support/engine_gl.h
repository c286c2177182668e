// The engine gl suites' fixture: a fresh context and folder per test, the
// material definitions they load, and a bound texture's state read back.
#pragma once

#include <GL/gl.h>
#include <gtest/gtest.h>

#include "app/gl_entry_points.h"
#include "app/gl_setup.h"
#include "console/console.h"
#include "engine/engine.h"
#include "platform/messages.h"
#include "resources/texture.h"
#include "tests/support/files.h"
#include "tests/support/gl_context.h"
#include "tests/support/gl_query.h"
#include "tests/support/material_files.h"
#include "tests/support/report_capture.h"

namespace testsupport
{

// Blue-green-red(-alpha) as red-green-blue(-alpha).
inline Bytes Swapped(Bytes pixels, size_t bytesPerPixel)
{
    for (size_t i = 0; i + 2 < pixels.size(); i += bytesPerPixel)
        std::swap(pixels[i], pixels[i + 2]);
    return pixels;
}
// `t` bound: its internal format, level count, filters and wraps.
inline std::vector<GLint> TextureState(Texture& t)
{
    GLint levels = 0;
    for (t.Bind(); levels < 20 && Integer(GL_TEXTURE_WIDTH, levels) > 0;)
        ++levels;
    return {Integer(GL_TEXTURE_INTERNAL_FORMAT, 0), levels,
            Parameter(GL_TEXTURE_MAG_FILTER),       Parameter(GL_TEXTURE_MIN_FILTER),
            Parameter(GL_TEXTURE_WRAP_S),           Parameter(GL_TEXTURE_WRAP_T)};
}
// Level 0 of `t`, tight rows, the first row first.
inline Bytes Pixels(Texture& t, GLenum format)
{
    t.Bind();
    Bytes out(size_t(Integer(GL_TEXTURE_WIDTH, 0)) * Integer(GL_TEXTURE_HEIGHT, 0) *
              (format == GL_RGBA ? 4 : 3));
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, 0, format, GL_UNSIGNED_BYTE, out.data());
    return out;
}
inline const char* const kDefinitions =
    "[Font]\nnbstages=0\n[Less]\nculling=false\nccw=false\nnbstages=0\n[NoDepth]\n"
    "depthtest=false\nculling=false\nnbstages=0\n[Glass]\nccw=false\ndepthfunc=GL_GREATER\n"
    "depthmask=false\nblending=true\nblendsrc=GL_SRC_ALPHA\nblenddst=GL_ONE_MINUS_SRC_ALPHA\n"
    "nbstages=2\n[Glass - TU0]\nmap=tga\\a.tga\nmin_filter=GL_NEAREST\nscroll=( 0.25, 0.5 )\n"
    "combine_rgb=GL_ADD\nsource_rgb1=GL_PRIMARY_COLOR\nrgb_scale=2.0\nalpha_scale=4.0\n"
    "[Glass - TU1]\nmap=tga\\b.tga\nrotation=10\nscale=( 2.0, 3.0 )\ntcgen=GL_SPHERE_MAP\n"
    "[Twin]\nnbstages=1\n[Twin - TU0]\nmap=tga\\a.tga\nmin_filter=GL_LINEAR\n";

// A fresh context and folder (the log) per test; Start starts an engine.
class EngineGl : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(context.created && !dir.path.empty()); }
    void TearDown() override
    {
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
        delete engine;
        g_engine = nullptr;
        ClearMessageQueue();
    }
    std::string Log() { return ReadText("tessimo2.log").substr(logStart); }
    void Start(const std::string& definitions = kDefinitions, Engine* started = nullptr)
    {
        WriteMaterialFiles(dir.path, definitions);
        auto pattern = [](uint32_t x, uint32_t y, uint8_t p[4])
        { p[0] = uint8_t(x * 30), p[1] = uint8_t(y * 30), p[2] = 90; };
        WriteTarga(dir.path + "/tga/a.tga", 8, 8, 24, pattern);
        WriteTarga(dir.path + "/tga/b.tga", 8, 8, 32, pattern);
        InitGL();
        g_engine = engine = started ? started : new Engine;
        ASSERT_TRUE(engine->Init());
    }
    // For the scene: the demo's 1 MiB vertex pool in main memory, a 64 by 64
    // corner, identity matrices, black paper.
    void StartScene()
    {
        Start();
        engine->vertexPool->Init(0x100000, 0, 32, 0.0f, 0.0f);
        Corner();
    }
    static void Corner()
    {
        glViewport(0, 0, 64, 64);
        glMatrixMode(GL_PROJECTION);
        glLoadIdentity();
        glMatrixMode(GL_MODELVIEW);
        glLoadIdentity();
        glClearColor(0, 0, 0, 1);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    }
    std::vector<std::string> NewLines() // the console lines printed since the last call
    {
        auto* console = static_cast<Console*>(engine->console);
        std::vector<std::string> lines;
        for (; seen < console->HeldLines(); ++seen)
            lines.push_back(console->Line(seen));
        return lines;
    }
    TempDir dir;
    GlContext context{256, 256};
    size_t logStart = ReadText("tessimo2.log").size(); // after the window's lines
    ReportCapture boxes;
    Engine* engine = nullptr;
    uint32_t seen = 0;
};

} // namespace testsupport
