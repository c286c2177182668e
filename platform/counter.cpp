#include "platform/counter.h"

#include <ctime>

namespace
{

bool g_manual = false;
int64_t g_manualFrequency = 1;
int64_t g_manualValue = 0;
int64_t g_manualStep = 0;

} // namespace

int64_t QueryPerformanceCounter()
{
    if (g_manual)
    {
        int64_t value = g_manualValue;
        g_manualValue += g_manualStep;
        return value;
    }
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

int64_t QueryPerformanceFrequency()
{
    return g_manual ? g_manualFrequency : 1000000000;
}

void UseManualCounter(int64_t frequency, int64_t start, int64_t stepPerRead)
{
    g_manual = true;
    g_manualFrequency = frequency > 0 ? frequency : 1;
    g_manualValue = start;
    g_manualStep = stepPerRead;
}

void SetManualCounter(int64_t value)
{
    g_manualValue = value;
}

void UseSystemCounter()
{
    g_manual = false;
}
