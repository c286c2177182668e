// SHA-256 (FIPS 180-4), for the digests of the art map's levels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class Sha256
{
public:
    Sha256();
    void Update(const uint8_t* data, size_t size);
    // The digest as 64 lowercase hexadecimal digits; the object is spent.
    std::string HexDigest();

private:
    void Block(const uint8_t* block);
    uint32_t state[8];
    uint8_t buffer[64];
    size_t buffered = 0;
    uint64_t totalBytes = 0;
};
