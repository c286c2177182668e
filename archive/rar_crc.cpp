// The CRC-32 of the entries: eight bytes at a time by table, or 64 at a
// time by carry-less multiplication where the processor has it.

#include "archive/rar.h"

#include "archive/rar_record.h"

#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

namespace
{

// Eight tables for the CRC: table k gives the CRC of a byte followed by k
// zero bytes, so eight bytes fold in at once.
struct CrcSlices
{
    uint32_t t[8][256];
    CrcSlices()
    {
        for (uint32_t i = 0; i < 256; ++i)
            t[0][i] = g_rarCrcTable[i];
        for (uint32_t k = 1; k < 8; ++k)
            for (uint32_t i = 0; i < 256; ++i)
                t[k][i] = (t[k - 1][i] >> 8) ^ t[0][t[k - 1][i] & 0xFF];
    }
};

uint32_t CrcBytewise(uint32_t crc, const uint8_t* bytes, size_t size)
{
    for (size_t i = 0; i < size; ++i)
        crc = g_rarCrcTable[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
    return crc;
}

#if defined(__x86_64__) || defined(__i386__)
// Carry-less multiplication folds 64 bytes at a time: four 128-bit lanes,
// each multiplied forward by x^512 (mod the polynomial) and added to the
// next 64 bytes, then folded into one lane, reduced to 64 bits and finished
// by a Barrett reduction to the 32-bit remainder. The constants are the
// bit-reflected powers of x modulo 0x104C11DB7, and their reciprocal.
#define TESSIMO_CLMUL __attribute__((target("pclmul,sse2")))

TESSIMO_CLMUL inline __m128i CrcLoad(const uint8_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// x times the two halves of k, added to `next`.
TESSIMO_CLMUL inline __m128i CrcFold(__m128i x, __m128i k, __m128i next)
{
    __m128i low = _mm_clmulepi64_si128(x, k, 0x00);
    __m128i high = _mm_clmulepi64_si128(x, k, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), next);
}

TESSIMO_CLMUL uint32_t CrcFolded(uint32_t crc, const uint8_t* bytes, size_t size)
{
    const __m128i k512 = _mm_set_epi64x(0x1c6e41596, 0x154442bd4);
    const __m128i k128 = _mm_set_epi64x(0x0ccaa009e, 0x1751997d0);
    const __m128i k64 = _mm_set_epi64x(0, 0x163cd6124);
    const __m128i barrett = _mm_set_epi64x(0x1f7011641, 0x1db710641);
    const __m128i mask32 = _mm_set_epi32(0, 0, 0, -1);

    __m128i x0 = _mm_xor_si128(CrcLoad(bytes), _mm_cvtsi32_si128(int32_t(crc)));
    __m128i x1 = CrcLoad(bytes + 16);
    __m128i x2 = CrcLoad(bytes + 32);
    __m128i x3 = CrcLoad(bytes + 48);
    for (bytes += 64, size -= 64; size >= 64; bytes += 64, size -= 64)
    {
        x0 = CrcFold(x0, k512, CrcLoad(bytes));
        x1 = CrcFold(x1, k512, CrcLoad(bytes + 16));
        x2 = CrcFold(x2, k512, CrcLoad(bytes + 32));
        x3 = CrcFold(x3, k512, CrcLoad(bytes + 48));
    }
    __m128i x = CrcFold(CrcFold(CrcFold(x0, k128, x1), k128, x2), k128, x3);
    for (; size >= 16; bytes += 16, size -= 16)
        x = CrcFold(x, k128, CrcLoad(bytes));

    // 128 bits to 64, then to 32 with x^64 folded in, then the remainder.
    x = _mm_xor_si128(_mm_clmulepi64_si128(x, k128, 0x10), _mm_srli_si128(x, 8));
    x = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x, mask32), k64, 0x00),
                      _mm_srli_si128(x, 4));
    __m128i t = _mm_clmulepi64_si128(_mm_and_si128(x, mask32), barrett, 0x10);
    t = _mm_clmulepi64_si128(_mm_and_si128(t, mask32), barrett, 0x00);
    crc = uint32_t(_mm_cvtsi128_si32(_mm_srli_si128(_mm_xor_si128(x, t), 4)));
    return CrcBytewise(crc, bytes, size);
}

bool CrcFoldingAvailable()
{
    static const bool available = __builtin_cpu_supports("pclmul");
    return available;
}
#endif

} // namespace

uint32_t RarCrc32(uint32_t crc, const uint8_t* bytes, size_t size)
{
    crc = ~crc;
    if (g_rarPlainDecoding)
        return ~CrcBytewise(crc, bytes, size);
#if defined(__x86_64__) || defined(__i386__)
    if (size >= 64 && CrcFoldingAvailable())
        return ~CrcFolded(crc, bytes, size);
#endif
    static const CrcSlices slices;
    const auto& t = slices.t;
    for (; size >= 8; size -= 8, bytes += 8)
    {
        uint32_t low, high;
        memcpy(&low, bytes, 4);
        memcpy(&high, bytes + 4, 4);
        low ^= crc;
        crc = t[7][low & 0xFF] ^ t[6][(low >> 8) & 0xFF] ^ t[5][(low >> 16) & 0xFF] ^
              t[4][low >> 24] ^ t[3][high & 0xFF] ^ t[2][(high >> 8) & 0xFF] ^
              t[1][(high >> 16) & 0xFF] ^ t[0][high >> 24];
    }
    return ~CrcBytewise(crc, bytes, size);
}
