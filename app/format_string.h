// printf into one shared static buffer.
#pragma once

// printf into one static buffer of 256 characters, which is returned; each
// call overwrites the last result. A null format returns null.
const char* FormatString(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;
