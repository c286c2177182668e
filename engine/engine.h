// The engine object: base class of the application and the one central
// object of the system, reached through g_engine (resources/engine_base.h
// holds its fields and its table of virtual operations).
//
// It owns the resource registries, the console, the screen font and the
// vertex memory pool, keeps the frame statistics, drives the fixed 60 Hz
// update ticks, and mirrors the GL enable state in a cache so that a change
// is sent only when the value differs. A subclass overrides Init, Update,
// Frame and the destructor; the rest is inherited.
//
// Where its operations live: the frame driver in engine/engine.cpp, Init and
// the capability probes in engine/capabilities.cpp, the debug drawing in
// engine/debug_draw.cpp, the registries in resources/registries.cpp.
#pragma once

#include "app/gl_setup.h"
#include "resources/engine_base.h"

class Engine : public EngineBase
{
public:
    Engine();
    ~Engine() override;

    void Begin2D(double width, double height) override;
    void End2D() override;
    // Always true here.
    bool Frame() override;
    // Always true here.
    bool Init() override;
    bool ExtensionSupported(const char* name) override;
    int32_t GetFps() override;
    void EndFrame() override;

    void DrawLine(const Vec4& from, const Vec4& to) override;
    void DrawTriangle(const Vec4 corners[3]) override;
    void DrawRay(const Vec4 ray[2]) override;

protected:
    // The probes of Init, in their order; each sets its flag.
    void ProbeCapabilities();
};
