#include "app/format_string.h"

#include <cstdarg>
#include <cstdio>

namespace
{

char formatBuffer[256];

} // namespace

const char* FormatString(const char* format, ...)
{
    if (!format)
        return nullptr;
    va_list args;
    va_start(args, format);
    vsnprintf(formatBuffer, sizeof formatBuffer, format, args);
    va_end(args);
    return formatBuffer;
}
