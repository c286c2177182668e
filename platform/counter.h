// The high-resolution counter: monotonic nanoseconds, or a manual counter
// that tests and reproducible runs step by hand.
#pragma once

#include <cstdint>

int64_t QueryPerformanceCounter();
int64_t QueryPerformanceFrequency();
// From now on each read returns the current value and then adds
// stepPerRead (0: it moves only through SetManualCounter).
void UseManualCounter(int64_t frequency, int64_t start, int64_t stepPerRead);
void SetManualCounter(int64_t value);
// Back to the monotonic clock.
void UseSystemCounter();
