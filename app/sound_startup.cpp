#include "app/sound_startup.h"

#include <cstdio>

#include "app/report.h"
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

void FailureEnd(LogBlock& log, const char* text)
{
    log.Write(Frame::None, "%s", text);
    log.Close();
    PostQuitMessage(1);
}

} // namespace

// The mixer is only named in the log: no operation of the library takes it.
void SoundStartup(int32_t output, int32_t driver, int32_t, int32_t mixrate, int32_t maxchannels)
{
    LogBlock log;
    auto write = [&log](const char* text) { log.Write(Frame::None, "%s", text); };
    write(kStart);
    if (FSOUND_GetVersion() < kMinimumVersion)
        return FailureEnd(log, kWrongVersion);
    write(kOutput);
    write(OutputName(output));
    if (!FSOUND_SetOutput(output))
        return FailureEnd(log, kFailed);
    const char* name = FSOUND_GetDriverName(driver);
    log.Write(Frame::None, kDriver, name ? name : "");
    if (!FSOUND_SetDriver(driver))
        return FailureEnd(log, kFailed);
    write(kMixer);
    log.Write(Frame::None, kInit, maxchannels, mixrate);
    if (!FSOUND_Init(mixrate, maxchannels, 0))
    {
        FSOUND_Close();
        return FailureEnd(log, kInitFailed);
    }
    write(kDone);
}
