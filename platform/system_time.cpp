#include "platform/system_time.h"

#include <ctime>

void GetSystemTime(SYSTEMTIME* out)
{
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    tm utc;
    gmtime_r(&ts.tv_sec, &utc);
    out->wYear = utc.tm_year + 1900;
    out->wMonth = utc.tm_mon + 1;
    out->wDay = utc.tm_mday;
    out->wHour = utc.tm_hour;
    out->wMinute = utc.tm_min;
    out->wSecond = utc.tm_sec;
    out->wMilliseconds = static_cast<int>(ts.tv_nsec / 1000000);
}
