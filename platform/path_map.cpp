#include "platform/path_map.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>

namespace
{

bool Exists(const char* path)
{
    struct stat st;
    return stat(path, &st) == 0;
}

// Looks for `component` in the folder `dir` (the whole path so far, or ""
// for the current folder) without regard to letter case. On success the
// folder's own spelling replaces the component in place.
bool FindCaseless(const char* dir, char* component)
{
    DIR* d = opendir(dir[0] ? dir : ".");
    if (!d)
        return false;
    bool found = false;
    while (struct dirent* e = readdir(d))
    {
        if (strcasecmp(e->d_name, component) == 0)
        {
            memcpy(component, e->d_name, strlen(component));
            found = true;
            break;
        }
    }
    closedir(d);
    return found;
}

} // namespace

bool MapPath(const char* name, char* out, size_t outSize)
{
    if (outSize == 0)
        return false;
    size_t n = strlen(name);
    if (n >= outSize)
    {
        out[0] = 0;
        return false;
    }
    for (size_t i = 0; i <= n; ++i)
        out[i] = name[i] == '\\' ? '/' : name[i];
    if (Exists(out))
        return true;

    // Walk the components; each one that is missing as written is looked up
    // caselessly in the folder that holds it.
    size_t start = out[0] == '/' ? 1 : 0;
    while (start < n)
    {
        char* slash = strchr(out + start, '/');
        size_t end = slash ? size_t(slash - out) : n;
        char saved = out[end];
        out[end] = 0;
        if (end > start && !Exists(out))
        {
            char keep = out[start > 0 ? start - 1 : 0];
            if (start > 0)
                out[start - 1] = 0;
            const char* dir = start > 0 ? (start == 1 ? "/" : out) : "";
            bool ok = FindCaseless(dir, out + start);
            if (start > 0)
                out[start - 1] = keep;
            if (!ok)
            {
                out[end] = saved;
                return true;
            }
        }
        out[end] = saved;
        start = end + 1;
    }
    return true;
}

bool JoinPath(const char* directory, const char* name, char* out, size_t outSize)
{
    if (outSize == 0)
        return false;
    int n = snprintf(out, outSize, "%s\\%s", directory ? directory : "", name ? name : "");
    if (n < 0 || static_cast<size_t>(n) >= outSize)
    {
        out[0] = 0;
        return false;
    }
    return true;
}
