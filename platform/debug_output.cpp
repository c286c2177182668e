#include "platform/debug_output.h"

#include <cstdio>

void OutputDebugString(const char* text)
{
    if (text)
        fputs(text, stderr);
}
