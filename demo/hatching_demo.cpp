#include "demo/hatching_demo.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "app/gl_entry_points.h"
#include "app/input.h"
#include "app/math.h"
#include "app/report.h"
#include "app/window.h"
#include "archive/file_buffer.h"
#include "hatching/tonal_art_map.h"
#include "platform/keys.h"
#include "resources/console_base.h"
#include "resources/registries.h"
#include "resources/screen_font.h"
#include "resources/shader.h"
#include "resources/vertex_array_pool.h"
#include "resources/vertex_program.h"
#include "scene/camera.h"
#include "scene/frustum.h"
#include "scene/light.h"
#include "scene/mesh.h"
#include "scene/mesh_set.h"

float HatchingDemo::sweepAngle = 0.0f;

namespace
{

const char* const kArchiveName = "data.rar";
const char* const kArchivePassword = "mirodune";
const char* const kModelPath = "tsm\\avion.tsm";
const char* const kHatchingShader = "Hatching";

// The art map: 256 x 256 at the finest level, 128 tones, best of 5 strokes,
// hatching.
const uint32_t kArtMapSize = 256;
const uint32_t kArtMapTones = 128;
const uint32_t kArtMapCandidates = 5;
const int32_t kArtMapHatching = 0;

// The light circles the y axis at this radius, 0.01 radian a tick.
const float kLightRadius = 15.0f;
const float kSweepStep = 0.01f;
const float kHeightStep = 0.5f;

// What the data lacked: problems told to the log and the console alike.
const char* const kBadArchive = "can't read data archive '%s': %s";
const char* const kNoTexture3D = "no 3d textures: the art map is not built";
const char* const kNoModel = "no mesh read from model '%s'";
const char* const kNoShader = "shader '%s' not found: the art map is not used";
const char* const kNoProgram = "shader '%s' has no working vertex program";

void SetText(char (&out)[256], const char* text)
{
    snprintf(out, sizeof out, "%s", text);
}

// A program that could not be read was never bound to its name; one that
// the driver refused holds no text.
bool ProgramWorks(VertexProgram* program)
{
    if (!program || !g_engine->capabilities.hasVertexProgram || !glIsProgramARB(program->id))
        return false;
    glBindProgramARB(GL_VERTEX_PROGRAM_ARB, program->id);
    GLint length = 0;
    glGetProgramivARB(GL_VERTEX_PROGRAM_ARB, GL_PROGRAM_LENGTH_ARB, &length);
    return length > 0;
}

} // namespace

HatchingDemo::HatchingDemo() : HatchingDemo(nullptr) {}

HatchingDemo::HatchingDemo(const char* diskModel)
{
    camera = new Camera;
    frustum = new Frustum;
    light = new Light(GL_LIGHT0);
    model = nullptr;
    camera->LookAt(Vec4(13.6f, 7.7f, 11.8f, 0.0f), Vec4(0.0f, -2.0f, -5.0f, 0.0f));
    SetText(modelPath, diskModel ? diskModel : kModelPath);
    modelFromArchive = diskModel == nullptr;
}

HatchingDemo::~HatchingDemo()
{
    RemoveResourceListener(HandArtMapOn, this);
    delete light;
    delete frustum;
    delete camera;
    delete model;
    delete artMap;
    light = nullptr;
    frustum = nullptr;
    camera = nullptr;
    model = nullptr;
    artMap = nullptr;
}

bool HatchingDemo::Init()
{
    strcpy(g_engine->archiveName, kArchiveName);
    strcpy(g_engine->archivePassword, kArchivePassword);
    Engine::Init();
    // White paper, and the stencil buffer is cleared with the rest.
    glClearColor(1, 1, 1, 1);
    clearMask = GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT;
    // One MiB of main memory for the meshes' render copies.
    vertexPool->Init(1048576, 0, 32, 0, 0);

    model = new MeshSet;
    if (modelFromArchive)
        model->Load(modelPath, kArchiveName, kArchivePassword);
    else
        model->Load(modelPath, "", "");
    TurnFirstMesh();

    // Without 3D textures the map has nowhere to go: "Hatching" keeps the
    // map its definition names.
    if (capabilities.hasTexture3D)
    {
        artMap = new TonalArtMap;
        artMap->Build(kArtMapSize, kArtMapTones, kArtMapCandidates, kArtMapHatching);
        GiveArtMapToHatching();
        AddResourceListener(HandArtMapOn, this);
    }

    lightHeight = 40.0f;
    ReportMissingData();
    g_window->ResetStartTime();
    return true;
}

// Half a turn about y, for the first mesh only, and only when there is one.
void HatchingDemo::TurnFirstMesh()
{
    if (!model->meshes || model->meshCount == 0)
        return;
    Matrix4& transform = model->meshes[0].transform;
    Matrix4 rotation, product;
    rotation.RotationX(0.0f);
    product = transform * rotation;
    transform = product;
    rotation.RotationY(DegToRad * 180.0f);
    product = transform * rotation;
    transform = product;
    rotation.RotationZ(0.0f);
    product = transform * rotation;
    transform = product;
}

// The material only borrows the map; the demo deletes it.
void HatchingDemo::GiveArtMapToHatching()
{
    Shader* hatching = FindShader(kHatchingShader);
    if (hatching && hatching->stageCount > 0)
        hatching->stages[0].texture = artMap;
}

// A "Hatching" deleted and added again from the console gets the map too.
// (The shader in hand is used: the registry's position stays where it is.)
void HatchingDemo::HandArtMapOn(ResourceEvent event, ResourceKind kind, void* object, void* user)
{
    Shader* shader = static_cast<Shader*>(object);
    if (event == ResourceEvent::Added && kind == ResourceKind::Shader &&
        strcmp(shader->name, kHatchingShader) == 0 && shader->stageCount > 0)
        shader->stages[0].texture = static_cast<HatchingDemo*>(user)->artMap;
}

void HatchingDemo::ReportMissingData()
{
    // Every file that didn't come has been told by its loader; the archive
    // behind them is told here, once.
    const ArchiveFailure& archive = FirstArchiveFailure();
    if (archive.failed)
        Report(ToLog | ToConsole, Frame::Problem, kBadArchive, archive.archiveName,
               RarStatusText(archive.status));
    if (model->meshCount == 0)
        Report(ToLog | ToConsole, Frame::Problem, kNoModel, modelPath);
    if (!artMap)
        Report(ToLog | ToConsole, Frame::Problem, "%s", kNoTexture3D);
    Shader* hatching = FindShader(kHatchingShader);
    if (!hatching)
        Report(ToLog | ToConsole, Frame::Problem, kNoShader, kHatchingShader);
    else if (!hatching->hasVertexProgram || !ProgramWorks(hatching->vertexProgram))
    {
        // A program that GL refuses would leave the model undrawn; without
        // one the model is drawn all the same, in the art map's darkest
        // tone (the third coordinate is 0): a silhouette in ink.
        hatching->hasVertexProgram = false;
        Report(ToLog | ToConsole, Frame::Problem, kNoProgram, kHatchingShader);
    }
}

void HatchingDemo::Update()
{
    light->SetPosition(std::cos(sweepAngle) * kLightRadius, lightHeight,
                       std::sin(sweepAngle) * kLightRadius);
    light->SetKind(1);
    UpdateShaders();
    if (g_input->keys[VK_ADD])
        lightHeight += kHeightStep;
    if (g_input->keys[VK_SUBTRACT])
        lightHeight -= kHeightStep;
    sweepAngle += kSweepStep;
}

bool HatchingDemo::Frame()
{
    Engine::Frame();
    camera->ApplyView();
    frustum->Update();
    light->Apply();
    model->DrawAll();
    glColor3f(1, 1, 1);
    glPopMatrix();
    if (g_input->keys[VK_ESCAPE])
        return false;

    Begin2D(static_cast<double>(g_window->width), static_cast<double>(g_window->height));
    DisableLighting();
    console->Update(g_input);
    glColor4f(1, 1, 1, 1);
    DrawOverlay();
    EnableLighting();
    End2D();
    EndFrame();
    return true;
}

// The integer product scaled in single precision: 625 frames of 1272
// polygons are 0.795000017 (printed "0.80"), where a double scaling would
// give 0.794999997 ("0.79").
double HatchingDemo::MegaPolygonsPerSecond(int32_t fps, int32_t polygons)
{
    const int64_t product = static_cast<int64_t>(fps) * polygons;
    return static_cast<double>(static_cast<float>(product) * 0.000001f);
}

// Placed for a screen of 800 by 600 whatever the window's size, y growing
// downwards, each at the lower left corner of its text.
void HatchingDemo::DrawOverlay()
{
    const int32_t s = font->glyphSize;
    const int32_t a = font->advance;
    const int32_t fpsNow = GetFps();
    font->Print((80 - a) * 10, 600 - s, "FPS : %d", fpsNow);
    font->Print(0, 600 - s, "%d Poly", stats.polygonCount);
    font->Print(325, 600 - a, "%.2f MPoly/s", MegaPolygonsPerSecond(fpsNow, stats.polygonCount));
    const float size = static_cast<float>(s);
    font->Print(0, static_cast<int32_t>(600.0f - 5.0f * size), "Frame   : %2d %%",
                stats.renderPercent);
    font->Print(0, static_cast<int32_t>(600.0f - 4.0f * size), "CPU     : %2d %%",
                stats.updatePercent);
    font->Print(0, static_cast<int32_t>(600.0f - 3.0f * size), "Other ? : %2d %%",
                100 - stats.updatePercent - stats.renderPercent);
}
