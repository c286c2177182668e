// Starts the sound library and logs each stage. On failure the log line
// ends in a failure word and a quit message with status 1 is queued.
#pragma once

#include <cstdint>

void SoundStartup(int32_t output, int32_t driver, int32_t mixer, int32_t mixrate,
                  int32_t maxchannels);
