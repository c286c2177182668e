// A stopwatch on the platform's high-resolution counter. There is no start
// or stop: each Tick takes a new reading, and delta is the time since the
// reading before it.
#pragma once

#include <cstdint>

class Timer
{
public:
    // Reads the frequency, and the counter into both readings, so the first
    // Tick measures from construction.
    Timer();
    void Tick();
    // Forgets the readings (frequency stays). The next Tick then reports
    // the raw counter value as its delta: callers rely on clamping it.
    void Reset();

    int64_t previous;
    int64_t current;
    int64_t frequency;
    double delta;
    double total;
};
