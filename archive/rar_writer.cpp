// The container side of the writer: signature, main header, one file block
// per entry with its header CRC, and the choice per entry between stored
// and compressed data. The compression itself is in rar_pack.cpp.

#include "archive/rar_writer.h"

#include "archive/rar.h"
#include "archive/rar_cipher.h"
#include "archive/rar_pack.h"
#include "archive/rar_record.h"

#include <cstring>

namespace
{

// 1980-01-01 00:00 in the DOS format: entries carry no real time, so the
// same files always give the same archive.
constexpr uint32_t kFixedTime = 0x00210000;
constexpr uint8_t kMethodCompressed = 0x33;

void Put16(std::vector<uint8_t>* out, uint32_t v)
{
    out->push_back(uint8_t(v));
    out->push_back(uint8_t(v >> 8));
}

void Put32(std::vector<uint8_t>* out, uint32_t v)
{
    Put16(out, v & 0xFFFF);
    Put16(out, v >> 16);
}

// The header CRC is the low half of the CRC-32 of the header from its type
// byte to its end.
void SealHeader(std::vector<uint8_t>* out, size_t start)
{
    uint32_t crc = RarCrc32(0, out->data() + start + 2, out->size() - start - 2);
    (*out)[start] = uint8_t(crc);
    (*out)[start + 1] = uint8_t(crc >> 8);
}

// Pads to whole cipher groups and enciphers in stream order, under a key
// schedule that starts afresh for the entry.
void Encipher(std::vector<uint8_t>* packed, const char* password)
{
    packed->resize((packed->size() + 15) & ~size_t(15), 0);
    RarCipher cipher;
    RarCipherSetPassword(&cipher, password);
    for (size_t i = 0; i < packed->size(); i += 16)
        RarCipherEncipher(&cipher, packed->data() + i);
}

bool CheckInput(const RarWriterEntry* entries, size_t count, const RarWriterOptions& options,
                std::string* error)
{
    if (options.password && strlen(options.password) > kRarPasswordMax)
    {
        *error = "password longer than 255 characters";
        return false;
    }
    if (options.audio < -1 || options.audio > 4)
    {
        *error = "audio channels must be 1 to 4";
        return false;
    }
    for (size_t i = 0; i < count; ++i)
    {
        size_t n = strlen(entries[i].name);
        if (n == 0 || n > kRarNameMax)
        {
            *error =
                std::string("entry name must have 1 to 259 bytes: \"") + entries[i].name + "\"";
            return false;
        }
    }
    return true;
}

} // namespace

void RarBitWriter::Put(uint32_t value, uint32_t bits)
{
    pending = (pending << bits) | (value & ((1u << bits) - 1));
    used += bits;
    while (used >= 8)
    {
        used -= 8;
        bytes.push_back(uint8_t(pending >> used));
    }
    pending &= (1u << used) - 1;
}

std::vector<uint8_t> RarBitWriter::Finish()
{
    if (used)
        Put(0, 8 - used);
    return std::move(bytes);
}

void RarAppendMainHeader(std::vector<uint8_t>* out, uint16_t flags)
{
    static const uint8_t signature[7] = {0x52, 0x61, 0x72, 0x21, 0x1A, 0x07, 0x00};
    out->insert(out->end(), signature, signature + 7);
    size_t start = out->size();
    Put16(out, 0);
    out->push_back(kRarMainHead);
    Put16(out, flags);
    Put16(out, kRarMainHeadSize);
    Put16(out, 0);
    Put32(out, 0);
    SealHeader(out, start);
}

void RarAppendFileBlock(std::vector<uint8_t>* out, const RarFileBlock& block)
{
    size_t start = out->size();
    Put16(out, 0);
    out->push_back(kRarFileHead);
    Put16(out, block.flags);
    Put16(out, uint32_t(kRarFileHeadSize + block.name.size()));
    Put32(out, uint32_t(block.packed.size()));
    Put32(out, block.unpackSize);
    out->push_back(0); // host
    Put32(out, block.fileCrc);
    Put32(out, kFixedTime);
    out->push_back(block.unpackVersion);
    out->push_back(block.method);
    Put16(out, uint32_t(block.name.size()));
    Put32(out, 0); // attributes
    out->insert(out->end(), block.name.begin(), block.name.end());
    SealHeader(out, start);
    out->insert(out->end(), block.packed.begin(), block.packed.end());
}

bool RarWriteArchive(const RarWriterEntry* entries, size_t count, const RarWriterOptions& options,
                     std::vector<uint8_t>* archive, std::string* error)
{
    if (!CheckInput(entries, count, options, error))
        return false;
    const char* password = options.password && options.password[0] ? options.password : nullptr;
    archive->clear();
    RarAppendMainHeader(archive, options.solid ? kRarMainSolid : 0);

    // Empty entries are always stored. In a solid archive every other entry
    // is compressed, each continuing the one before it; otherwise each
    // entry is compressed alone and stored where that is no smaller.
    RarPacker packer(options);
    bool continuing = false;
    for (size_t i = 0; i < count; ++i)
    {
        const RarWriterEntry& e = entries[i];
        RarFileBlock block;
        block.name = e.name;
        block.unpackSize = e.size;
        block.fileCrc = RarCrc32(0, e.data, e.size);
        block.method = kRarMethodStore;
        block.packed.assign(e.data, e.data + e.size);
        if (!options.store && e.size > 0)
        {
            if (!options.solid)
                packer.Reset();
            std::vector<uint8_t> packed = packer.Pack(e.data, e.size, continuing, password);
            if (options.solid || packed.size() < e.size)
            {
                block.method = kMethodCompressed;
                block.packed = std::move(packed);
                if (continuing)
                    block.flags |= kRarFileSolid;
                continuing = options.solid;
            }
        }
        if (password)
        {
            block.flags |= kRarFileEnciphered;
            Encipher(&block.packed, password);
        }
        RarAppendFileBlock(archive, block);
    }
    return true;
}
