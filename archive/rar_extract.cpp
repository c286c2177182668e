#include "archive/rar.h"

bool RarExtract(uint8_t** data, uint32_t* size, const char*, const char*, const char*)
{
    *data = nullptr;
    *size = 0;
    return false;
}
