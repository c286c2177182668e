// Writing RAR 2.0 archives: the packer behind `tessimo-rar create` and the
// build's data.rar.
//
//     RarWriterEntry entries[] = {{"tsm\\avion.tsm", bytes, size}};
//     RarWriterOptions options;
//     options.password = "secret";
//     options.solid = true;
//     std::vector<uint8_t> archive;
//     std::string error;
//     if (!RarWriteArchive(entries, 1, options, &archive, &error)) ...
//
// Entries are stored or compressed (LZ mode, or audio mode with 1 to 4
// channels where that is smaller), optionally enciphered and solid. The
// lower-level pieces below let tests build archives around streams of
// their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct RarWriterEntry
{
    const char* name; // backslashes allowed; 1 to 259 bytes
    const uint8_t* data;
    uint32_t size;
};

struct RarWriterOptions
{
    const char* password = nullptr; // null or empty: not enciphered; up to 255
    bool solid = false;
    bool store = false;  // no compression at all
    int audio = -1;      // -1 chosen per entry, 0 never, 1-4 always that many channels
    int chainDepth = 64; // match finder effort
};

bool RarWriteArchive(const RarWriterEntry* entries, size_t count, const RarWriterOptions& options,
                     std::vector<uint8_t>* archive, std::string* error);

// A bit stream, most significant bit of each byte first.
class RarBitWriter
{
public:
    void Put(uint32_t value, uint32_t bits); // the low `bits` bits of value, up to 24
    uint64_t BitCount() const { return uint64_t(bytes.size()) * 8 + used; }
    std::vector<uint8_t> Finish(); // pads the last byte with zero bits

private:
    std::vector<uint8_t> bytes;
    uint32_t pending = 0;
    uint32_t used = 0;
};

// One file block with its packed data, exactly as given.
struct RarFileBlock
{
    std::string name;
    uint16_t flags = 0x8000;
    uint32_t unpackSize = 0;
    uint32_t fileCrc = 0;
    uint8_t unpackVersion = 20;
    uint8_t method = 0x33;
    std::vector<uint8_t> packed;
};

// Signature and main header (flag 0x08: solid).
void RarAppendMainHeader(std::vector<uint8_t>* out, uint16_t flags);
void RarAppendFileBlock(std::vector<uint8_t>* out, const RarFileBlock& block);
