#include "archive/rar_cipher.h"

#include "archive/rar_record.h"

#include <cstring>

namespace
{

// Start values of the running key, fixed by the format.
const uint32_t kStartKey[4] = {0xD3A3B879u, 0x3F6D12F7u, 0x7515A235u, 0xA4E7F123u};

// The format's start substitution table, a permutation of 0 to 255.
const uint8_t kStartTable[256] = {
    0xD7, 0x13, 0x95, 0x23, 0x49, 0xC5, 0xC0, 0xCD, 0xF9, 0x1C, 0x10, 0x77, 0x30, 0xDD, 0x02, 0x2A,
    0xE8, 0x01, 0xB1, 0xE9, 0x0E, 0x58, 0xDB, 0x19, 0xDF, 0xC3, 0xF4, 0x5A, 0x57, 0xEF, 0x99, 0x89,
    0xFF, 0xC7, 0x93, 0x46, 0x5C, 0x42, 0xF6, 0x0D, 0xD8, 0x28, 0x3E, 0x1D, 0xD9, 0xE6, 0x56, 0x06,
    0x47, 0x18, 0xAB, 0xC4, 0x65, 0x71, 0xDA, 0x7B, 0x5D, 0x5B, 0xA3, 0xB2, 0xCA, 0x43, 0x2C, 0xEB,
    0x6B, 0xFA, 0x4B, 0xEA, 0x31, 0xA7, 0x7D, 0xD3, 0x53, 0x72, 0x9D, 0x90, 0x20, 0xC1, 0x8F, 0x24,
    0x9E, 0x7C, 0xF7, 0xBB, 0x59, 0xD6, 0x8D, 0x2F, 0x79, 0xE4, 0x3D, 0x82, 0xD5, 0xC2, 0xAE, 0xFB,
    0x61, 0x6E, 0x36, 0xE5, 0x73, 0x39, 0x98, 0x5E, 0x69, 0xF3, 0xD4, 0x37, 0xD1, 0xF5, 0x3F, 0x0B,
    0xA4, 0xC8, 0x1F, 0x9C, 0x51, 0xB0, 0xE3, 0x15, 0x4C, 0x63, 0x8B, 0xBC, 0x7F, 0x11, 0xF8, 0x33,
    0xCF, 0x78, 0xBD, 0xD2, 0x08, 0xE2, 0x29, 0x48, 0xB7, 0xCB, 0x87, 0xA5, 0xA6, 0x3C, 0x62, 0x07,
    0x7A, 0x26, 0x9B, 0xAA, 0x45, 0xAC, 0xFC, 0xEE, 0x27, 0x86, 0x3B, 0x80, 0xEC, 0x1B, 0xF0, 0x50,
    0x83, 0x03, 0x55, 0xCE, 0x91, 0x4F, 0x9A, 0x8E, 0x9F, 0xDC, 0xC9, 0x85, 0x4A, 0x40, 0x14, 0x81,
    0xE0, 0xB9, 0x8A, 0x67, 0xAD, 0xB6, 0x2B, 0x22, 0xFE, 0x52, 0xC6, 0x97, 0xE7, 0xB4, 0x3A, 0x0A,
    0x76, 0x1A, 0x66, 0x0C, 0x32, 0x84, 0x16, 0xBF, 0x88, 0x6F, 0xA2, 0xB3, 0x2D, 0x04, 0x94, 0x6C,
    0xA1, 0x38, 0x4E, 0x7E, 0xF2, 0xDE, 0x0F, 0xAF, 0x92, 0x17, 0x21, 0xF1, 0xB5, 0xBE, 0x4D, 0xE1,
    0x00, 0x2E, 0xA9, 0xBA, 0x44, 0x5F, 0xED, 0x41, 0x35, 0xD0, 0xFD, 0xA8, 0x09, 0x12, 0x64, 0x34,
    0x74, 0xB8, 0xA0, 0x60, 0x6D, 0x25, 0x1E, 0x6A, 0x8C, 0x68, 0x96, 0x05, 0xCC, 0x75, 0x70, 0x54};

struct CrcTable
{
    uint32_t entries[256];
    constexpr CrcTable() : entries()
    {
        for (uint32_t i = 0; i < 256; ++i)
        {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? (c >> 1) ^ 0xEDB88320u : c >> 1;
            entries[i] = c;
        }
    }
};
constexpr CrcTable kCrc;

uint32_t Load32(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void Store32(uint8_t* p, uint32_t v)
{
    p[0] = uint8_t(v);
    p[1] = uint8_t(v >> 8);
    p[2] = uint8_t(v >> 16);
    p[3] = uint8_t(v >> 24);
}

uint32_t RotateLeft(uint32_t v, int n)
{
    return (v << n) | (v >> (32 - n));
}

// Each byte of the word through the table, each in its own position.
uint32_t Substitute(const RarCipher* c, uint32_t w)
{
    return uint32_t(c->cipherTable[w & 0xFF]) | uint32_t(c->cipherTable[(w >> 8) & 0xFF]) << 8 |
           uint32_t(c->cipherTable[(w >> 16) & 0xFF]) << 16 |
           uint32_t(c->cipherTable[w >> 24]) << 24;
}

// One Feistel round; the same function serves both directions, only the
// order of the round keys differs.
void Round(const RarCipher* c, uint32_t* w, uint32_t r)
{
    uint32_t t = (RotateLeft(w[3], 11) + w[2]) ^ r;
    uint32_t newC = w[0] ^ Substitute(c, t);
    t = (RotateLeft(w[2], 17) ^ w[3]) + r;
    uint32_t newD = w[1] ^ Substitute(c, t);
    w[0] = w[2];
    w[1] = w[3];
    w[2] = newC;
    w[3] = newD;
}

// The key is mixed with the cipher text of every block, through the CRC
// table, four bytes to each key word.
void MixKey(RarCipher* c, const uint8_t* bytes)
{
    for (int g = 0; g < 4; ++g)
        for (int k = 0; k < 4; ++k)
            c->cipherKey[k] ^= kCrc.entries[bytes[g * 4 + k]];
}

void Transform(RarCipher* c, uint8_t* block, bool encipher)
{
    uint8_t input[16];
    memcpy(input, block, 16);
    uint32_t w[4];
    for (int k = 0; k < 4; ++k)
        w[k] = Load32(block + 4 * k) ^ c->cipherKey[k];
    for (int i = 0; i < 32; ++i)
        Round(c, w, c->cipherKey[(encipher ? i : 31 - i) & 3]);
    Store32(block, w[2] ^ c->cipherKey[0]);
    Store32(block + 4, w[3] ^ c->cipherKey[1]);
    Store32(block + 8, w[0] ^ c->cipherKey[2]);
    Store32(block + 12, w[1] ^ c->cipherKey[3]);
    MixKey(c, encipher ? block : input);
}

} // namespace

const uint32_t* const g_rarCrcTable = kCrc.entries;

void RarCipherEncipher(RarCipher* cipher, uint8_t* block)
{
    Transform(cipher, block, true);
}

void RarCipherDecipher(RarCipher* cipher, uint8_t* block)
{
    Transform(cipher, block, false);
}

// The password shuffles the table pair by pair of its bytes, 256 times
// over, and is then enciphered in place to run the key through it.
void RarCipherSetPassword(RarCipher* c, const char* password)
{
    memcpy(c->cipherKey, kStartKey, sizeof(kStartKey));
    memcpy(c->cipherTable, kStartTable, sizeof(kStartTable));
    uint8_t buffer[256] = {};
    size_t n = strlen(password);
    if (n > 255)
        n = 255;
    memcpy(buffer, password, n);
    for (uint32_t j = 0; j < 256; ++j)
    {
        for (size_t i = 0; i < n; i += 2)
        {
            uint32_t from = kCrc.entries[(buffer[i] - j) & 0xFF] & 0xFF;
            uint32_t to = kCrc.entries[(buffer[i + 1] + j) & 0xFF] & 0xFF;
            for (uint32_t k = 1; from != to; ++k)
            {
                uint8_t* a = &c->cipherTable[from];
                uint8_t* b = &c->cipherTable[(from + i + k) & 0xFF];
                uint8_t t = *a;
                *a = *b;
                *b = t;
                from = (from + 1) & 0xFF;
            }
        }
    }
    for (size_t i = 0; i < n; i += 16)
        RarCipherEncipher(c, buffer + i);
    // The work buffer held the password: leave nothing of it behind.
    volatile uint8_t* wipe = buffer;
    for (size_t i = 0; i < sizeof(buffer); ++i)
        wipe[i] = 0;
}

void RarSetPassword(const char* password)
{
    RarCipherSetPassword(&g_rar.cipher, password);
}

void RarEncipherBlock(uint8_t* block)
{
    RarCipherEncipher(&g_rar.cipher, block);
}

void RarDecipherBlock(uint8_t* block)
{
    RarCipherDecipher(&g_rar.cipher, block);
}
