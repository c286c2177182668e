#include "app/log.h"

FILE* OpenLog(const char* mode)
{
    // "wt"/"at": the text-mode letter means nothing here.
    FILE* log = fopen(TESSIMO_LOG_FILE, mode && mode[0] == 'w' ? "w" : "a");
    // Each finished line reaches the file at once, so a run that dies while
    // a writer holds the file open loses nothing it has written.
    if (log)
        setvbuf(log, nullptr, _IOLBF, 0);
    return log;
}
