// The block cipher of RAR 2.0 archives: a 32-round Feistel network on
// 16-byte blocks whose substitution table depends on the password, and a
// key that is mixed with every cipher block, so the blocks of one entry
// must be handled once each and in stream order.
//
// RarCipher is the state; the reader keeps one in its record (and uses the
// RarSetPassword / RarDecipherBlock operations on it), the writer its own.
#pragma once

#include <cstdint>

struct RarCipher
{
    uint32_t cipherKey[4];
    uint8_t cipherTable[256];
};

// Sets key and table for `password` (up to 255 characters, not empty).
void RarCipherSetPassword(RarCipher* cipher, const char* password);
// Enciphers / deciphers 16 bytes in place and moves the key on.
void RarCipherEncipher(RarCipher* cipher, uint8_t* block);
void RarCipherDecipher(RarCipher* cipher, uint8_t* block);

// The reader's cipher, the one in its module-level record.
void RarSetPassword(const char* password);
void RarEncipherBlock(uint8_t* block);
void RarDecipherBlock(uint8_t* block);

// The CRC-32 table (reflected, polynomial 0xEDB88320) shared by the
// checksums and the cipher.
extern const uint32_t* const g_rarCrcTable;
