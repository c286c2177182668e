#include "archive/file_buffer.h"

#include "archive/rar.h"
#include "platform/path_map.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

ArchiveFailure g_firstFailure;

void NoteFailure(const char* archiveName)
{
    RarStatus status = RarLastStatus();
    if (g_firstFailure.failed || status == RarStatus::Ok || status == RarStatus::NoEntry)
        return;
    g_firstFailure.failed = true;
    g_firstFailure.status = status;
    snprintf(g_firstFailure.archiveName, sizeof g_firstFailure.archiveName, "%s", archiveName);
}

} // namespace

const ArchiveFailure& FirstArchiveFailure()
{
    return g_firstFailure;
}

FileBuffer::FileBuffer() : data(nullptr), size(0), position(0), loaded(false) {}

FileBuffer::~FileBuffer()
{
    if (loaded)
        Close();
}

bool FileBuffer::Open(const char* fileName, const char* archiveName, const char* password)
{
    if (archiveName[0] != 0)
    {
        loaded = RarExtract(&data, &size, fileName, archiveName, password);
        if (!loaded)
            NoteFailure(archiveName);
    }
    else
        loaded = OpenDisk(fileName);
    return loaded;
}

// Reads the whole disk file in one request. A failed allocation or a short
// read is not told apart from success: the caller sees what arrived.
bool FileBuffer::OpenDisk(const char* fileName)
{
    char path[1024];
    if (!MapPath(fileName, path, sizeof(path)))
        return false;
    FILE* file = fopen(path, "rb");
    if (!file)
        return false;
    long end = -1;
    if (fseek(file, 0, SEEK_END) == 0)
        end = ftell(file);
    if (end < 0 || uint64_t(end) > 0xFFFFFFFFu || fseek(file, 0, SEEK_SET) != 0)
    {
        // A folder, a pipe or a file beyond 4 GiB has no size we can hold.
        fclose(file);
        return false;
    }
    size = uint32_t(end);
    data = static_cast<uint8_t*>(malloc(size ? size : 1));
    if (!data)
        size = 0;
    else if (size)
        size = uint32_t(fread(data, 1, size, file));
    fclose(file);
    return true;
}

bool FileBuffer::ReadPointer(uint8_t** out, uint32_t count)
{
    if (uint64_t(position) + count > size)
        return false;
    *out = data + position;
    position += count;
    return true;
}

bool FileBuffer::Read(void* destination, uint32_t count)
{
    if (uint64_t(position) + count > size)
        return false;
    if (count)
        memcpy(destination, data + position, count);
    position += count;
    return true;
}

void FileBuffer::Close()
{
    free(data);
    data = nullptr;
    size = 0;
    position = 0;
    loaded = false;
}
