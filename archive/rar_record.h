// The module-level record of the RAR reader: all state of one extraction,
// container walk, decompressor and cipher together. Nothing of it is valid
// between extractions. Internal to archive/ (and its tests).
#pragma once

#include "archive/rar_cipher.h"

#include <cstdint>
#include <cstdio>

// Sizes fixed by the format.
constexpr uint32_t kRarWindowSize = 0x100000; // 1 MiB of history
constexpr uint32_t kRarWindowMask = kRarWindowSize - 1;
constexpr uint32_t kRarInputSize = 8192;
constexpr uint32_t kRarNameMax = 259;
constexpr uint32_t kRarPasswordMax = 255;

// Alphabet sizes of the code tables.
constexpr uint32_t kRarMainSymbols = 298;    // literals, lengths, controls
constexpr uint32_t kRarDistanceSymbols = 48; // distance slots
constexpr uint32_t kRarRepeatSymbols = 28;   // lengths behind a repeated distance
constexpr uint32_t kRarLengthSymbols = 19;   // the code lengths themselves
constexpr uint32_t kRarAudioSymbols = 257;   // 256 deltas and the table switch
constexpr uint32_t kRarLzTableSize = kRarMainSymbols + kRarDistanceSymbols + kRarRepeatSymbols;
constexpr uint32_t kRarMaxTableSize = 4 * kRarAudioSymbols; // 1028

// Base values and extra bits of the length, distance and short-distance
// slots.
inline constexpr uint8_t kLengthBase[28] = {0,  1,  2,  3,   4,   5,   6,   7,  8,  10,
                                            12, 14, 16, 20,  24,  28,  32,  40, 48, 56,
                                            64, 80, 96, 112, 128, 160, 192, 224};
inline constexpr uint8_t kLengthBits[28] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2,
                                            2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5};
inline constexpr uint32_t kDistanceBase[48] = {
    0,      1,      2,      3,      4,      6,      8,      12,     16,     24,     32,     48,
    64,     96,     128,    192,    256,    384,    512,    768,    1024,   1536,   2048,   3072,
    4096,   6144,   8192,   12288,  16384,  24576,  32768,  49152,  65536,  98304,  131072, 196608,
    262144, 327680, 393216, 458752, 524288, 589824, 655360, 720896, 786432, 851968, 917504, 983040};
inline constexpr uint8_t kDistanceBits[48] = {
    0,  0,  0,  0,  1,  1,  2,  2,  3,  3,  4,  4,  5,  5,  6,  6,  7,  7,  8,  8,  9,  9,  10, 10,
    11, 11, 12, 12, 13, 13, 14, 14, 15, 15, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16};
inline constexpr uint8_t kShortBase[8] = {0, 4, 8, 16, 32, 64, 128, 192};
inline constexpr uint8_t kShortBits[8] = {2, 2, 3, 4, 5, 6, 6, 6};

// Block types and flags that the reader acts on.
constexpr uint8_t kRarMainHead = 0x73;
constexpr uint8_t kRarFileHead = 0x74;
constexpr uint8_t kRarSubHead = 0x77;
constexpr uint16_t kRarMainSolid = 0x08;
constexpr uint16_t kRarFileEnciphered = 0x04;
constexpr uint16_t kRarFileSolid = 0x10;
constexpr uint16_t kRarLongBlock = 0x8000;
constexpr uint8_t kRarMethodStore = 0x30;
constexpr uint32_t kRarMainHeadSize = 13;
constexpr uint32_t kRarFileHeadSize = 32;

// A canonical Huffman decoder. `limit[l]` is the first left-aligned 16-bit
// code that is longer than l bits, `offset[l]` the index in `symbols` of the
// first symbol of length l. `quick` is a lookup by the next kRarQuickBits
// bits, derived from the same tables: symbol << 4 | length, or 0 where the
// code is longer (the search over `limit` then decides).
constexpr int kRarQuickBits = 10;
struct HuffmanDecoder
{
    uint32_t symbolCount;
    uint32_t limit[16];
    uint32_t offset[16];
    uint32_t symbols[kRarMainSymbols];
    uint16_t quick[1 << kRarQuickBits];
};

// One channel of the audio mode: an adaptive linear predictor.
struct AudioChannel
{
    int32_t k1, k2, k3, k4, k5; // predictor weights
    int32_t d1, d2, d3, d4;     // delta history
    int32_t lastDelta;          // a signed byte value
    uint32_t dif[11];           // error sums for the weight adaptation
    uint32_t byteCount;
    int32_t lastChar;
};

struct RarBlockHeader
{
    uint16_t headCrc;
    uint8_t headType;
    uint16_t headFlags;
    uint16_t headSize;
    uint32_t packSize;
    uint32_t unpackSize;
    uint8_t hostOs;
    uint32_t fileCrc;
    uint32_t fileTime;
    uint8_t unpackVersion;
    uint8_t method;
    uint16_t nameSize;
    uint32_t attributes;
    char name[kRarNameMax + 1];
};

struct RarRecord
{
    // Container walk.
    FILE* stream;
    char entryName[kRarNameMax + 1];
    char archiveName[kRarNameMax + 1];
    char password[kRarPasswordMax + 1];
    uint16_t mainFlags;
    uint16_t mainHeadSize;
    RarBlockHeader header;
    int64_t nextBlock;
    uint8_t stoppedType;
    uint8_t* output; // the wanted entry's block, null for entries passed through
    uint32_t written;
    bool entryFound;
    bool damaged;      // the packed data ended before the entry did
    bool brokenBlock;  // a block header led backwards or nowhere
    bool archiveEnded; // the file ended inside an entry's packed data

    // Cipher.
    int cipherVersion;
    RarCipher cipher;

    // Input. The buffer has a tail of zeros so that a peek near its end
    // never leaves it.
    uint8_t input[kRarInputSize + 16];
    uint32_t inputPos;
    uint32_t inputBit;
    uint32_t inputTop;
    uint32_t inputEnd; // behind the last byte that came from the archive
    bool inputDry;     // the archive has nothing more for this entry
    uint32_t packedLeft;

    // Window.
    uint8_t* window;
    uint32_t unpackPos;
    uint32_t writePos;
    int64_t unpackedLeft;

    // LZ state.
    uint32_t oldDistances[4];
    uint32_t oldDistancePos;
    uint32_t lastDistance;
    uint32_t lastLength;
    uint8_t previousLengths[kRarMaxTableSize];

    HuffmanDecoder mainDecoder;
    HuffmanDecoder distanceDecoder;
    HuffmanDecoder repeatDecoder;
    HuffmanDecoder lengthDecoder;
    HuffmanDecoder audioDecoder[4];

    // Audio state.
    bool audioMode;
    uint32_t channels;
    uint32_t currentChannel;
    int32_t channelDelta;
    AudioChannel audio[4];
};

extern RarRecord g_rar;

// Decompressor (rar_unpack.cpp).
void RarUnpack(uint8_t* window);
void RarBuildDecoder(const uint8_t* lengths, HuffmanDecoder* decoder, uint32_t symbolCount);
// The plain search over `limit`, and the lookup that must agree with it.
uint32_t RarLookupCode(const HuffmanDecoder* decoder, uint32_t bits, uint32_t* length);
uint32_t RarDecodeSymbolPlain(HuffmanDecoder* decoder);
uint32_t RarDecodeSymbol(HuffmanDecoder* decoder);
// Set by tests: decode every symbol by the plain search, copy every match
// byte by byte and check sums byte by byte, so that the fast paths can be
// compared with the obvious ones.
extern bool g_rarPlainDecoding;

// One audio sample in two halves, shared with the writer, which must
// predict before it can choose the symbol.
//
// Each byte is predicted from the channel's last byte and the last four
// deltas of that channel, plus the last delta of whichever channel came
// before (`channelDelta`), with five weights. The symbol is the error of the
// prediction. Every 32 samples the weights adapt; they range from -17 to 16.
void RarAdaptWeights(AudioChannel* c);

inline int32_t RarSignedByte(int32_t v)
{
    return int32_t(uint32_t(v) & 0xFF) - ((v & 0x80) ? 256 : 0);
}

inline uint32_t RarMagnitude(int32_t v)
{
    return uint32_t(v < 0 ? -v : v);
}

// The first half: count the sample, shift the history, predict.
inline int32_t RarAudioPredict(AudioChannel* c, int32_t channelDelta)
{
    c->byteCount++;
    c->d4 = c->d3;
    c->d3 = c->d2;
    c->d2 = c->lastDelta - c->d1;
    c->d1 = c->lastDelta;
    return ((8 * c->lastChar + c->k1 * c->d1 + c->k2 * c->d2 + c->k3 * c->d3 + c->k4 * c->d4 +
             c->k5 * channelDelta) >>
            3) &
           0xFF;
}

// The second half: the sample is the prediction less the symbol; the error
// sums of the weight adaptation grow.
inline uint8_t RarAudioUpdate(AudioChannel* c, int32_t* channelDelta, int32_t predicted,
                              uint32_t delta)
{
    int32_t sample = predicted - int32_t(delta);
    int32_t d = RarSignedByte(int32_t(delta)) * 8;
    c->dif[0] += RarMagnitude(d);
    c->dif[1] += RarMagnitude(d - c->d1);
    c->dif[2] += RarMagnitude(d + c->d1);
    c->dif[3] += RarMagnitude(d - c->d2);
    c->dif[4] += RarMagnitude(d + c->d2);
    c->dif[5] += RarMagnitude(d - c->d3);
    c->dif[6] += RarMagnitude(d + c->d3);
    c->dif[7] += RarMagnitude(d - c->d4);
    c->dif[8] += RarMagnitude(d + c->d4);
    c->dif[9] += RarMagnitude(d - *channelDelta);
    c->dif[10] += RarMagnitude(d + *channelDelta);
    c->lastDelta = *channelDelta = RarSignedByte(sample - c->lastChar);
    c->lastChar = sample;
    if (__builtin_expect((c->byteCount & 31) == 0, 0))
        RarAdaptWeights(c);
    return uint8_t(sample);
}
