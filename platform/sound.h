// The six sound-library operations the start-up uses, over SDL audio.
//
// Output numbers (tokens.ini, section "FMOD"):
//   0            no sound: SDL's "dummy" driver, needs no sound card.
//   1, 2, 3, -1  SDL's default driver (SDL_AUDIODRIVER may name another).
//   10 and up    a Linux driver by name: see kLinuxOutputs in sound.cpp.
// Any other number fails FSOUND_SetOutput. Nothing is ever played: Init
// opens the device with silence, Close shuts it and SDL audio down.
#pragma once

float FSOUND_GetVersion();
bool FSOUND_SetOutput(int output);
// The name of device `driver` on the chosen output (it starts the output's
// SDL driver); an output without listed devices names its driver.
const char* FSOUND_GetDriverName(int driver);
bool FSOUND_SetDriver(int driver);
bool FSOUND_Init(int mixrate, int maxchannels, unsigned flags);
// Safe when nothing was started.
void FSOUND_Close();

// Test hooks: the named stage fails (until set back to None), and the
// version reported (0 restores the real one).
enum class SoundStage
{
    None,
    SetOutput,
    SetDriver,
    Init,
};
void FSOUND_TestFailStage(SoundStage stage);
void FSOUND_TestSetVersion(float version);
