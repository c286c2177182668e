#include "app/log.h"

#include <cstdarg>

FILE* OpenLog(const char* mode)
{
    // "wt"/"at": the text-mode letter means nothing here.
    return fopen(TESSIMO_LOG_FILE, mode && mode[0] == 'w' ? "w" : "a");
}

void LogPrintf(const char* format, ...)
{
    FILE* log = OpenLog("at");
    if (!log)
        return;
    va_list args;
    va_start(args, format);
    vfprintf(log, format, args);
    va_end(args);
    fclose(log);
}
