// The application: the one class derived from Engine, what g_engine points
// at. It loads the airplane out of the data archive, builds the tonal art
// map, hands it to the material "Hatching" and draws the model in ink on
// white paper, lit from a direction that circles it, with a statistics
// overlay and the console on top.
//
//     g_engine = new HatchingDemo;
//     g_engine->Init();              // archive, model, art map
//     while (g_engine->Frame())      // false once Escape is down
//         g_window->Swap();
//     delete g_engine;
//
// What the data may lack is told once, at the end of Init, in the log
// (between hash signs) and on the console, and the demo draws what it can:
// - no archive, a damaged one, a wrong password: the archive is named with
//   the reason of its first failed read, once, whatever files it failed;
// - no model (for any of these reasons, or none in the archive): the set
//   stays empty and the demo draws the paper and the overlay (the overlay
//   needs the font from the archive too);
// - no 3D textures: the art map is not built, and "Hatching" draws with
//   the map its definition names;
// - no shader "Hatching" (no mesh names it): the art map goes nowhere;
// - "Hatching" without a vertex program that loads and compiles (none named,
//   the file missing, the text refused): the shader is drawn without one,
//   so the model stands as an ink silhouette in the darkest tone.
#pragma once

#include <cstdint>

#include "engine/engine.h"
#include "resources/registries.h"

class Camera;
class Frustum;
class Light;
class MeshSet;
class TonalArtMap;

class HatchingDemo : public Engine
{
public:
    // Camera aimed once and for all, light 0, no model yet.
    HatchingDemo();
    // The same with another model file, read from the disk rather than the
    // archive (tessimo-shot --model).
    explicit HatchingDemo(const char* diskModel);
    // The application's objects first, then the Engine's.
    ~HatchingDemo() override;

    // The archive, the base Init, the pool, the model, the art map into
    // stage 0 of "Hatching". Always true.
    bool Init() override;
    // One tick of 1/60 s: the light on its circle, the two keys.
    void Update() override;
    // False as soon as Escape is down: that frame gets no overlay and no
    // EndFrame.
    bool Frame() override;

    Camera* camera = nullptr;
    Frustum* frustum = nullptr;
    Light* light = nullptr;
    MeshSet* model = nullptr;
    TonalArtMap* artMap = nullptr;
    float lightHeight = 0.0f;

    // The model Init loads: "tsm\avion.tsm" from the archive unless the
    // constructor named a file on the disk.
    char modelPath[256] = {};
    bool modelFromArchive = true;

    // The light's angle on its circle, in radians; grows without bound.
    static float sweepAngle;

    // Row 3 of the overlay: frames per second times polygons of the frame,
    // in millions, scaled by the float constant 0.000001.
    static double MegaPolygonsPerSecond(int32_t fps, int32_t polygons);

private:
    void TurnFirstMesh();
    void GiveArtMapToHatching();
    static void HandArtMapOn(ResourceEvent event, ResourceKind kind, void* object, void* user);
    void DrawOverlay();
    void ReportMissingData();
};
