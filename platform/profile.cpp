#include "platform/profile.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <strings.h>

#include "platform/path_map.h"

namespace
{

// Settings files are small; a larger file is read up to this size only.
constexpr size_t kMaxFileSize = 16 << 20;

bool ReadWholeFile(const char* fileName, std::string* text)
{
    char path[4096];
    if (!fileName || !MapPath(fileName, path, sizeof path))
        return false;
    FILE* f = fopen(path, "rb");
    if (!f)
        return false;
    char chunk[65536];
    size_t n;
    while (text->size() < kMaxFileSize && (n = fread(chunk, 1, sizeof chunk, f)) > 0)
        text->append(chunk, n);
    fclose(f);
    if (text->size() > kMaxFileSize)
        text->resize(kMaxFileSize);
    return true;
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

// [begin, end) without blanks at either end.
void Trim(const char*& begin, const char*& end)
{
    while (begin < end && IsBlank(*begin))
        ++begin;
    while (end > begin && IsBlank(end[-1]))
        --end;
}

bool SameName(const char* begin, const char* end, const char* name)
{
    size_t n = static_cast<size_t>(end - begin);
    return strlen(name) == n && strncasecmp(begin, name, n) == 0;
}

// Finds the value of `key` in the first "[section]" of that name. The value
// comes back as [*valueBegin, *valueEnd), trimmed and unquoted.
bool FindValue(const char* text, size_t size, const char* section, const char* key,
               const char** valueBegin, const char** valueEnd)
{
    bool inSection = false;
    const char* p = text;
    const char* fileEnd = p + size;
    while (p < fileEnd)
    {
        const char* lineEnd = static_cast<const char*>(memchr(p, '\n', fileEnd - p));
        if (!lineEnd)
            lineEnd = fileEnd;
        const char* b = p;
        const char* e = lineEnd;
        p = lineEnd + 1;
        Trim(b, e);
        if (b == e || *b == ';' || *b == '#')
            continue;
        if (*b == '[')
        {
            const char* close = static_cast<const char*>(memchr(b, ']', e - b));
            if (!close)
                continue;
            const char* nameBegin = b + 1;
            const char* nameEnd = close;
            Trim(nameBegin, nameEnd);
            if (inSection)
                return false; // the section of that name has ended
            inSection = SameName(nameBegin, nameEnd, section);
            continue;
        }
        if (!inSection)
            continue;
        const char* eq = static_cast<const char*>(memchr(b, '=', e - b));
        if (!eq)
            continue;
        const char* keyEnd = eq;
        Trim(b, keyEnd);
        if (!SameName(b, keyEnd, key))
            continue;
        const char* v = eq + 1;
        Trim(v, e);
        if (e - v >= 2 && *v == '"' && e[-1] == '"')
        {
            ++v;
            --e;
        }
        *valueBegin = v;
        *valueEnd = e;
        return true;
    }
    return false;
}

uint32_t CopyCut(const char* begin, size_t n, char* out, uint32_t size)
{
    if (size == 0)
        return 0;
    if (n > size - 1)
        n = size - 1;
    memmove(out, begin, n);
    out[n] = 0;
    return static_cast<uint32_t>(n);
}

} // namespace

uint32_t GetProfileStringFromText(const char* text, size_t size, const char* section,
                                  const char* key, const char* def, char* out, uint32_t outSize)
{
    // The key may live in `out`: take copies of the names before writing.
    std::string sectionName = section ? section : "";
    std::string keyName = key ? key : "";
    std::string defText = def ? def : "";
    // Editors may start a UTF-8 file with a byte-order mark; it belongs to
    // no line, and left in place it would hide the first section header.
    if (text && size >= 3 && memcmp(text, "\xEF\xBB\xBF", 3) == 0)
    {
        text += 3;
        size -= 3;
    }
    const char* vb = nullptr;
    const char* ve = nullptr;
    if (key && text && FindValue(text, size, sectionName.c_str(), keyName.c_str(), &vb, &ve))
        return CopyCut(vb, static_cast<size_t>(ve - vb), out, outSize);
    return CopyCut(defText.data(), defText.size(), out, outSize);
}

uint32_t GetPrivateProfileString(const char* section, const char* key, const char* def, char* out,
                                 uint32_t size, const char* fileName)
{
    std::string text;
    bool found = ReadWholeFile(fileName, &text);
    return GetProfileStringFromText(found ? text.data() : nullptr, text.size(), section, key, def,
                                    out, size);
}
