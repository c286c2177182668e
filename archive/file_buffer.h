// FileBuffer: one whole file in one memory block, read sequentially.
//
// Every binary asset of the engine comes through here. The caller names the
// file and, optionally, an archive: with an empty archive name the file is
// read from the disk (through MapPath, so "tsm\avion.tsm" and "Ini\x" work
// on a case-sensitive file system); otherwise the entry of that name is
// taken out of the RAR archive. The same asset name thus works in both
// places.
//
//     FileBuffer file;
//     if (!file.Open("tga\\wood.tga", "data.rar", password))
//         return false;
//     uint8_t* header;
//     if (!file.ReadPointer(&header, 18)) ...
//     file.Close();
#pragma once

#include <cstdint>

#include "archive/rar.h"

class FileBuffer
{
public:
    FileBuffer();
    ~FileBuffer();
    FileBuffer(const FileBuffer&) = delete;
    FileBuffer& operator=(const FileBuffer&) = delete;

    // Loads `fileName` from the disk (empty `archiveName`) or from the
    // archive. `archiveName` must not be null; `password` may be null or
    // empty. The result is `loaded`. Opening a loaded buffer is not foreseen.
    bool Open(const char* fileName, const char* archiveName, const char* password);

    // Hands out a pointer to `count` bytes at the read position, without a
    // copy, and advances. The caller may write through it. Fails without
    // any change when fewer than `count` bytes are left.
    bool ReadPointer(uint8_t** out, uint32_t count);

    // Copies `count` bytes from the read position and advances; fails
    // without any change when fewer than `count` bytes are left.
    bool Read(void* destination, uint32_t count);

    // Frees the block and resets every field, whatever `loaded` says.
    void Close();

    uint8_t* data;
    uint32_t size;
    uint32_t position; // always <= size
    bool loaded;

private:
    bool OpenDisk(const char* fileName);
};

// The first archive read of the process that failed for a reason of the
// archive itself: it is missing, damaged, or the password is wrong. An
// entry that the archive doesn't hold is not such a reason. Each loader
// only learns that its file didn't come; this lets the application say
// once which archive failed and why (RarStatusText of `status`).
struct ArchiveFailure
{
    bool failed = false;
    RarStatus status = RarStatus::Ok;
    char archiveName[260] = {};
};
const ArchiveFailure& FirstArchiveFailure();
