#include "app/ini_file.h"

#include <cstdio>
#include <cstring>
#include <strings.h>

#include "app/report.h"
#include "platform/profile.h"

char IniFile::result[IniFile::kResultSize];
char IniFile::intDefault[64];
char IniFile::hexDefault[64];
char IniFile::floatDefault[64];

IniFile::IniFile()
{
    section[0] = 0;
    fileName[0] = 0;
    result[0] = 0;
}

IniFile::~IniFile() = default;

float IniFile::GetFloat(const char* key, float def)
{
    snprintf(floatDefault, sizeof floatDefault, "%f", def);
    GetPrivateProfileString(section, key, floatDefault, result, kResultSize, fileName);
    float value = def;
    sscanf(result, "%f", &value);
    return value;
}

const char* IniFile::GetString(const char* key, const char* def)
{
    GetPrivateProfileString(section, key, def, result, kResultSize, fileName);
    return result;
}

bool IniFile::GetBool(const char* key, bool def)
{
    GetPrivateProfileString(section, key, def ? "true" : "false", result, kResultSize, fileName);
    return strcasecmp(result, "true") == 0;
}

int32_t IniFile::GetInt(const char* key, int32_t def)
{
    snprintf(intDefault, sizeof intDefault, "%d", def);
    GetPrivateProfileString(section, key, intDefault, result, kResultSize, fileName);
    int value = def;
    sscanf(result, "%d", &value);
    return value;
}

int32_t IniFile::GetHex(const char* key, int32_t def)
{
    // The default goes out as a decimal and comes back through "%X": -1
    // survives that, being all bits set either way.
    snprintf(hexDefault, sizeof hexDefault, "%d", def);
    GetPrivateProfileString(section, key, hexDefault, result, kResultSize, fileName);
    unsigned value = static_cast<unsigned>(def);
    sscanf(result, "%X", &value);
    return static_cast<int32_t>(value);
}

void IniFile::SetFile(const char* path)
{
    path = path ? path : "";
    if (strlen(path) >= sizeof fileName)
    {
        fileName[0] = 0;
        Report(ToLog, Frame::Problem, "path too long: <%s>", path);
        return;
    }
    strcpy(fileName, path);
}

void IniFile::SetSection(const char* name)
{
    snprintf(section, sizeof section, "%s", name ? name : "");
}
