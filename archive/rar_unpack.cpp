// The RAR 2.0 decompressor.
//
// An entry's packed data is one bit stream, read from the most significant
// bit of each byte on. It opens with a set of code tables and then holds
// symbols, in one of two modes:
//
//   LZ mode     symbols of `mainDecoder`: literals 0-255, matches against a
//               1 MiB circular window (a repeat of the last match, one of the
//               four last distances, a short match, or a long match with a
//               symbol of `distanceDecoder`), and 269, which brings a new set
//               of code tables.
//   audio mode  one code table per channel (1 to 4), each symbol the error
//               of an adaptive linear predictor; 256 brings new tables.
//
// New tables may switch the mode. In a solid archive an entry whose flag
// 0x10 is set continues with the window, the tables and every other piece
// of state that the entry before it left.
//
// This file reads from the top down in the order of the stream: bit input,
// code tables, audio samples, LZ symbols, the window and the entry. The
// fast runs (the same steps, many at a time) are in rar_unpack_runs.cpp,
// the LZ rules they share with the steps in rar_unpack.h.

#include "archive/rar_unpack.h"

#include <cstdlib>
#include <cstring>

namespace
{

// ---------------------------------------------------------------------------
// Bit input
//
// `input` holds up to 8192 bytes of the packed stream, deciphered. The bit
// reader has no per-bit tests: the refill test runs once per symbol (see the
// thresholds above), and past the last byte of the stream it sees stale
// bytes. What ends the work is the count of bytes to produce; a stream that
// has been read to its end and beyond is caught by RarInputExhausted, so
// that damaged data can't keep the decoder busy.
// ---------------------------------------------------------------------------

// Reads up to `count` packed bytes from the archive to `to` and deciphers
// them in groups of 16 from their start.
uint32_t RarReadPacked(uint8_t* to, uint32_t count)
{
    if (count > g_rar.packedLeft)
        count = g_rar.packedLeft;
    uint32_t got = count ? uint32_t(fread(to, 1, count, g_rar.stream)) : 0;
    g_rar.packedLeft -= got;
    if (got < count)
    {
        g_rar.packedLeft = 0; // the archive ends early
        g_rar.archiveEnded = true;
    }
    if (g_rar.packedLeft == 0)
        g_rar.inputDry = true;
    if (got && g_rar.cipherVersion >= 20)
        for (uint32_t i = 0; i < got; i += 16)
            RarDecipherBlock(to + i);
    return got;
}

void RarFillInput(uint32_t threshold)
{
    if (g_rar.inputPos < threshold)
        return;
    g_rar.inputPos &= kInputKeep - 1;
    memmove(g_rar.input, g_rar.input + kRarInputSize - kInputKeep, kInputKeep);
    constexpr uint32_t shift = kRarInputSize - kInputKeep;
    g_rar.inputEnd = g_rar.inputEnd > shift ? g_rar.inputEnd - shift : 0;
    uint32_t got = RarReadPacked(g_rar.input + kInputKeep, shift);
    if (got)
        g_rar.inputEnd = kInputKeep + got;
    g_rar.inputTop = got ? got + kInputKeep : g_rar.inputPos;
}

// True once the reader has gone a whole byte past the end of the stream.
bool RarInputExhausted()
{
    return g_rar.inputDry && g_rar.inputPos > g_rar.inputEnd;
}

// Ends the entry as damaged.
void RarStop()
{
    g_rar.damaged = true;
    g_rar.unpackedLeft = -1;
}

// The next 16 bits of the stream, most significant first.
inline uint32_t RarPeekBits()
{
    // Four bytes at once (the buffer has a tail for it), big-endian.
    uint32_t v;
    memcpy(&v, g_rar.input + g_rar.inputPos, 4);
    return (__builtin_bswap32(v) >> (16 - g_rar.inputBit)) & 0xFFFF;
}

inline void RarSkipBits(uint32_t n)
{
    g_rar.inputBit += n;
    g_rar.inputPos += g_rar.inputBit >> 3;
    g_rar.inputBit &= 7;
}

// An unsigned number of `n` bits (0 to 16); 0 bits read nothing.
inline uint32_t RarGetBits(uint32_t n)
{
    if (n == 0)
        return 0;
    uint32_t v = RarPeekBits() >> (16 - n);
    RarSkipBits(n);
    return v;
}

// One symbol; always by the search when the plain decoder is asked for.
inline uint32_t RarDecode(const HuffmanDecoder* decoder)
{
    uint32_t bits = RarPeekBits();
    uint32_t length;
    uint32_t symbol = g_rarPlainDecoding ? RarLookupCode(decoder, bits, &length)
                                         : RarQuickCode(decoder, bits, &length);
    RarSkipBits(length);
    return symbol;
}

} // namespace

// ---------------------------------------------------------------------------
// Code tables
//
// Every table is a canonical Huffman code given by its code lengths (0 to
// 15, 0 for an absent symbol): shorter codes come first, and within a length
// the symbols in their order. The decoder needs no tree: `limit[l]` is the
// first 16-bit left-aligned code longer than l bits, so the length of the
// next code is the first l whose limit lies above the next 16 bits.
// ---------------------------------------------------------------------------

void RarBuildDecoder(const uint8_t* lengths, HuffmanDecoder* decoder, uint32_t symbolCount)
{
    uint32_t counts[16] = {};
    for (uint32_t i = 0; i < symbolCount; ++i)
        counts[lengths[i] & 15]++;
    counts[0] = 0;

    uint32_t next[16];
    decoder->limit[0] = 0;
    decoder->offset[0] = 0;
    next[0] = 0;
    uint32_t code = 0;
    for (uint32_t l = 1; l < 16; ++l)
    {
        code = 2 * (code + counts[l]);
        uint32_t limit = code << (15 - l);
        decoder->limit[l] = limit > 0xFFFF ? 0xFFFF : limit;
        decoder->offset[l] = decoder->offset[l - 1] + counts[l - 1];
        next[l] = decoder->offset[l];
    }

    memset(decoder->symbols, 0, sizeof(decoder->symbols));
    for (uint32_t i = 0; i < symbolCount; ++i)
        if (lengths[i] & 15)
            decoder->symbols[next[lengths[i] & 15]++] = i;
    decoder->symbolCount = symbolCount;

    // The lookup by the next kRarQuickBits bits is the plain search run for
    // every prefix: a code of at most that many bits is decided by the
    // prefix alone, since its limits are multiples of the remaining bits.
    for (uint32_t prefix = 0; prefix < (1u << kRarQuickBits); ++prefix)
    {
        uint32_t length;
        uint32_t symbol = RarLookupCode(decoder, prefix << (16 - kRarQuickBits), &length);
        decoder->quick[prefix] =
            length <= uint32_t(kRarQuickBits) ? uint16_t(symbol << 4 | length) : 0;
    }
}

// The code at the top of the 16 `bits`: the first length whose limit lies
// above them, and the symbol at its offset. A code that points past the
// alphabet (possible only in a damaged table) yields the first symbol.
uint32_t RarLookupCode(const HuffmanDecoder* decoder, uint32_t bits, uint32_t* length)
{
    bits &= 0xFFFE;
    uint32_t n = 1;
    while (n < 15 && bits >= decoder->limit[n])
        ++n;
    *length = n;
    uint32_t index = decoder->offset[n] + ((bits - decoder->limit[n - 1]) >> (16 - n));
    if (index >= decoder->symbolCount)
        index = 0;
    return decoder->symbols[index];
}

// The plain decoder: a linear search for the code length over `limit`.
uint32_t RarDecodeSymbolPlain(HuffmanDecoder* decoder)
{
    uint32_t length;
    uint32_t symbol = RarLookupCode(decoder, RarPeekBits(), &length);
    RarSkipBits(length);
    return symbol;
}

// The same decoder, by lookup for the short codes.
uint32_t RarDecodeSymbol(HuffmanDecoder* decoder)
{
    return RarDecode(decoder);
}

// A set of code tables:
//
//   1 bit    audio mode
//   1 bit    keep: the lengths are deltas (mod 16) against the previous set;
//            when clear, the previous set counts as all zeros
//   2 bits   (audio mode only) channels - 1
//   19 x 4   code lengths of the code-length alphabet
//   ...      the code lengths of the tables, coded with that alphabet:
//            0-15 a length (delta), 16 repeats the previous length 3-6
//            times, 17 writes 3-10 zeros, 18 writes 11-138 zeros
//
// LZ mode has 374 lengths: 298 main, 48 distance, 28 repeat. Audio mode has
// 257 a channel, channel 0 first. A repeat at the first position, which has
// no previous length, repeats 0. Only the lengths read replace those of the
// previous set; the rest of it stays for a later longer table.
void RarReadCodeTables()
{
    RarFillInput(kFillTables);
    if (RarInputExhausted())
        return RarStop();
    uint32_t bits = RarPeekBits();
    g_rar.audioMode = (bits & 0x8000) != 0;
    if (!(bits & 0x4000))
        memset(g_rar.previousLengths, 0, sizeof(g_rar.previousLengths));
    RarSkipBits(2);

    uint32_t tableSize = kRarLzTableSize;
    if (g_rar.audioMode)
    {
        g_rar.channels = ((bits >> 12) & 3) + 1;
        if (g_rar.currentChannel >= g_rar.channels)
            g_rar.currentChannel = 0;
        RarSkipBits(2);
        tableSize = kRarAudioSymbols * g_rar.channels;
    }

    uint8_t lengthLengths[kRarLengthSymbols];
    for (uint32_t i = 0; i < kRarLengthSymbols; ++i)
        lengthLengths[i] = uint8_t(RarGetBits(4));
    RarBuildDecoder(lengthLengths, &g_rar.lengthDecoder, kRarLengthSymbols);

    uint8_t table[kRarMaxTableSize];
    uint32_t i = 0;
    while (i < tableSize)
    {
        RarFillInput(kFillLengthSymbol);
        if (RarInputExhausted())
            return RarStop();
        uint32_t symbol = RarDecode(&g_rar.lengthDecoder);
        if (symbol < 16)
        {
            table[i] = uint8_t((symbol + g_rar.previousLengths[i]) & 15);
            ++i;
            continue;
        }
        uint32_t n;
        uint8_t value = 0;
        if (symbol == 16)
        {
            n = RarGetBits(2) + 3;
            value = i > 0 ? table[i - 1] : 0;
        }
        else if (symbol == 17)
            n = RarGetBits(3) + 3;
        else
            n = RarGetBits(7) + 11;
        for (; n > 0 && i < tableSize; --n)
            table[i++] = value;
    }

    if (g_rar.audioMode)
        for (uint32_t c = 0; c < g_rar.channels; ++c)
            RarBuildDecoder(table + c * kRarAudioSymbols, &g_rar.audioDecoder[c], kRarAudioSymbols);
    else
    {
        RarBuildDecoder(table, &g_rar.mainDecoder, kRarMainSymbols);
        RarBuildDecoder(table + kRarMainSymbols, &g_rar.distanceDecoder, kRarDistanceSymbols);
        RarBuildDecoder(table + kRarMainSymbols + kRarDistanceSymbols, &g_rar.repeatDecoder,
                        kRarRepeatSymbols);
    }
    memcpy(g_rar.previousLengths, table, tableSize);
}

// ---------------------------------------------------------------------------
// Audio mode
//
// Each byte is predicted from the channel's last byte and the last four
// deltas of that channel, plus the last delta of whichever channel came
// before (`channelDelta`), with five weights. The symbol is the error of the
// prediction. Every 32 samples the weight whose change would have made the
// smallest error sum moves one step; the weights range from -17 to 16.
// ---------------------------------------------------------------------------

// Every 32 samples: the weight whose change would have made the smallest
// error sum moves one step.
void RarAdaptWeights(AudioChannel* c)
{
    uint32_t best = 0;
    for (uint32_t i = 1; i < 11; ++i)
        if (c->dif[i] < c->dif[best])
            best = i;
    memset(c->dif, 0, sizeof(c->dif));
    if (best == 0)
        return;
    int32_t* weights[5] = {&c->k1, &c->k2, &c->k3, &c->k4, &c->k5};
    int32_t* k = weights[(best - 1) / 2];
    if (best & 1)
    {
        if (*k >= -16)
            --*k;
    }
    else if (*k < 16)
        ++*k;
}

namespace
{

uint8_t RarDecodeSample(uint32_t delta)
{
    AudioChannel* c = &g_rar.audio[g_rar.currentChannel];
    int32_t predicted = RarAudioPredict(c, g_rar.channelDelta);
    return RarAudioUpdate(c, &g_rar.channelDelta, predicted, delta);
}

void RarAudioStep()
{
    uint32_t symbol = RarDecode(&g_rar.audioDecoder[g_rar.currentChannel]);
    if (symbol == kAudioNewTables)
        return RarReadCodeTables();
    g_rar.window[g_rar.unpackPos++] = RarDecodeSample(symbol);
    if (++g_rar.currentChannel == g_rar.channels)
        g_rar.currentChannel = 0;
    g_rar.unpackedLeft--;
}

// ---------------------------------------------------------------------------
// LZ mode: the rules are in rar_unpack.h
// ---------------------------------------------------------------------------

// The step decoder's reader, for RarLzMatch.
struct StepBits
{
    uint32_t Decode(const HuffmanDecoder* decoder) { return RarDecode(decoder); }
    uint32_t Get(uint32_t n) { return RarGetBits(n); }
};

void RarCopyMatch(uint32_t distance, uint32_t length)
{
    g_rar.unpackedLeft -= length;

    uint8_t* window = g_rar.window;
    uint32_t to = g_rar.unpackPos;
    uint32_t from = (to - distance) & kRarWindowMask;
    if (!g_rarPlainDecoding && distance >= length && from + length <= kRarWindowSize &&
        to + length <= kRarWindowSize)
        memmove(window + to, window + from, length); // no wrap; any overlap runs ahead
    else
    {
        // Byte by byte, so that a distance below the length repeats a
        // pattern, and either end may wrap.
        for (uint32_t i = 0; i < length; ++i)
        {
            window[to] = window[from];
            to = (to + 1) & kRarWindowMask;
            from = (from + 1) & kRarWindowMask;
        }
    }
    g_rar.unpackPos = (g_rar.unpackPos + length) & kRarWindowMask;
}

void RarLzStep()
{
    uint32_t symbol = RarDecode(&g_rar.mainDecoder);
    if (symbol < 256)
    {
        g_rar.window[g_rar.unpackPos++] = uint8_t(symbol);
        g_rar.unpackedLeft--;
        return;
    }
    if (symbol == kNewTables)
        return RarReadCodeTables();

    StepBits in;
    RarMatch match = RarLzMatch(symbol, in);
    RarCopyMatch(match.distance, match.length);
}

// ---------------------------------------------------------------------------
// Window and output
// ---------------------------------------------------------------------------

// Moves the bytes from `writePos` up to `unpackPos` (circular, so in one or
// two pieces) to the end of the output block. Bytes that would take the
// output past the entry's size are refused, and that ends the entry.
void RarFlushWindow()
{
    uint32_t from = g_rar.writePos & kRarWindowMask;
    uint32_t count = (g_rar.unpackPos - from) & kRarWindowMask;
    g_rar.writePos = g_rar.unpackPos;
    if (!g_rar.output || count == 0)
        return;
    if (uint64_t(g_rar.written) + count > g_rar.header.unpackSize)
    {
        g_rar.unpackedLeft = -1;
        return;
    }
    uint32_t first = kRarWindowSize - from < count ? kRarWindowSize - from : count;
    memcpy(g_rar.output + g_rar.written, g_rar.window + from, first);
    memcpy(g_rar.output + g_rar.written + first, g_rar.window, count - first);
    g_rar.written += count;
}

void RarResetState()
{
    g_rar.currentChannel = 0;
    g_rar.channelDelta = 0;
    memset(g_rar.audio, 0, sizeof(g_rar.audio));
    memset(g_rar.oldDistances, 0, sizeof(g_rar.oldDistances));
    memset(g_rar.previousLengths, 0, sizeof(g_rar.previousLengths));
    g_rar.oldDistancePos = 0;
    g_rar.lastDistance = 0;
    g_rar.lastLength = 0;
    g_rar.unpackPos = 0;
    g_rar.writePos = 0;
    memset(g_rar.window, 0, kRarWindowSize);
}

// One symbol of the main loop. A flush runs whenever less than the longest
// match fits between the unpack position and the unflushed bytes.
void RarMainStep()
{
    g_rar.unpackPos &= kRarWindowMask;
    RarFillInput(kFillMainLoop);
    if (RarInputExhausted())
        return RarStop();
    if (g_rar.writePos != g_rar.unpackPos &&
        ((g_rar.writePos - g_rar.unpackPos) & kRarWindowMask) < kWindowReserve)
        RarFlushWindow();
    if (g_rar.audioMode)
        RarAudioStep();
    else
        RarLzStep();
}

// After the last byte of an entry one more symbol is read if the stream
// still has some, so that a table switch standing at the end of an entry
// takes effect for the next entry of a solid archive. Anything else is
// dropped.
void RarTrailingSymbol()
{
    if (g_rar.inputTop < g_rar.inputPos + 5)
        return;
    if (g_rar.audioMode)
    {
        if (RarDecode(&g_rar.audioDecoder[g_rar.currentChannel]) == kAudioNewTables)
            RarReadCodeTables();
    }
    else if (RarDecode(&g_rar.mainDecoder) == kNewTables)
        RarReadCodeTables();
}

} // namespace

// ---------------------------------------------------------------------------
// The entry
// ---------------------------------------------------------------------------

void RarUnpack(uint8_t* window)
{
    g_rar.window = window;
    g_rar.inputPos = 0;
    g_rar.inputBit = 0;
    g_rar.inputDry = false;
    bool continues = (g_rar.header.headFlags & kRarFileSolid) != 0;
    if (!continues)
        RarResetState();

    uint32_t got = RarReadPacked(g_rar.input, kRarInputSize);
    g_rar.inputTop = got;
    g_rar.inputEnd = got;
    if (!continues)
        RarReadCodeTables();

    // An entry of n bytes ends once n bytes have been produced.
    g_rar.unpackedLeft -= 1;
    while (g_rar.unpackedLeft >= 0)
    {
        if (!g_rarPlainDecoding)
        {
            if (g_rar.audioMode)
                RarAudioRun();
            else
                RarLzRun();
            if (g_rar.unpackedLeft < 0)
                break;
        }
        RarMainStep();
    }
    if (!g_rar.damaged)
        RarTrailingSymbol();
    RarFlushWindow();
}
