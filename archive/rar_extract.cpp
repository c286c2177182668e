// The RAR 2.0 container walk: find one entry, unpack what a solid archive
// needs in front of it, and check the result's CRC-32.
//
// Layout (little-endian): 7 signature bytes, a main header, then blocks,
// each a header followed by `packSize` bytes of data when its flag 0x8000
// is set. File blocks (0x74) carry one entry each, with its name right
// behind the 32 header bytes. A sub-block (0x77) ends the walk; blocks of
// other types are passed over through their sizes.

#include "archive/rar.h"

#include "archive/rar_record.h"
#include "platform/path_map.h"

#include <cstdlib>
#include <cstring>

RarRecord g_rar;
bool g_rarPlainDecoding = false;

namespace
{

RarStatus g_status = RarStatus::Ok;

// The texts of RarStatus, in its order.
const char* const kStatusTexts[] = {
    "ok",
    "no such archive",
    "not a RAR 2.0 archive",
    "damaged block header",
    "no such entry",
    "unsupported version",
    "entry larger than its packed data can hold",
    "out of memory",
    "archive cut short",
    "damaged packed data",
    "CRC mismatch",
    "wrong password or damaged data",
    "enciphered entry needs a password",
};
static_assert(sizeof(kStatusTexts) / sizeof(kStatusTexts[0]) == size_t(RarStatus::NeedPassword) + 1,
              "one text for each status");

const uint8_t kSignature[7] = {0x52, 0x61, 0x72, 0x21, 0x1A, 0x07, 0x00};
const uint8_t kAltSignature[7] = {'Q', 'u', 'o', 'k', 'k', 'a', '!'};

// A packed bit costs at least one symbol of one bit, and no symbol yields
// more than this many bytes: the bound on what honest packed data unpack to.
constexpr uint64_t kMaxBytesPerPackedBit = 260;

uint16_t Get16(const uint8_t* p)
{
    return uint16_t(p[0] | p[1] << 8);
}

uint32_t Get32(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// Reads the fixed part of a main (0x73, 13 bytes) or block (0x74, 32 bytes)
// header into the record; any other type reads nothing. Yields the number
// of bytes read; the fields past a short read are zero.
uint32_t RarReadHeader(uint8_t type)
{
    uint32_t want = type == kRarMainHead   ? kRarMainHeadSize
                    : type == kRarFileHead ? kRarFileHeadSize
                                           : 0;
    if (want == 0)
        return 0;
    uint8_t b[kRarFileHeadSize] = {};
    uint32_t count = uint32_t(fread(b, 1, want, g_rar.stream));
    if (type == kRarMainHead)
    {
        g_rar.mainFlags = Get16(b + 3);
        g_rar.mainHeadSize = Get16(b + 5);
        return count;
    }
    RarBlockHeader* h = &g_rar.header;
    h->headCrc = Get16(b);
    h->headType = b[2];
    h->headFlags = Get16(b + 3);
    h->headSize = Get16(b + 5);
    h->packSize = Get32(b + 7);
    h->unpackSize = Get32(b + 11);
    h->hostOs = b[15];
    h->fileCrc = Get32(b + 16);
    h->fileTime = Get32(b + 20);
    h->unpackVersion = b[24];
    h->method = b[25];
    h->nameSize = Get16(b + 26);
    h->attributes = Get32(b + 28);
    return count;
}

bool RarCheckSignature()
{
    uint8_t signature[7];
    if (fread(signature, 1, 7, g_rar.stream) != 7)
        return false;
    if (memcmp(signature, kSignature, 7) != 0 && memcmp(signature, kAltSignature, 7) != 0)
        return false;
    return RarReadHeader(kRarMainHead) == kRarMainHeadSize;
}

int64_t RarBrokenBlock()
{
    g_rar.brokenBlock = true;
    return 0;
}

// Moves to the next file block or sub-block, passing over blocks of other
// types. Yields the bytes read of a file block's header and name, the
// header bytes of a sub-block, or 0 at the end of the file or at a header
// that leads nowhere. `stoppedType` tells which.
int64_t RarNextFileBlock()
{
    RarBlockHeader saved = g_rar.header;
    int64_t blockStart;
    uint32_t count;
    for (;;)
    {
        blockStart = ftello(g_rar.stream);
        count = RarReadHeader(kRarFileHead);
        // Every block header has 7 bytes, a file block's 32: fewer, and the
        // file has ended inside it.
        if ((count != 0 && count < 7) || (g_rar.header.headType == kRarFileHead && count < 32))
            g_rar.archiveEnded = g_rar.archiveEnded || count != 0;
        if (count != 0)
        {
            if (g_rar.header.headSize < 7)
                return RarBrokenBlock();
            g_rar.nextBlock = blockStart + g_rar.header.headSize;
            if (g_rar.header.headFlags & kRarLongBlock)
                g_rar.nextBlock += g_rar.header.packSize;
            if (g_rar.nextBlock <= blockStart)
                return RarBrokenBlock();
        }
        uint8_t type = g_rar.header.headType;
        if (count == 0 || type == kRarFileHead || type == kRarSubHead)
        {
            g_rar.stoppedType = type;
            break;
        }
        if (fseeko(g_rar.stream, g_rar.nextBlock, SEEK_SET) != 0)
            return RarBrokenBlock();
    }
    if (g_rar.header.headType == kRarFileHead && count > 0)
    {
        uint32_t nameSize = g_rar.header.nameSize;
        if (nameSize > kRarNameMax)
            nameSize = kRarNameMax;
        size_t got = fread(g_rar.header.name, 1, nameSize, g_rar.stream);
        g_rar.header.name[got] = 0;
        if (got < nameSize)
            g_rar.archiveEnded = true;
        return count + nameSize;
    }
    g_rar.header = saved;
    fseeko(g_rar.stream, blockStart, SEEK_SET);
    return count;
}

// Entry names match regardless of letter case and of the kind of separator:
// '\', '/' and '_' are all the same.
void NormaliseName(const char* name, char* out)
{
    size_t i = 0;
    for (; name[i] && i < 511; ++i)
    {
        char c = name[i];
        if (c == '\\' || c == '/')
            c = '_';
        else if (c >= 'a' && c <= 'z')
            c = char(c - 'a' + 'A');
        out[i] = c;
    }
    out[i] = 0;
}

// A stored entry: its bytes as they lie, deciphered in whole groups of 16,
// so the output block has room for the last group's rounding.
void RarReadStored()
{
    if (!g_rar.output)
        return;
    uint32_t want = g_rar.header.unpackSize;
    if (g_rar.cipherVersion >= 20)
        want = uint32_t((uint64_t(want) + 15) & ~uint64_t(15));
    if (want > g_rar.packedLeft)
        want = g_rar.packedLeft;
    uint32_t got = want ? uint32_t(fread(g_rar.output, 1, want, g_rar.stream)) : 0;
    if (got < want)
        g_rar.archiveEnded = true;
    if (g_rar.cipherVersion >= 20)
        for (uint32_t i = 0; i < got; i += 16)
            RarDecipherBlock(g_rar.output + i);
    g_rar.written = got < g_rar.header.unpackSize ? got : g_rar.header.unpackSize;
}

// The wanted entry's output block; refused when the entry claims more bytes
// than its packed data could possibly hold.
RarStatus RarAllocateOutput(int64_t archiveSize)
{
    const RarBlockHeader& h = g_rar.header;
    int64_t dataLeft = archiveSize - ftello(g_rar.stream);
    uint64_t packed = h.packSize;
    if (dataLeft < int64_t(packed))
        packed = dataLeft > 0 ? uint64_t(dataLeft) : 0;
    uint64_t most = h.method == kRarMethodStore ? packed : (packed + 4) * 8 * kMaxBytesPerPackedBit;
    if (h.unpackSize > most)
        return RarStatus::TooLarge;
    g_rar.output = static_cast<uint8_t*>(malloc(size_t(h.unpackSize) + 16));
    g_rar.written = 0;
    return g_rar.output ? RarStatus::Ok : RarStatus::NoMemory;
}

// Why an entry that was read failed: its packed data or its CRC; for an
// enciphered entry most likely the password. (A file that ended inside it
// outranks both, see RarWalk.)
RarStatus RarEntryFailure(bool crcFailed)
{
    if (g_rar.header.headFlags & kRarFileEnciphered)
        return g_rar.password[0] ? RarStatus::WrongPassword : RarStatus::NeedPassword;
    return crcFailed ? RarStatus::BadCrc : RarStatus::CorruptStream;
}

// One entry met on the walk: unpacked if it is the wanted one or, in a
// solid archive, stands in front of it.
RarStatus RarProcessEntry(int64_t archiveSize)
{
    const RarBlockHeader& h = g_rar.header;
    if (g_rar.entryFound)
    {
        RarStatus allocated = RarAllocateOutput(archiveSize);
        if (allocated != RarStatus::Ok)
            return allocated;
    }
    if (h.unpackVersion < 13 || h.unpackVersion > 20)
        return RarStatus::BadVersion;
    g_rar.cipherVersion = 0;
    if (g_rar.password[0] && (h.headFlags & kRarFileEnciphered))
    {
        g_rar.cipherVersion = h.unpackVersion;
        RarSetPassword(g_rar.password);
    }
    g_rar.packedLeft = h.packSize;
    g_rar.unpackedLeft = h.unpackSize;
    if (h.method == kRarMethodStore)
        RarReadStored();
    else
        RarUnpack(g_rar.window);
    if (g_rar.damaged || (g_rar.output && g_rar.written != h.unpackSize))
        return RarEntryFailure(false);
    if (g_rar.output && RarCrc32(0, g_rar.output, h.unpackSize) != h.fileCrc)
        return RarEntryFailure(true);
    return RarStatus::Ok;
}

RarStatus RarWalk()
{
    if (!RarCheckSignature())
        return RarStatus::NotRar;
    fseeko(g_rar.stream, 0, SEEK_END);
    int64_t archiveSize = ftello(g_rar.stream);
    g_rar.window = static_cast<uint8_t*>(malloc(kRarWindowSize));
    if (!g_rar.window)
        return RarStatus::NoMemory;
    // Any rest of the main header is skipped.
    int64_t skip =
        g_rar.mainHeadSize > kRarMainHeadSize ? g_rar.mainHeadSize - kRarMainHeadSize : 0;
    fseeko(g_rar.stream, 7 + kRarMainHeadSize + skip, SEEK_SET);
    bool solid = (g_rar.mainFlags & kRarMainSolid) != 0;
    for (;;)
    {
        if (RarNextFileBlock() < 1 || g_rar.stoppedType == kRarSubHead)
            return g_rar.archiveEnded  ? RarStatus::Truncated
                   : g_rar.brokenBlock ? RarStatus::BadBlockHeader
                                       : RarStatus::NoEntry;
        g_rar.entryFound = RarNamesMatch(g_rar.header.name, g_rar.entryName);
        if (solid || g_rar.entryFound)
        {
            RarStatus entry = RarProcessEntry(archiveSize);
            if (entry != RarStatus::Ok)
                return g_rar.archiveEnded ? RarStatus::Truncated : entry;
        }
        // A next block beyond the file's end: the walk would find nothing more.
        bool beyond = g_rar.nextBlock > archiveSize;
        if (fseeko(g_rar.stream, g_rar.nextBlock, SEEK_SET) != 0)
            return beyond ? RarStatus::Truncated : RarStatus::BadBlockHeader;
        if (g_rar.entryFound)
            return RarStatus::Ok;
        if (beyond)
            return RarStatus::Truncated;
    }
}

void CopyString(char* to, const char* from, size_t size)
{
    size_t n = from ? strnlen(from, size - 1) : 0;
    if (n)
        memcpy(to, from, n);
    to[n] = 0;
}

// Runs one extraction on an opened stream and leaves nothing behind but
// the result.
bool RarExtractStream(FILE* stream, uint8_t** data, uint32_t* size, const char* entryName,
                      const char* archiveName, const char* password)
{
    memset(&g_rar, 0, sizeof(g_rar));
    CopyString(g_rar.entryName, entryName, sizeof(g_rar.entryName));
    CopyString(g_rar.archiveName, archiveName, sizeof(g_rar.archiveName));
    CopyString(g_rar.password, password, sizeof(g_rar.password));
    g_rar.stream = stream;
    g_status = RarWalk();
    bool ok = g_status == RarStatus::Ok;

    volatile char* wipe = g_rar.password;
    for (size_t i = 0; i < sizeof(g_rar.password); ++i)
        wipe[i] = 0;
    memset(&g_rar.cipher, 0, sizeof(g_rar.cipher));
    fclose(stream);
    g_rar.stream = nullptr;
    free(g_rar.window);
    g_rar.window = nullptr;
    if (!ok)
    {
        free(g_rar.output);
        g_rar.output = nullptr;
    }
    *data = ok ? g_rar.output : nullptr;
    *size = ok ? g_rar.written : 0;
    g_rar.output = nullptr;
    return ok;
}

} // namespace

bool RarExtract(uint8_t** data, uint32_t* size, const char* entryName, const char* archiveName,
                const char* password)
{
    *data = nullptr;
    *size = 0;
    g_status = RarStatus::NoArchive;
    char path[1024];
    if (!MapPath(archiveName, path, sizeof(path)))
        return false;
    FILE* stream = fopen(path, "rb");
    if (!stream)
        return false;
    return RarExtractStream(stream, data, size, entryName, archiveName, password);
}

bool RarExtractMemory(uint8_t** data, uint32_t* size, const char* entryName, const uint8_t* archive,
                      size_t archiveSize, const char* password)
{
    *data = nullptr;
    *size = 0;
    g_status = archiveSize ? RarStatus::NoMemory : RarStatus::NotRar;
    if (archiveSize == 0)
        return false;
    FILE* stream = fmemopen(const_cast<uint8_t*>(archive), archiveSize, "rb");
    if (!stream)
        return false;
    return RarExtractStream(stream, data, size, entryName, "", password);
}

RarStatus RarLastStatus()
{
    return g_status;
}

const char* RarStatusText(RarStatus status)
{
    size_t i = size_t(status);
    return i < sizeof(kStatusTexts) / sizeof(kStatusTexts[0]) ? kStatusTexts[i] : "unknown status";
}

bool RarNamesMatch(const char* a, const char* b)
{
    char left[512], right[512];
    NormaliseName(a, left);
    NormaliseName(b, right);
    return strcmp(left, right) == 0;
}

namespace
{

bool RarListStream(FILE* stream, void (*visit)(const RarEntryInfo&, void*), void* user)
{
    memset(&g_rar, 0, sizeof(g_rar));
    g_rar.stream = stream;
    bool ok = RarCheckSignature();
    if (ok)
    {
        int64_t skip =
            g_rar.mainHeadSize > kRarMainHeadSize ? g_rar.mainHeadSize - kRarMainHeadSize : 0;
        fseeko(stream, 7 + kRarMainHeadSize + skip, SEEK_SET);
        while (RarNextFileBlock() >= 1 && g_rar.stoppedType == kRarFileHead)
        {
            const RarBlockHeader& h = g_rar.header;
            RarEntryInfo info;
            memcpy(info.name, h.name, sizeof(info.name));
            info.packSize = h.packSize;
            info.unpackSize = h.unpackSize;
            info.fileCrc = h.fileCrc;
            info.flags = h.headFlags;
            info.unpackVersion = h.unpackVersion;
            info.method = h.method;
            visit(info, user);
            if (fseeko(stream, g_rar.nextBlock, SEEK_SET) != 0)
                break;
        }
    }
    fclose(stream);
    g_rar.stream = nullptr;
    return ok;
}

} // namespace

bool RarListEntries(const char* archiveName, void (*visit)(const RarEntryInfo&, void*), void* user)
{
    char path[1024];
    if (!MapPath(archiveName, path, sizeof(path)))
        return false;
    FILE* stream = fopen(path, "rb");
    return stream && RarListStream(stream, visit, user);
}

bool RarListEntriesMemory(const uint8_t* archive, size_t archiveSize,
                          void (*visit)(const RarEntryInfo&, void*), void* user)
{
    FILE* stream =
        archiveSize ? fmemopen(const_cast<uint8_t*>(archive), archiveSize, "rb") : nullptr;
    return stream && RarListStream(stream, visit, user);
}
