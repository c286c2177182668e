#include "platform/sound.h"

#include <SDL.h>
#include <cstring>

namespace
{

// What the library reports of itself: the start-up wants 3.3 or later.
constexpr float kVersion = 3.75f;

// Outputs beyond the sound library's own: Linux drivers by SDL name. The
// numbers are those of tokens.ini.
struct LinuxOutput
{
    int number;
    const char* driver;
};
const LinuxOutput kLinuxOutputs[] = {
    {10, "pulseaudio"}, {11, "alsa"}, {12, "pipewire"}, {13, "jack"}, {14, "disk"},
};

SoundStage g_failingStage = SoundStage::None;
float g_testVersion = 0.0f;

// The chosen output: an SDL driver name, or null for SDL's default.
const char* g_outputDriver = nullptr;
bool g_audioUp = false;
int g_driver = 0;
SDL_AudioDeviceID g_device = 0;
char g_driverName[256];

bool OutputDriver(int output, const char** driver)
{
    if (output == 0)
    {
        *driver = "dummy";
        return true;
    }
    if (output == -1 || (output >= 1 && output <= 3))
    {
        *driver = nullptr;
        return true;
    }
    for (const LinuxOutput& o : kLinuxOutputs)
    {
        if (o.number == output)
        {
            *driver = o.driver;
            return true;
        }
    }
    return false;
}

// Starts the chosen SDL audio driver once.
bool StartAudio()
{
    if (g_audioUp)
        return true;
    g_audioUp = SDL_AudioInit(g_outputDriver) == 0;
    return g_audioUp;
}

void Silence(void*, Uint8* stream, int len)
{
    memset(stream, 0, static_cast<size_t>(len));
}

} // namespace

float FSOUND_GetVersion()
{
    return g_testVersion != 0.0f ? g_testVersion : kVersion;
}

bool FSOUND_SetOutput(int output)
{
    const char* driver = nullptr;
    if (g_failingStage == SoundStage::SetOutput || g_device != 0 || !OutputDriver(output, &driver))
        return false;
    if (driver && strcmp(driver, "dummy") != 0)
    {
        // Only drivers this SDL was built with.
        bool known = false;
        for (int i = 0; i < SDL_GetNumAudioDrivers(); ++i)
            known = known || strcmp(SDL_GetAudioDriver(i), driver) == 0;
        if (!known)
            return false;
    }
    if (g_audioUp)
    {
        SDL_AudioQuit();
        g_audioUp = false;
    }
    g_outputDriver = driver;
    return true;
}

const char* FSOUND_GetDriverName(int driver)
{
    g_driverName[0] = 0;
    if (!StartAudio())
        return g_driverName;
    const char* name = driver >= 0 ? SDL_GetAudioDeviceName(driver, 0) : nullptr;
    if (!name)
        name = SDL_GetCurrentAudioDriver();
    SDL_strlcpy(g_driverName, name ? name : "", sizeof g_driverName);
    return g_driverName;
}

bool FSOUND_SetDriver(int driver)
{
    if (g_failingStage == SoundStage::SetDriver || g_device != 0 || !StartAudio() || driver < 0)
        return false;
    int count = SDL_GetNumAudioDevices(0);
    // Drivers that list no devices still have their default one.
    if (driver >= (count > 0 ? count : 1))
        return false;
    g_driver = driver;
    return true;
}

bool FSOUND_Init(int mixrate, int maxchannels, unsigned)
{
    if (g_failingStage == SoundStage::Init || g_device != 0 || !StartAudio())
        return false;
    if (mixrate <= 0 || maxchannels <= 0)
        return false;
    SDL_AudioSpec want = {};
    want.freq = mixrate;
    want.format = AUDIO_S16SYS;
    want.channels = 2;
    want.samples = 1024;
    want.callback = Silence;
    const char* device =
        SDL_GetNumAudioDevices(0) > 0 ? SDL_GetAudioDeviceName(g_driver, 0) : nullptr;
    SDL_AudioSpec have;
    g_device = SDL_OpenAudioDevice(device, 0, &want, &have, 0);
    if (g_device == 0)
        return false;
    SDL_PauseAudioDevice(g_device, 0);
    return true;
}

void FSOUND_Close()
{
    if (g_device != 0)
    {
        SDL_CloseAudioDevice(g_device);
        g_device = 0;
    }
    if (g_audioUp)
    {
        SDL_AudioQuit();
        g_audioUp = false;
    }
}

void FSOUND_TestFailStage(SoundStage stage)
{
    g_failingStage = stage;
}

void FSOUND_TestSetVersion(float version)
{
    g_testVersion = version;
}
