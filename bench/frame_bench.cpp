// build/bench/frame_bench [run directory]: the demo's frame against a minimal
// GL program drawing the same meshes with the same materials and nothing else,
// on one offscreen context, each frame ended with glFinish.
#include "app/gl_entry_points.h"
#include "app/window.h"
#include "bench_support.h"
#include "demo/hatching_demo.h"
#include "engine/program_loop.h"
#include "hatching/tonal_art_map.h"
#include "resources/shader.h"
#include "resources/vertex_program.h"
#include "scene/camera.h"
#include "scene/light.h"
#include "scene/mesh_set.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <vector>

namespace
{
HatchingDemo* demo = nullptr;

// The peer's state common to all meshes; the light stands where the demo left it.
Vec4 PeerBegin()
{
    glPushAttrib(GL_ALL_ATTRIB_BITS);
    glPushClientAttrib(GL_CLIENT_ALL_ATTRIB_BITS);
    glMatrixMode(GL_TEXTURE);
    glPushMatrix();
    glLoadIdentity();
    Shader* hatching = demo->FindShader("Hatching");
    if (hatching && hatching->stageCount > 0)
    {
        const ShaderStage& stage = hatching->stages[0];
        glScalef(stage.scale.x, stage.scale.y, 1);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_COMBINE);
        glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE0_RGB, static_cast<GLint>(stage.sourceRgb0));
        glTexEnvi(GL_TEXTURE_ENV, GL_SOURCE1_RGB, static_cast<GLint>(stage.sourceRgb1));
        glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND0_RGB, static_cast<GLint>(stage.opRgb0));
        glTexEnvi(GL_TEXTURE_ENV, GL_OPERAND1_RGB, static_cast<GLint>(stage.opRgb1));
        glTexEnvi(GL_TEXTURE_ENV, GL_COMBINE_RGB, static_cast<GLint>(stage.combineRgb));
        glTexEnvf(GL_TEXTURE_ENV, GL_RGB_SCALE, stage.rgbScale);
    }
    glMatrixMode(GL_MODELVIEW);
    glActiveTextureARB(GL_TEXTURE0_ARB);
    glClientActiveTextureARB(GL_TEXTURE0_ARB);
    glDisable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_3D, demo->artMap->id);
    glEnable(GL_VERTEX_PROGRAM_ARB);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glDepthMask(GL_TRUE);
    glEnable(GL_CULL_FACE);
    glDisable(GL_BLEND);
    glEnableClientState(GL_VERTEX_ARRAY);
    glEnableClientState(GL_NORMAL_ARRAY);
    glEnableClientState(GL_TEXTURE_COORD_ARRAY);
    return demo->light->GetPosition();
}

// Each mesh gets what its material differs in: the art map and its combine
// step or no texture, the vertex program, the winding culled.
void PeerFrame(const Vec4& light)
{
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    glLoadTransposeMatrixfARB(demo->camera->transform.m);
    glLightfv(GL_LIGHT0, GL_POSITION, &light.x);
    for (uint32_t i = 0; i < demo->model->meshCount; ++i)
    {
        const Mesh& mesh = demo->model->meshes[i];
        const Shader* shader = mesh.shader;
        if (shader && shader->stageCount > 0 && shader->stages[0].texture == demo->artMap)
            glEnable(GL_TEXTURE_3D);
        else
            glDisable(GL_TEXTURE_3D);
        if (shader && shader->hasVertexProgram && shader->vertexProgram)
            glBindProgramARB(GL_VERTEX_PROGRAM_ARB, shader->vertexProgram->id);
        glFrontFace(!shader || shader->ccw ? GL_CCW : GL_CW);
        glPushMatrix();
        glMultTransposeMatrixfARB(mesh.transform.m);
        glVertexPointer(3, GL_FLOAT, 12, mesh.renderPositions);
        glNormalPointer(GL_FLOAT, 12, mesh.renderNormals);
        glTexCoordPointer(2, GL_FLOAT, 8, mesh.renderTexCoords);
        glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(mesh.faceCount * 3), GL_UNSIGNED_INT,
                       mesh.indices);
        glPopMatrix();
    }
}

void Frames(benchmark::State& state, bool peer)
{
    Vec4 light = peer ? PeerBegin() : Vec4();
    for (auto _ : state)
    {
        if (peer)
            PeerFrame(light);
        else
            demo->Frame();
        g_window->Swap();
        glFinish();
    }
    if (!peer)
        return;
    glMatrixMode(GL_TEXTURE);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopClientAttrib();
    glPopAttrib();
}
} // namespace

int main(int argc, char** argv)
{
    // Short runs repeated and interleaved, so that a busy machine's drift falls on both alike.
    std::vector<char*> args(argv, argv + argc);
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    args.insert(args.begin() + 1, interleave);
    argc = static_cast<int>(args.size());
    benchmark::Initialize(&argc, args.data());
    for (bool peer : {false, true})
        benchmark::RegisterBenchmark(peer ? "BM_PeerFrame" : "BM_DemoFrame", Frames, peer)
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.5)
            ->Repetitions(9)
            ->MeasureProcessCPUTime();
    const char* runDir = argc > 1 ? args[1] : TESSIMO_RUN_DIR;
    bool entered = chdir(runDir) == 0;
    setenv("SDL_VIDEODRIVER", "offscreen", 1);
    setenv("SDL_AUDIODRIVER", "dummy", 1);
    // Mesa draws on the calling thread: the CPU time is all the work of a frame.
    setenv("LP_NUM_THREADS", "0", 0);
    atexit(ExitCleanup);
    StartProgram({800, 600, true}); // 800 by 600, windowed
    g_engine = demo = new HatchingDemo;
    demo->Init();
    if (!entered || !demo->model || demo->model->meshCount == 0)
    {
        fprintf(stderr, "frame_bench: no model in '%s'\n", runDir);
        return 1;
    }
    uint32_t faces = 0;
    for (uint32_t i = 0; i < demo->model->meshCount; ++i)
        faces += demo->model->meshes[i].faceCount;
    printf("model: %u meshes, %u triangles\n", demo->model->meshCount, faces);
    // By the wall clock, then by CPU time (the figure to read on a busy machine).
    RunMap runs = RunBenchmarks();
    auto &d = runs["BM_DemoFrame"], &p = runs["BM_PeerFrame"];
    for (bool cpu : {false, true})
    {
        double demoMs = cpu ? d.GetAdjustedCPUTime() : d.GetAdjustedRealTime();
        double peerMs = cpu ? p.GetAdjustedCPUTime() : p.GetAdjustedRealTime();
        if (demoMs > 0 && peerMs > 0)
            printf("frame %dx%d (%s): demo %.1f fps, peer %.1f fps, ratio %.3f\n", g_window->width,
                   g_window->height, cpu ? "cpu time" : "wall clock", 1000.0 / demoMs,
                   1000.0 / peerMs, peerMs / demoMs);
    }
    fflush(stdout); // before the engine's closing lines on stderr
    return 0;
}
