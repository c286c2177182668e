#include "app/sound_startup.h"

#include <cstdio>

#include "app/log.h"
#include "platform/messages.h"
#include "platform/sound.h"

namespace
{

// The oldest library the start-up accepts (bits 0x40533333).
constexpr float kMinimumVersion = 3.3f;

// Each stage opens its text; the next one starts with the word that closes
// it, so a failure ends the line where it happened.
const char* const kStart = "- initializing fmod";
const char* const kWrongVersion = " : wrong DLL version!\n";
const char* const kOutput = "\n    + init output ";
const char* const kDriver = "ok!\n    + init driver %s ";
const char* const kMixer = "ok!\n    + init mixer ";
const char* const kInit = "ok!\n    + init fsound with %d channels at %d hz ";
const char* const kDone = " ok!\n";
const char* const kFailed = "failed!\n";
const char* const kInitFailed = "failed\n";

const char* OutputName(int32_t output)
{
    switch (output)
    {
    case 1:
        return "Windows Multimedia Waveout ";
    case 2:
        return "Direct Sound ";
    case 3:
        return "A3D ";
    default:
        return "";
    }
}

void FailureEnd(FILE* log, const char* text)
{
    if (log)
    {
        fputs(text, log);
        fflush(log);
        fclose(log);
    }
    PostQuitMessage(1);
}

} // namespace

// The mixer is only named in the log: no operation of the library takes it.
void SoundStartup(int32_t output, int32_t driver, int32_t, int32_t mixrate, int32_t maxchannels)
{
    FILE* log = OpenLog("at");
    auto write = [log](const char* text)
    {
        if (log)
            fputs(text, log);
    };
    write(kStart);
    if (FSOUND_GetVersion() < kMinimumVersion)
        return FailureEnd(log, kWrongVersion);
    write(kOutput);
    write(OutputName(output));
    if (!FSOUND_SetOutput(output))
        return FailureEnd(log, kFailed);
    const char* name = FSOUND_GetDriverName(driver);
    if (log)
        fprintf(log, kDriver, name ? name : "");
    if (!FSOUND_SetDriver(driver))
        return FailureEnd(log, kFailed);
    write(kMixer);
    if (log)
        fprintf(log, kInit, maxchannels, mixrate);
    if (!FSOUND_Init(mixrate, maxchannels, 0))
    {
        FSOUND_Close();
        return FailureEnd(log, kInitFailed);
    }
    write(kDone);
    if (log)
        fclose(log);
}
