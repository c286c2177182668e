// The decompressor's fast runs, LZ and audio: the step decoder's work many
// steps at a time (see rar_unpack.cpp for the stream and rar_unpack.h for
// the LZ rules both follow).

#include "archive/rar_unpack.h"

#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace
{

// ---------------------------------------------------------------------------
// Fast runs
//
// The steps of rar_unpack.cpp, many at a time, for as long as none of the
// tests at the top of a step can fire: the input has room, the window has
// room, and the stream isn't spent. The state lives in locals meanwhile
// (byte stores into the window would otherwise force the compiler to
// reload it), and a table switch ends the run. The results are those of
// RarMainStep, step for step; g_rarPlainDecoding turns the runs off so the
// tests can compare.
// ---------------------------------------------------------------------------

// The bit reader of the runs: up to 64 bits ahead in a register, most
// significant first, refilled four bytes at a time. It may look a few bytes
// past the input position (the buffer has the tail for it), but reports
// only what it has consumed.
struct BitCursor
{
    const uint8_t* input;
    const uint8_t* next; // the next byte to load
    uint64_t bits;       // left-aligned
    uint32_t count;      // valid bits in `bits`

    BitCursor(const uint8_t* buffer, uint32_t pos, uint32_t bit)
        : input(buffer), next(buffer + pos), bits(0), count(0)
    {
        Refill();
        Skip(bit);
    }
    // At least 32 bits ready afterwards.
    void Refill()
    {
        if (count >= 32)
            return;
        uint32_t v;
        memcpy(&v, next, 4);
        bits |= uint64_t(__builtin_bswap32(v)) << (32 - count);
        next += 4;
        count += 32;
    }
    uint32_t Consumed() const { return uint32_t(next - input) * 8 - count; }
    uint32_t Pos() const { return Consumed() >> 3; }
    uint32_t Bit() const { return Consumed() & 7; }
    uint32_t Peek() const { return uint32_t(bits >> 48); }
    void Skip(uint32_t n)
    {
        bits <<= n;
        count -= n;
    }
    uint32_t Get(uint32_t n)
    {
        Refill();
        if (n == 0)
            return 0;
        uint32_t v = Peek() >> (16 - n);
        Skip(n);
        return v;
    }
    // At least 56 bits ready afterwards, without a branch: eight bytes are
    // loaded and as many whole ones kept as fit. Bits below the kept ones
    // are the stream's own next bits, so a later load sets them again to the
    // same values.
    void Fill()
    {
        uint64_t v;
        memcpy(&v, next, 8);
        bits |= __builtin_bswap64(v) >> count;
        uint32_t bytes = (63 - count) >> 3;
        next += bytes;
        count += bytes * 8;
    }
    // A symbol with at least 16 bits ready.
    uint32_t DecodeFilled(const HuffmanDecoder* decoder)
    {
        uint32_t length;
        uint32_t symbol = RarQuickCode(decoder, Peek(), &length);
        Skip(length);
        return symbol;
    }
    uint32_t Decode(const HuffmanDecoder* decoder)
    {
        Refill();
        return DecodeFilled(decoder);
    }
};

// The room a run may use: bytes free in front of the unflushed ones, and
// the input position at which a step would refill or find the stream
// spent.
struct RunLimits
{
    uint32_t windowFree;
    uint32_t inputStop;
};

RunLimits RarRunLimits()
{
    RunLimits l;
    uint32_t pos = g_rar.unpackPos & kRarWindowMask;
    l.windowFree = (g_rar.writePos == g_rar.unpackPos || (g_rar.writePos & kRarWindowMask) == pos)
                       ? kRarWindowSize
                       : (g_rar.writePos - pos) & kRarWindowMask;
    l.inputStop = kFillMainLoop;
    if (g_rar.inputDry && g_rar.inputEnd + 1 < l.inputStop)
        l.inputStop = g_rar.inputEnd + 1;
    return l;
}

} // namespace

void RarLzRun()
{
    RunLimits limits = RarRunLimits();
    BitCursor in(g_rar.input, g_rar.inputPos, g_rar.inputBit);
    uint8_t* window = g_rar.window;
    uint32_t pos = g_rar.unpackPos & kRarWindowMask;
    int64_t left = g_rar.unpackedLeft;
    uint32_t room = limits.windowFree;
    bool newTables = false;
    while (left >= 0 && room >= kWindowReserve && in.Pos() < limits.inputStop)
    {
        uint32_t symbol = in.Decode(&g_rar.mainDecoder);
        if (symbol < 256)
        {
            window[pos] = uint8_t(symbol);
            pos = (pos + 1) & kRarWindowMask;
            left--;
            room--;
            continue;
        }
        if (symbol == kNewTables)
        {
            newTables = true;
            break;
        }
        RarMatch match = RarLzMatch(symbol, in);
        uint32_t distance = match.distance, length = match.length;
        left -= length;
        room -= length;
        uint32_t from = (pos - distance) & kRarWindowMask;
        if (distance >= 8 && from + length + 8 <= kRarWindowSize &&
            pos + length + 8 <= kRarWindowSize)
        {
            // Eight bytes at a time, each piece read from bytes already
            // final. The last piece may run up to 7 bytes past the match:
            // those hold the oldest history, which the longest distances
            // still reach, so they are put back.
            uint64_t ahead;
            memcpy(&ahead, window + pos + length, 8);
            for (uint32_t i = 0; i < length; i += 8)
            {
                uint64_t piece;
                memcpy(&piece, window + from + i, 8);
                memcpy(window + pos + i, &piece, 8);
            }
            memcpy(window + pos + length, &ahead, 8);
            pos += length;
        }
        else
        {
            for (uint32_t i = 0; i < length; ++i)
            {
                window[pos] = window[from];
                pos = (pos + 1) & kRarWindowMask;
                from = (from + 1) & kRarWindowMask;
            }
        }
    }
    g_rar.inputPos = in.Pos();
    g_rar.inputBit = in.Bit();
    g_rar.unpackPos = pos;
    g_rar.unpackedLeft = left;
    if (newTables)
        RarReadCodeTables();
}

namespace
{

// The audio run keeps each channel's samples since its last weight
// adaptation instead of growing the eleven error sums sample by sample: the
// sums are formed when the weights adapt (or the run ends), 32 samples at a
// time across vector lanes. Every term is below 1280 in magnitude, so 32 of
// them fit 16 bits. The history d1 to d4 lives in the same buffers: sample
// i's d1 at d1[i + 1], its d2 at d2[i + 3], so that its d3 and d4 sit at
// d2[i + 2] and d2[i + 1], and the entries before sample 0 hold the state
// the group started from.
struct AudioLane
{
    AudioChannel c;                // d1 to d4, the weights and sums are stale
    uint32_t fill;                 // samples kept
    uint32_t limit;                // samples the group takes, to a multiple of 32
    int32_t k[5];                  // the weights
    alignas(16) uint32_t dif[12];  // the sums before the kept samples; 11 is 0
    alignas(16) int8_t delta[32];  // the symbols
    alignas(16) int16_t other[32]; // channelDelta of each sample
    alignas(16) int16_t d1[40];
    alignas(16) int16_t d2[40];
};

void RarLaneStart(AudioLane* l, const AudioChannel& c)
{
    l->c = c;
    l->fill = 0;
    l->limit = 32 - (c.byteCount & 31);
    l->k[0] = c.k1;
    l->k[1] = c.k2;
    l->k[2] = c.k3;
    l->k[3] = c.k4;
    l->k[4] = c.k5;
    memcpy(l->dif, c.dif, sizeof(c.dif));
    l->dif[11] = 0;
    l->d1[0] = int16_t(c.d1);
    l->d2[0] = int16_t(c.d4);
    l->d2[1] = int16_t(c.d3);
    l->d2[2] = int16_t(c.d2);
}

// The next group starts where the kept samples end.
void RarLaneRestart(AudioLane* l)
{
    uint32_t n = l->fill;
    l->d1[0] = l->d1[n];
    l->d2[0] = l->d2[n];
    l->d2[1] = l->d2[n + 1];
    l->d2[2] = l->d2[n + 2];
    l->c.byteCount += n;
    l->fill = 0;
    l->limit = 32;
}

// Adds the kept samples' terms to the sums, one at a time.
void RarLanePartialSums(AudioLane* l)
{
    uint32_t* dif = l->dif;
    for (uint32_t i = 0; i < l->fill; ++i)
    {
        int32_t d = l->delta[i] * 8;
        int32_t x[5] = {l->d1[i + 1], l->d2[i + 3], l->d2[i + 2], l->d2[i + 1], l->other[i]};
        dif[0] += RarMagnitude(d);
        for (uint32_t k = 0; k < 5; ++k)
        {
            dif[2 * k + 1] += RarMagnitude(d - x[k]);
            dif[2 * k + 2] += RarMagnitude(d + x[k]);
        }
    }
}

// The weight step of RarAdaptWeights for the winning sum.
void RarLaneStep(AudioLane* l, uint32_t best)
{
    memset(l->dif, 0, sizeof(l->dif));
    if (best == 0)
        return;
    int32_t* k = &l->k[(best - 1) / 2];
    if (best & 1)
        *k -= *k >= -16;
    else
        *k += *k < 16;
}

// The record as a whole sample by sample decoding would have left it.
void RarLaneFinish(AudioLane* l, AudioChannel* c)
{
    RarLanePartialSums(l);
    uint32_t n = l->fill;
    *c = l->c;
    c->byteCount += n;
    c->d1 = l->d1[n];
    c->d2 = l->d2[n + 2];
    c->d3 = l->d2[n + 1];
    c->d4 = l->d2[n];
    c->k1 = l->k[0];
    c->k2 = l->k[1];
    c->k3 = l->k[2];
    c->k4 = l->k[3];
    c->k5 = l->k[4];
    memcpy(c->dif, l->dif, sizeof(c->dif));
}

#ifdef __SSE2__
inline __m128i RarAbs16(__m128i v)
{
    return _mm_max_epi16(v, _mm_sub_epi16(_mm_setzero_si128(), v));
}

inline __m128i RarMin32(__m128i a, __m128i b)
{
    __m128i greater = _mm_cmpgt_epi32(a, b);
    return _mm_or_si128(_mm_and_si128(greater, b), _mm_andnot_si128(greater, a));
}

// The totals of four vectors of four lanes, in one.
inline __m128i RarTotals4(__m128i a, __m128i b, __m128i c, __m128i d)
{
    __m128i ab = _mm_add_epi32(_mm_unpacklo_epi32(a, b), _mm_unpackhi_epi32(a, b));
    __m128i cd = _mm_add_epi32(_mm_unpacklo_epi32(c, d), _mm_unpackhi_epi32(c, d));
    return _mm_add_epi32(_mm_unpacklo_epi64(ab, cd), _mm_unpackhi_epi64(ab, cd));
}

// The sums of |d - x| and |d + x| over a group, lane by lane.
inline void RarPairSums(const __m128i* d, const int16_t* x, __m128i* minus, __m128i* plus)
{
    __m128i m = _mm_setzero_si128();
    __m128i p = _mm_setzero_si128();
    for (uint32_t i = 0; i < 4; ++i)
    {
        __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(x + 8 * i));
        m = _mm_add_epi16(m, RarAbs16(_mm_sub_epi16(d[i], v)));
        p = _mm_add_epi16(p, RarAbs16(_mm_add_epi16(d[i], v)));
    }
    *minus = m;
    *plus = p;
}

// A whole group of 32: the sums across lanes, then the lowest of them, the
// first on equal values. The sums stay far below 2^31, so signed compares
// do.
uint32_t RarLaneBestOf32(AudioLane* l)
{
    // The symbols as signed bytes times 8: each in the high byte of a lane,
    // shifted down by 5.
    __m128i d[4];
    for (uint32_t i = 0; i < 2; ++i)
    {
        __m128i v = _mm_load_si128(reinterpret_cast<const __m128i*>(l->delta + 16 * i));
        d[2 * i] = _mm_srai_epi16(_mm_unpacklo_epi8(_mm_setzero_si128(), v), 5);
        d[2 * i + 1] = _mm_srai_epi16(_mm_unpackhi_epi8(_mm_setzero_si128(), v), 5);
    }
    __m128i acc[12];
    acc[0] = _mm_add_epi16(_mm_add_epi16(RarAbs16(d[0]), RarAbs16(d[1])),
                           _mm_add_epi16(RarAbs16(d[2]), RarAbs16(d[3])));
    RarPairSums(d, l->d1 + 1, &acc[1], &acc[2]);
    RarPairSums(d, l->d2 + 3, &acc[3], &acc[4]);
    RarPairSums(d, l->d2 + 2, &acc[5], &acc[6]);
    RarPairSums(d, l->d2 + 1, &acc[7], &acc[8]);
    RarPairSums(d, l->other, &acc[9], &acc[10]);
    acc[11] = _mm_setzero_si128();
    const __m128i ones = _mm_set1_epi16(1); // each 16-bit lane is below 32768
    for (__m128i& a : acc)
        a = _mm_madd_epi16(a, ones);
    const __m128i* dif = reinterpret_cast<const __m128i*>(l->dif);
    __m128i t0 = _mm_add_epi32(_mm_load_si128(dif), RarTotals4(acc[0], acc[1], acc[2], acc[3]));
    __m128i t1 = _mm_add_epi32(_mm_load_si128(dif + 1), RarTotals4(acc[4], acc[5], acc[6], acc[7]));
    __m128i t2 =
        _mm_add_epi32(_mm_load_si128(dif + 2), RarTotals4(acc[8], acc[9], acc[10], acc[11]));
    t2 = _mm_or_si128(t2, _mm_set_epi32(0x7FFFFFFF, 0, 0, 0)); // lane 11 never wins
    __m128i m = RarMin32(RarMin32(t0, t1), t2);
    m = RarMin32(m, _mm_shuffle_epi32(m, 0x4E));
    m = RarMin32(m, _mm_shuffle_epi32(m, 0xB1));
    uint32_t mask = uint32_t(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(t0, m)))) |
                    uint32_t(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(t1, m)))) << 4 |
                    uint32_t(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(t2, m)))) << 8;
    return uint32_t(__builtin_ctz(mask));
}
#endif

// At a multiple of 32 samples: the sums, their winner and its weight step.
void RarLaneAdapt(AudioLane* l)
{
    uint32_t best = 0;
#ifdef __SSE2__
    if (l->fill == 32)
        best = RarLaneBestOf32(l);
    else
#endif
    {
        RarLanePartialSums(l);
        for (uint32_t i = 1; i < 11; ++i)
            if (l->dif[i] < l->dif[best])
                best = i;
    }
    RarLaneStep(l, best);
    RarLaneRestart(l);
}

// One sample of a run: the steps of RarAudioPredict and RarAudioUpdate,
// with the sums left to RarLaneAdapt. The new channelDelta is the low byte
// of (prediction - delta - lastChar), so the masking of the prediction,
// which changes only higher bits, stays off that chain.
__attribute__((always_inline)) inline uint8_t RarLaneSample(AudioLane* l, int32_t* channelDelta,
                                                            uint32_t delta)
{
    AudioChannel* c = &l->c;
    uint32_t i = l->fill++;
    int32_t d1 = c->lastDelta;
    int32_t d2 = d1 - l->d1[i];
    int32_t d3 = l->d2[i + 2];
    int32_t d4 = l->d2[i + 1];
    l->d1[i + 1] = int16_t(d1);
    l->d2[i + 3] = int16_t(d2);
    int32_t other = *channelDelta;
    l->other[i] = int16_t(other);
    l->delta[i] = int8_t(uint8_t(delta));
    int32_t lastChar = c->lastChar;
    int32_t partial = 8 * lastChar + l->k[0] * d1 + l->k[1] * d2 + l->k[2] * d3 + l->k[3] * d4;
    int32_t predicted = (partial + l->k[4] * other) >> 3;
    c->lastDelta = *channelDelta = int8_t(uint8_t(predicted - int32_t(delta) - lastChar));
    int32_t sample = (predicted & 0xFF) - int32_t(delta);
    c->lastChar = sample;
    if (__builtin_expect(l->fill == l->limit, 0))
        RarLaneAdapt(l);
    return uint8_t(sample);
}

// The reader and the channel state of a run.
struct AudioRunState
{
    BitCursor in;
    int32_t channelDelta;
    uint32_t channel;
};

// One sample of channel `k`, or false at a table switch.
template <bool Fill = true>
__attribute__((always_inline)) inline bool RarAudioRunStep(AudioRunState* s, AudioLane* lane,
                                                           uint32_t k, uint8_t* out)
{
    if (Fill)
        s->in.Fill();
    uint32_t symbol = s->in.DecodeFilled(&g_rar.audioDecoder[k]);
    if (symbol == kAudioNewTables)
        return false;
    *out = RarLaneSample(lane, &s->channelDelta, symbol);
    return true;
}

// A fill leaves at least 56 bits and a symbol takes at most 15, so a round
// fills before its first and fourth symbols only: the third still finds
// the 16 bits a lookup reads.
//
// Up to `count` samples to `out` for `Channels` channels; whole rounds of
// the channels go with the channel known to the compiler. Returns the
// samples made; fewer than `count` at a table switch, with the channel at
// the one that read it. The state is a local copy meanwhile, so that it
// can stay in registers.
template <uint32_t Channels>
uint32_t RarAudioSamples(AudioRunState* state, AudioLane* lanes, uint8_t* out, uint32_t count)
{
    AudioRunState s = *state;
    uint32_t done = 0;
    while (done < count)
    {
        if (s.channel == 0 && count - done >= Channels)
        {
            do
            {
                if (!RarAudioRunStep(&s, &lanes[0], 0, out + done))
                    goto end;
                if (Channels > 1 && !RarAudioRunStep<false>(&s, &lanes[1], 1, out + done + 1))
                {
                    s.channel = 1, done += 1;
                    goto end;
                }
                if (Channels > 2 && !RarAudioRunStep<false>(&s, &lanes[2], 2, out + done + 2))
                {
                    s.channel = 2, done += 2;
                    goto end;
                }
                if (Channels > 3 && !RarAudioRunStep(&s, &lanes[3], 3, out + done + 3))
                {
                    s.channel = 3, done += 3;
                    goto end;
                }
                done += Channels;
            } while (count - done >= Channels);
            continue;
        }
        if (!RarAudioRunStep(&s, &lanes[s.channel], s.channel, out + done))
            break;
        done++;
        if (++s.channel == Channels)
            s.channel = 0;
    }
end:
    *state = s;
    return done;
}

} // namespace

// The channel records move to the stack for the run: byte stores into the
// window can't alias them there. The run goes in chunks that the limits
// allow whole, so that the loop over samples tests nothing but the table
// switch: a symbol takes at most 16 bits, so a chunk of half the bytes left
// before the input stop can't reach it, and a chunk ends at the end of the
// window.
void RarAudioRun()
{
    RunLimits limits = RarRunLimits();
    AudioRunState s{BitCursor(g_rar.input, g_rar.inputPos, g_rar.inputBit), g_rar.channelDelta,
                    g_rar.currentChannel};
    AudioLane lanes[4];
    uint32_t pos = g_rar.unpackPos & kRarWindowMask;
    int64_t left = g_rar.unpackedLeft;
    uint32_t room = limits.windowFree;
    for (uint32_t i = 0; i < 4; ++i)
    {
        RarLaneStart(&lanes[i], g_rar.audio[i]);
    }
    bool newTables = false;
    while (!newTables && left >= 0 && room >= kWindowReserve && s.in.Pos() < limits.inputStop)
    {
        int64_t chunk = (limits.inputStop - s.in.Pos()) / 2;
        chunk = chunk < 1 ? 1 : chunk;
        chunk = chunk < left + 1 ? chunk : left + 1;
        chunk = chunk < room - kWindowReserve + 1 ? chunk : room - kWindowReserve + 1;
        chunk = chunk < kRarWindowSize - pos ? chunk : kRarWindowSize - pos;
        uint8_t* out = g_rar.window + pos;
        uint32_t done;
        switch (g_rar.channels)
        {
        case 1:
            done = RarAudioSamples<1>(&s, lanes, out, uint32_t(chunk));
            break;
        case 2:
            done = RarAudioSamples<2>(&s, lanes, out, uint32_t(chunk));
            break;
        case 3:
            done = RarAudioSamples<3>(&s, lanes, out, uint32_t(chunk));
            break;
        default:
            done = RarAudioSamples<4>(&s, lanes, out, uint32_t(chunk));
            break;
        }
        newTables = done < chunk;
        left -= done;
        room -= done;
        pos = (pos + done) & kRarWindowMask;
    }
    for (uint32_t i = 0; i < 4; ++i)
    {
        RarLaneFinish(&lanes[i], &g_rar.audio[i]);
    }
    g_rar.inputPos = s.in.Pos();
    g_rar.inputBit = s.in.Bit();
    g_rar.unpackPos = pos;
    g_rar.unpackedLeft = left;
    g_rar.currentChannel = s.channel;
    g_rar.channelDelta = s.channelDelta;
    if (newTables)
        RarReadCodeTables();
}
