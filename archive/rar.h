// Reading one entry out of a RAR 2.0 archive.
//
// RarExtract walks the archive's blocks to the named entry, unpacks
// whatever a solid archive needs in front of it, deciphers on the way and
// checks the CRC-32 of the result. All its state lies in one module-level
// record, so one extraction runs at a time. It prints nothing: every
// failure (no archive, no entry, unsupported version, damaged data, wrong
// password) ends in false, with `*data` null and `*size` 0, and
// RarLastStatus tells which it was.
#pragma once

#include <cstddef>
#include <cstdint>

// On success `*data` is a malloc'ed block of the entry's bytes, owned by the
// caller (free it), and `*size` their number. `entryName` and `archiveName`
// up to 259 characters; `password` up to 255, may be null or empty.
bool RarExtract(uint8_t** data, uint32_t* size, const char* entryName, const char* archiveName,
                const char* password);

// The same walk over an archive that lies in memory (tests and fuzzing).
bool RarExtractMemory(uint8_t** data, uint32_t* size, const char* entryName, const uint8_t* archive,
                      size_t archiveSize, const char* password);

// Why the last extraction ended as it did.
enum class RarStatus
{
    Ok,
    NoArchive,      // the archive doesn't open
    NotRar,         // no RAR 2.0 signature and main header
    BadBlockHeader, // a block header's sizes lead backwards or nowhere
    NoEntry,        // the walk ends (file end or sub-block) before the entry
    BadVersion,     // an entry needs a version other than 1.3 to 2.0
    TooLarge,       // the entry claims more bytes than its packed data can hold
    NoMemory,       // the window or the output block can't be allocated
    Truncated,      // the file ends inside a block
    CorruptStream,  // the packed data end early or overrun the entry's size
    BadCrc,         // the unpacked bytes fail their CRC-32
    WrongPassword,  // an enciphered entry fails with the password given
    NeedPassword,   // an enciphered entry fails without a password
};

// The status of the last RarExtract or RarExtractMemory call, and its text
// (lower case, no full stop, e.g. "no such entry").
RarStatus RarLastStatus();
const char* RarStatusText(RarStatus status);

// The standard CRC-32 (reflected, polynomial 0xEDB88320) of `size` bytes,
// continuing from `crc` (0 to start).
uint32_t RarCrc32(uint32_t crc, const uint8_t* bytes, size_t size);

// Entry names match regardless of letter case and of '\\', '/' or '_'.
bool RarNamesMatch(const char* a, const char* b);

// What the walk sees of one file block, for listings.
struct RarEntryInfo
{
    char name[260];
    uint32_t packSize;
    uint32_t unpackSize;
    uint32_t fileCrc;
    uint16_t flags;
    uint8_t unpackVersion;
    uint8_t method;
};

// Calls `visit` for each file block up to the end of the walk (the end of
// the file or a sub-block). False when the archive doesn't open or has no
// RAR 2.0 signature and main header.
bool RarListEntries(const char* archiveName, void (*visit)(const RarEntryInfo&, void*), void* user);
bool RarListEntriesMemory(const uint8_t* archive, size_t archiveSize,
                          void (*visit)(const RarEntryInfo&, void*), void* user);
