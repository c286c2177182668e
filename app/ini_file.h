// Typed reads from INI files through the platform's profile call.
//
// Nothing is cached: every read goes to the file. All IniFile objects share
// one 128-character result buffer; GetString returns it, so its text is
// valid only until the next read on any IniFile or the construction of
// another one (which empties it).
#pragma once

#include <cstdint>

#include "platform/path_map.h"

class IniFile
{
public:
    IniFile();
    virtual ~IniFile();
    virtual float GetFloat(const char* key, float def);
    virtual const char* GetString(const char* key, const char* def);
    // True only for "true" in any letter case; the default goes through the
    // same comparison.
    virtual bool GetBool(const char* key, bool def);
    virtual int32_t GetInt(const char* key, int32_t def);
    // Scanned with "%X"; the default is still written as a decimal.
    virtual int32_t GetHex(const char* key, int32_t def);
    // A path longer than fileName can hold is refused with a line in the
    // engine log: the reads then give their defaults rather than read the
    // file of a cut path.
    virtual void SetFile(const char* path);
    virtual void SetSection(const char* name);

    char section[256];
    // Full paths, as deep as the system allows.
    char fileName[kMaxPath];

    static constexpr uint32_t kResultSize = 128;
    static char result[kResultSize];

private:
    static char intDefault[64];
    static char hexDefault[64];
    static char floatDefault[64];
};
