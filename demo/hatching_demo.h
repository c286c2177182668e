// The application: the one class derived from Engine, what g_engine points
// at. It reads its assets from the data archive and draws on white paper.
//
// So far it runs the engine's start-up and frame driver; the model, the
// tonal art map, the light and the overlay join it with their subsystems.
#pragma once

#include "engine/engine.h"

class HatchingDemo : public Engine
{
public:
    bool Init() override;
    // False as soon as Escape is down: that frame gets no EndFrame.
    bool Frame() override;
};
