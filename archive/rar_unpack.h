// What the decompressor's step decoder (rar_unpack.cpp) and its fast runs
// (rar_unpack_runs.cpp) share: the limits they both respect, the quick
// code lookup and the LZ rules. Internal to archive/.
#pragma once

#include "archive/rar_record.h"

// Refill thresholds: each call site refills once the read position has come
// this close to the end of the buffer, leaving room for everything it reads
// before it can test again.
constexpr uint32_t kFillMainLoop = 8163;
constexpr uint32_t kFillTables = 8168;
constexpr uint32_t kFillLengthSymbol = 8188;
// The last 32 bytes of the buffer move to its start on a refill.
constexpr uint32_t kInputKeep = 32;

// Control symbols.
constexpr uint32_t kRepeatLastMatch = 256;
constexpr uint32_t kNewTables = 269;
constexpr uint32_t kAudioNewTables = 256;

// The longest match, and so the least room the window must have free.
constexpr uint32_t kWindowReserve = 270;

// Reads a set of code tables at the input position; it may switch the mode.
void RarReadCodeTables();

// The fast runs: as many steps as the input, the window and the entry allow
// without a test, then back to the step decoder.
void RarLzRun();
void RarAudioRun();

// The code at the top of the 16 `bits`: by lookup where it is short, by
// the plain search otherwise.
inline uint32_t RarQuickCode(const HuffmanDecoder* decoder, uint32_t bits, uint32_t* length)
{
    uint32_t entry = decoder->quick[bits >> (16 - kRarQuickBits)];
    if (__builtin_expect(entry == 0, 0))
        return RarLookupCode(decoder, bits, length);
    *length = entry & 15;
    return entry >> 4;
}

// ---------------------------------------------------------------------------
// LZ mode
//
//   0-255    a literal
//   256      the last match again, same length and distance
//   257-260  the 1st to 4th last distance; the length follows from
//            `repeatDecoder`, 2 and up
//   261-268  a short match: length 2, distance 1 to 256
//   269      new code tables
//   270-297  a length slot, 3 and up; the distance follows from
//            `distanceDecoder`
//
// Far matches are longer than their coded length: one more from distance
// 0x2000, another from 0x40000, and for a repeated distance a further one
// from 0x101. Every match, the repeat included, goes into the ring of the
// last four distances.
// ---------------------------------------------------------------------------

struct RarMatch
{
    uint32_t distance;
    uint32_t length;
};

// The match of a symbol from 256 to 297 other than 269, with whatever
// follows the symbol in the stream, read through `in`: the step decoder's
// reader or the runs' cursor, each with `Decode(table)` for a symbol and
// `Get(n)` for n bits. The match becomes the last one and enters the ring.
template <class BitReader>
__attribute__((always_inline)) inline RarMatch RarLzMatch(uint32_t symbol, BitReader& in)
{
    uint32_t distance, length;
    if (symbol == kRepeatLastMatch)
    {
        distance = g_rar.lastDistance;
        length = g_rar.lastLength;
    }
    else if (symbol < 261)
    {
        distance = g_rar.oldDistances[(g_rar.oldDistancePos - symbol) & 3];
        uint32_t slot = in.Decode(&g_rar.repeatDecoder);
        length = kLengthBase[slot] + 2 + in.Get(kLengthBits[slot]);
        length += (distance >= 0x40000) + (distance >= 0x2000) + (distance >= 0x101);
    }
    else if (symbol < kNewTables)
    {
        uint32_t slot = symbol - 261;
        distance = kShortBase[slot] + 1 + in.Get(kShortBits[slot]);
        length = 2;
    }
    else
    {
        uint32_t slot = symbol - 270;
        length = kLengthBase[slot] + 3 + in.Get(kLengthBits[slot]);
        uint32_t distanceSlot = in.Decode(&g_rar.distanceDecoder);
        distance = kDistanceBase[distanceSlot] + 1 + in.Get(kDistanceBits[distanceSlot]);
        length += (distance >= 0x40000) + (distance >= 0x2000);
    }
    g_rar.oldDistances[g_rar.oldDistancePos & 3] = distance;
    g_rar.oldDistancePos++;
    g_rar.lastDistance = distance;
    g_rar.lastLength = length;
    return {distance, length};
}
