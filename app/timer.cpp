#include "app/timer.h"

#include "platform/counter.h"

Timer::Timer() : delta(0), total(0)
{
    frequency = QueryPerformanceFrequency();
    current = QueryPerformanceCounter();
    previous = current;
}

void Timer::Tick()
{
    previous = current;
    current = QueryPerformanceCounter();
    delta = static_cast<double>(current - previous) / static_cast<double>(frequency);
    total += delta;
}

void Timer::Reset()
{
    previous = 0;
    current = 0;
    delta = 0;
    total = 0;
}
