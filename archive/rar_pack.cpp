// The compressor: an LZ parser with hash chains and one step of lazy
// matching that prices every symbol kind the format has, an audio-mode
// predictor run in step with the decoder's, and the writing of blocks with
// code tables that change only when a new table pays for itself.

#include "archive/rar_pack.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <queue>

namespace
{

constexpr uint32_t kHashBits = 17;
constexpr uint32_t kMaxDistance = kRarWindowSize - 1;
constexpr uint32_t kMaxMatch = 257;   // fits every kind's length slots
constexpr uint32_t kNiceLength = 128; // a match this long ends the search
constexpr uint32_t kLazyLimit = 32;   // longer matches are taken at once
constexpr size_t kBlockTokens = 32768;
constexpr size_t kBlockSamples = 65536;
constexpr uint32_t kCostInterval = 4096;

// Offsets of the three LZ tables within one table set.
constexpr uint32_t kDistanceTable = kRarMainSymbols;
constexpr uint32_t kRepeatTable = kRarMainSymbols + kRarDistanceSymbols;

constexpr uint32_t kSymbolRepeatLast = 256;
constexpr uint32_t kSymbolRepeat = 257;
constexpr uint32_t kSymbolShort = 261;
constexpr uint32_t kSymbolNewTables = 269;
constexpr uint32_t kSymbolLong = 270;

// Far matches are coded shorter than they are (see the decoder).
uint32_t LongBonus(uint32_t d)
{
    return (d >= 0x2000) + (d >= 0x40000);
}
uint32_t RepeatBonus(uint32_t d)
{
    return (d >= 0x101) + (d >= 0x2000) + (d >= 0x40000);
}

uint32_t LengthSlot(uint32_t v)
{
    uint32_t s = 27;
    while (kLengthBase[s] > v)
        --s;
    return s;
}

uint32_t DistanceSlot(uint32_t v)
{
    return uint32_t(std::upper_bound(kDistanceBase, kDistanceBase + 48, v) - kDistanceBase) - 1;
}

uint32_t ShortSlot(uint32_t v)
{
    uint32_t s = 7;
    while (kShortBase[s] > v)
        --s;
    return s;
}

// The exact main symbol of a token, and where its second symbol goes.
uint32_t MainSymbol(const RarToken& t)
{
    if (t.symbol < kSymbolShort)
        return t.symbol;
    if (t.symbol == kSymbolShort)
        return kSymbolShort + ShortSlot(t.distance - 1);
    return kSymbolLong + LengthSlot(t.length - 3 - LongBonus(t.distance));
}

uint32_t RepeatSlot(const RarToken& t)
{
    return LengthSlot(t.length - 2 - RepeatBonus(t.distance));
}

void CountToken(const RarToken& t, uint32_t* frequencies)
{
    frequencies[MainSymbol(t)]++;
    if (t.symbol >= kSymbolLong)
        frequencies[kDistanceTable + DistanceSlot(t.distance - 1)]++;
    else if (t.symbol > kSymbolRepeatLast && t.symbol < kSymbolShort)
        frequencies[kRepeatTable + RepeatSlot(t)]++;
}

uint32_t ExtraBits(const RarToken& t)
{
    if (t.symbol == kSymbolShort)
        return kShortBits[ShortSlot(t.distance - 1)];
    if (t.symbol >= kSymbolLong)
        return kLengthBits[LengthSlot(t.length - 3 - LongBonus(t.distance))] +
               kDistanceBits[DistanceSlot(t.distance - 1)];
    if (t.symbol > kSymbolRepeatLast)
        return kLengthBits[RepeatSlot(t)];
    return 0;
}

uint64_t CodedBits(const uint32_t* frequencies, const uint8_t* lengths, uint32_t count)
{
    uint64_t bits = 0;
    for (uint32_t i = 0; i < count; ++i)
        bits += uint64_t(frequencies[i]) * lengths[i];
    return bits;
}

// Huffman lengths for the LZ table set from its frequencies; the table
// switch is always given a code, so that a later block can leave.
void LzLengths(const uint32_t* frequencies, uint8_t* lengths)
{
    uint32_t f[kRarLzTableSize];
    memcpy(f, frequencies, sizeof(f));
    f[kSymbolNewTables]++;
    RarHuffmanLengths(f, kRarMainSymbols, 15, lengths);
    RarHuffmanLengths(f + kDistanceTable, kRarDistanceSymbols, 15, lengths + kDistanceTable);
    RarHuffmanLengths(f + kRepeatTable, kRarRepeatSymbols, 15, lengths + kRepeatTable);
}

// Each channel's table has the switch and at least one sample symbol, so
// that a stream can always leave the table and always end in a filler.
void AudioLengths(const uint32_t* frequencies, uint32_t channels, uint8_t* lengths)
{
    for (uint32_t c = 0; c < channels; ++c)
    {
        uint32_t f[kRarAudioSymbols];
        memcpy(f, frequencies + c * kRarAudioSymbols, sizeof(f));
        f[256]++;
        bool any = false;
        for (uint32_t s = 0; s < 256; ++s)
            any = any || f[s] != 0;
        if (!any)
            f[0] = 1;
        RarHuffmanLengths(f, kRarAudioSymbols, 15, lengths + c * kRarAudioSymbols);
    }
}

// ---------------------------------------------------------------------------
// Code length tables: run-length symbols over the lengths (16 repeats the
// length before, 17 and 18 write zeros), either as deltas against the
// previous set or against zeros.
// ---------------------------------------------------------------------------

struct RunSymbol
{
    uint8_t symbol;
    uint8_t extraBits;
    uint8_t extra;
};

std::vector<RunSymbol> RunSymbols(const uint8_t* lengths, uint32_t n, const uint8_t* base)
{
    std::vector<RunSymbol> out;
    uint32_t i = 0;
    while (i < n)
    {
        uint8_t v = lengths[i];
        uint32_t run = 1;
        if (v == 0)
        {
            while (i + run < n && lengths[i + run] == 0 && run < 138)
                ++run;
            if (run >= 11)
            {
                out.push_back({18, 7, uint8_t(run - 11)});
                i += run;
                continue;
            }
            if (run >= 3)
            {
                out.push_back({17, 3, uint8_t(run - 3)});
                i += run;
                continue;
            }
        }
        else if (i > 0 && v == lengths[i - 1])
        {
            run = 0;
            while (i + run < n && lengths[i + run] == v && run < 6)
                ++run;
            if (run >= 3)
            {
                out.push_back({16, 2, uint8_t(run - 3)});
                i += run;
                continue;
            }
        }
        out.push_back({uint8_t((v - base[i]) & 15), 0, 0});
        ++i;
    }
    return out;
}

void EmitTables(RarBitWriter* bits, bool audioMode, uint32_t channels, const uint8_t* lengths,
                const uint8_t* previous, bool keep)
{
    static const uint8_t zeros[kRarMaxTableSize] = {};
    uint32_t n = audioMode ? kRarAudioSymbols * channels : kRarLzTableSize;
    std::vector<RunSymbol> runs = RunSymbols(lengths, n, keep ? previous : zeros);
    uint32_t frequencies[kRarLengthSymbols] = {};
    for (const RunSymbol& r : runs)
        frequencies[r.symbol]++;
    uint8_t lengthLengths[kRarLengthSymbols];
    uint16_t codes[kRarLengthSymbols];
    RarHuffmanLengths(frequencies, kRarLengthSymbols, 15, lengthLengths);
    RarCanonicalCodes(lengthLengths, kRarLengthSymbols, codes);

    bits->Put(audioMode, 1);
    bits->Put(keep, 1);
    if (audioMode)
        bits->Put(channels - 1, 2);
    for (uint32_t i = 0; i < kRarLengthSymbols; ++i)
        bits->Put(lengthLengths[i], 4);
    for (const RunSymbol& r : runs)
    {
        bits->Put(codes[r.symbol], lengthLengths[r.symbol]);
        if (r.extraBits)
            bits->Put(r.extra, r.extraBits);
    }
}

} // namespace

void RarHuffmanLengths(const uint32_t* frequencies, uint32_t count, uint32_t maxLength,
                       uint8_t* lengths)
{
    memset(lengths, 0, count);
    std::vector<uint32_t> weight;
    std::vector<uint32_t> symbol;
    for (uint32_t i = 0; i < count; ++i)
        if (frequencies[i])
        {
            weight.push_back(frequencies[i]);
            symbol.push_back(i);
        }
    size_t n = weight.size();
    if (n == 0)
        return;
    if (n == 1)
    {
        lengths[symbol[0]] = 1;
        return;
    }
    for (;;)
    {
        // Plain Huffman over a heap; too deep a tree flattens the weights
        // and tries again.
        std::vector<uint64_t> w(weight.begin(), weight.end());
        std::vector<int32_t> parent(2 * n, -1);
        using Node = std::pair<uint64_t, uint32_t>;
        std::priority_queue<Node, std::vector<Node>, std::greater<Node>> heap;
        for (uint32_t i = 0; i < n; ++i)
            heap.push({w[i], i});
        uint32_t next = uint32_t(n);
        while (heap.size() > 1)
        {
            Node a = heap.top();
            heap.pop();
            Node b = heap.top();
            heap.pop();
            parent[a.second] = int32_t(next);
            parent[b.second] = int32_t(next);
            heap.push({a.first + b.first, next++});
        }
        uint32_t deepest = 0;
        std::vector<uint32_t> depth(next, 0);
        for (int32_t i = int32_t(next) - 2; i >= 0; --i)
            depth[i] = depth[parent[i]] + 1;
        for (uint32_t i = 0; i < n; ++i)
            deepest = std::max(deepest, depth[i]);
        if (deepest <= maxLength)
        {
            for (uint32_t i = 0; i < n; ++i)
                lengths[symbol[i]] = uint8_t(depth[i]);
            return;
        }
        for (uint32_t& x : weight)
            x = (x + 1) / 2;
    }
}

void RarCanonicalCodes(const uint8_t* lengths, uint32_t count, uint16_t* codes)
{
    uint32_t counts[16] = {};
    for (uint32_t i = 0; i < count; ++i)
        counts[lengths[i] & 15]++;
    counts[0] = 0;
    uint32_t next[16] = {};
    for (uint32_t l = 1; l < 16; ++l)
        next[l] = (next[l - 1] + counts[l - 1]) << 1;
    for (uint32_t i = 0; i < count; ++i)
        codes[i] = lengths[i] ? uint16_t(next[lengths[i]]++) : 0;
}

uint64_t RarWriteTables(RarBitWriter* bits, bool audioMode, uint32_t channels,
                        const uint8_t* lengths, uint8_t* previous, bool* asDelta)
{
    RarBitWriter delta, fresh;
    EmitTables(&delta, audioMode, channels, lengths, previous, true);
    EmitTables(&fresh, audioMode, channels, lengths, previous, false);
    bool keep = delta.BitCount() < fresh.BitCount();
    if (asDelta)
        *asDelta = keep;
    uint64_t before = bits->BitCount();
    EmitTables(bits, audioMode, channels, lengths, previous, keep);
    if (!keep)
        memset(previous, 0, kRarMaxTableSize);
    memcpy(previous, lengths, audioMode ? kRarAudioSymbols * channels : kRarLzTableSize);
    return bits->BitCount() - before;
}

// ---------------------------------------------------------------------------
// The packer
// ---------------------------------------------------------------------------

RarPacker::RarPacker(const RarWriterOptions& o) : options(o)
{
    Reset();
}

void RarPacker::Reset()
{
    history.clear();
    head.assign(size_t(1) << kHashBits, 0);
    chain.assign(kRarWindowSize, 0);
    head2.assign(65536, 0);
    inserted = 0;
    lz = RarLzHistory();
    audio = RarAudioHistory();
    tables = RarTableSet();
    memset(previousLengths, 0, sizeof(previousLengths));
    writeChannel = 0;
    for (uint32_t i = 0; i < kRarMainSymbols; ++i)
        mainCost[i] = i < 256 ? 8.0f : 7.0f;
    for (float& c : distanceCost)
        c = 5.0f;
    for (float& c : repeatCost)
        c = 3.0f;
    literalAverage = 8.0f;
    memset(frequencyMain, 0, sizeof(frequencyMain));
    memset(frequencyDistance, 0, sizeof(frequencyDistance));
    memset(frequencyRepeat, 0, sizeof(frequencyRepeat));
    tokensSinceCosts = 0;
}

void RarPacker::InsertUpTo(uint32_t position)
{
    const uint8_t* h = history.data();
    uint32_t size = uint32_t(history.size());
    for (; inserted < position; ++inserted)
    {
        uint32_t i = inserted;
        if (i + 1 < size)
            head2[uint32_t(h[i]) << 8 | h[i + 1]] = i + 1;
        if (i + 2 >= size)
            continue;
        uint32_t key = (uint32_t(h[i]) << 16 | uint32_t(h[i + 1]) << 8 | h[i + 2]) * 2654435761u;
        key >>= 32 - kHashBits;
        chain[i & kRarWindowMask] = head[key];
        head[key] = i + 1;
    }
}

uint32_t RarPacker::MatchLength(uint32_t a, uint32_t b, uint32_t most) const
{
    const uint8_t* p = history.data() + a;
    const uint8_t* q = history.data() + b;
    uint32_t n = 0;
    while (n + 8 <= most)
    {
        uint64_t x, y;
        memcpy(&x, p + n, 8);
        memcpy(&y, q + n, 8);
        if (x != y)
            return n + uint32_t(__builtin_ctzll(x ^ y) / 8);
        n += 8;
    }
    while (n < most && p[n] == q[n])
        ++n;
    return n;
}

// The best way to go on at `position`: a literal (gain 0) or the match that
// saves the most bits against literals, of every kind the format offers.
RarPacker::Candidate RarPacker::FindBest(uint32_t position, uint32_t end)
{
    InsertUpTo(position);
    Candidate best = {{history[position], 1, 0}, mainCost[history[position]], 0.0f};
    uint32_t most = std::min(end - position, kMaxMatch);
    if (most < 2)
        return best;
    auto consider = [&](uint16_t symbol, uint32_t length, uint32_t distance, float cost)
    {
        float gain = float(length) * literalAverage - cost;
        if (gain > best.gain)
            best = {{symbol, uint16_t(length), distance}, cost, gain};
    };

    // The four last distances, and the last match itself.
    for (uint32_t k = 0; k < 4; ++k)
    {
        uint32_t d = lz.oldDistances[(lz.oldDistancePos - 1 - k) & 3];
        if (d == 0 || d > position)
            continue;
        uint32_t length = MatchLength(position, position - d, most);
        if (k == 0 && d == lz.lastDistance && lz.lastLength >= 2 && length >= lz.lastLength)
            consider(kSymbolRepeatLast, lz.lastLength, d, mainCost[kSymbolRepeatLast]);
        uint32_t bonus = RepeatBonus(d);
        if (length < 2 + bonus)
            continue;
        uint32_t slot = LengthSlot(length - 2 - bonus);
        consider(uint16_t(kSymbolRepeat + k), length, d,
                 mainCost[kSymbolRepeat + k] + repeatCost[slot] + kLengthBits[slot]);
    }

    // A short match: the last occurrence of the next two bytes.
    uint32_t pair = head2[uint32_t(history[position]) << 8 | history[position + 1]];
    if (pair && position - (pair - 1) <= 256)
    {
        uint32_t d = position - (pair - 1);
        uint32_t slot = ShortSlot(d - 1);
        consider(kSymbolShort, 2, d, mainCost[kSymbolShort + slot] + kShortBits[slot]);
    }

    // Long matches along the hash chain, each new length priced.
    if (most < 3)
        return best;
    const uint8_t* h = history.data();
    uint32_t key =
        (uint32_t(h[position]) << 16 | uint32_t(h[position + 1]) << 8 | h[position + 2]) *
        2654435761u;
    uint32_t candidate = head[key >> (32 - kHashBits)];
    uint32_t bestLength = 2;
    for (int depth = options.chainDepth; candidate && depth > 0; --depth)
    {
        uint32_t q = candidate - 1;
        uint32_t d = position - q;
        if (d > kMaxDistance)
            break;
        if (h[q + bestLength] == h[position + bestLength])
        {
            uint32_t length = MatchLength(position, q, most);
            if (length > bestLength)
            {
                bestLength = length;
                if (length >= 3 + LongBonus(d))
                {
                    uint32_t slot = LengthSlot(length - 3 - LongBonus(d));
                    uint32_t dslot = DistanceSlot(d - 1);
                    consider(kSymbolLong, length, d,
                             mainCost[kSymbolLong + slot] + kLengthBits[slot] +
                                 distanceCost[dslot] + kDistanceBits[dslot]);
                }
                if (length >= kNiceLength || length == most)
                    break;
            }
        }
        uint32_t next = chain[q & kRarWindowMask];
        if (next == 0 || next - 1 >= q)
            break;
        candidate = next;
    }
    return best;
}

float RarPacker::LiteralCost(uint32_t from, uint32_t to) const
{
    float cost = 0;
    for (uint32_t i = from; i < to; ++i)
        cost += mainCost[history[i]];
    return cost;
}

void RarPacker::ApplyToken(const RarToken& t, RarLzHistory* state) const
{
    if (t.symbol < kSymbolRepeatLast)
        return;
    state->oldDistances[state->oldDistancePos & 3] = t.distance;
    state->oldDistancePos++;
    state->lastDistance = t.distance;
    state->lastLength = t.length;
}

// The costs follow the statistics of the recent tokens: every few thousand
// tokens they are recomputed, and the counts halve.
void RarPacker::CountForCosts(const RarToken& t)
{
    uint32_t symbol = MainSymbol(t);
    frequencyMain[symbol]++;
    if (t.symbol >= kSymbolLong)
        frequencyDistance[DistanceSlot(t.distance - 1)]++;
    else if (t.symbol > kSymbolRepeatLast && t.symbol < kSymbolShort)
        frequencyRepeat[RepeatSlot(t)]++;
    if (++tokensSinceCosts < kCostInterval)
        return;
    tokensSinceCosts = 0;
    auto refresh = [](uint32_t* counts, float* costs, uint32_t n)
    {
        uint64_t total = n; // one extra count each, so nothing is free or impossible
        for (uint32_t i = 0; i < n; ++i)
            total += counts[i];
        for (uint32_t i = 0; i < n; ++i)
        {
            costs[i] = std::log2(float(total) / float(counts[i] + 1));
            counts[i] /= 2;
        }
    };
    uint64_t literals = 0;
    float literalBits = 0;
    refresh(frequencyMain, mainCost, kRarMainSymbols);
    for (uint32_t i = 0; i < 256; ++i)
    {
        literals += frequencyMain[i];
        literalBits += float(frequencyMain[i]) * mainCost[i];
    }
    literalAverage = literals ? literalBits / float(literals) : 8.0f;
    refresh(frequencyDistance, distanceCost, kRarDistanceSymbols);
    refresh(frequencyRepeat, repeatCost, kRarRepeatSymbols);
}

// Greedy parsing with one step of lazy evaluation: a match is put off by a
// literal when the match at the next byte covers the same ground cheaper.
void RarPacker::ParseLz(uint32_t start, uint32_t end, std::vector<RarToken>* tokens)
{
    uint32_t p = start;
    Candidate current = FindBest(p, end);
    while (p < end)
    {
        if (current.gain > 0 && current.token.length < kLazyLimit && p + 1 < end)
        {
            Candidate next = FindBest(p + 1, end);
            if (next.gain > 0)
            {
                uint32_t spanA = current.token.length, spanB = 1 + next.token.length;
                uint32_t far = p + std::max(spanA, spanB);
                float a = current.cost + LiteralCost(p + spanA, far);
                float b = mainCost[history[p]] + next.cost + LiteralCost(p + spanB, far);
                if (b < a)
                {
                    RarToken literal = {history[p], 1, 0};
                    tokens->push_back(literal);
                    CountForCosts(literal);
                    ++p;
                    current = next;
                    continue;
                }
            }
        }
        const RarToken& t = current.gain > 0 ? current.token : RarToken{history[p], 1, 0};
        tokens->push_back(t);
        CountForCosts(t);
        ApplyToken(t, &lz);
        p += t.length;
        if (p < end)
            current = FindBest(p, end);
    }
}

// ---------------------------------------------------------------------------
// Audio mode
// ---------------------------------------------------------------------------

// Runs the decoder's predictor over the bytes and records, for each, the
// symbol that makes the decoder produce it.
void RarPacker::Predict(const uint8_t* data, uint32_t size, uint32_t channels,
                        RarAudioHistory* state, std::vector<uint8_t>* deltas) const
{
    deltas->resize(size);
    if (state->currentChannel >= channels)
        state->currentChannel = 0;
    for (uint32_t i = 0; i < size; ++i)
    {
        AudioChannel* c = &state->channel[state->currentChannel];
        int32_t predicted = RarAudioPredict(c, state->channelDelta);
        uint32_t delta = uint32_t(predicted - data[i]) & 0xFF;
        RarAudioUpdate(c, &state->channelDelta, predicted, delta);
        (*deltas)[i] = uint8_t(delta);
        if (++state->currentChannel == channels)
            state->currentChannel = 0;
    }
}

uint64_t RarPacker::EstimateAudioBits(const std::vector<uint8_t>& deltas, uint32_t channels,
                                      uint32_t firstChannel) const
{
    uint64_t bits = 0;
    uint32_t channel = firstChannel;
    for (size_t b0 = 0; b0 < deltas.size(); b0 += kBlockSamples)
    {
        size_t b1 = std::min(deltas.size(), b0 + kBlockSamples);
        std::vector<uint32_t> f(kRarAudioSymbols * channels, 0);
        for (size_t i = b0; i < b1; ++i)
        {
            f[channel * kRarAudioSymbols + deltas[i]]++;
            if (++channel == channels)
                channel = 0;
        }
        uint8_t lengths[kRarMaxTableSize];
        AudioLengths(f.data(), channels, lengths);
        bits += CodedBits(f.data(), lengths, kRarAudioSymbols * channels) + 400 * channels;
    }
    return bits;
}

uint64_t RarPacker::EstimateLzBits(const std::vector<RarToken>& tokens) const
{
    uint64_t bits = 0;
    for (size_t b0 = 0; b0 < tokens.size(); b0 += kBlockTokens)
    {
        size_t b1 = std::min(tokens.size(), b0 + kBlockTokens);
        uint32_t f[kRarLzTableSize] = {};
        for (size_t i = b0; i < b1; ++i)
        {
            CountToken(tokens[i], f);
            bits += ExtraBits(tokens[i]);
        }
        uint8_t lengths[kRarLzTableSize];
        LzLengths(f, lengths);
        bits += CodedBits(f, lengths, kRarLzTableSize) + 700;
    }
    return bits;
}

// ---------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------

// The symbol that leaves the tables in force: 269, or 256 of the current
// channel's table.
void RarPacker::WriteControlSymbol(RarBitWriter* bits)
{
    uint32_t s = tables.audioMode ? writeChannel * kRarAudioSymbols + 256 : kSymbolNewTables;
    bits->Put(codes[s], tables.lengths[s]);
}

// A symbol that the decoder reads after the end of an entry and drops: an
// enciphered stream is padded, and its padding must not read as a switch.
void RarPacker::WriteFiller(RarBitWriter* bits)
{
    uint32_t first = tables.audioMode ? writeChannel * kRarAudioSymbols : 0;
    uint32_t count = tables.audioMode ? 256 : kRarMainSymbols;
    for (uint32_t s = first; s < first + count; ++s)
        if (tables.lengths[s] && s != kSymbolNewTables)
            return bits->Put(codes[s], tables.lengths[s]);
}

// New tables go out (behind a switch symbol, unless they open the stream)
// when the block is cheaper with them, table included, than with the
// tables in force.
void RarPacker::SwitchTables(RarBitWriter* bits, const RarTableSet& next,
                             const uint32_t* frequencies, bool first)
{
    uint32_t n = next.audioMode ? kRarAudioSymbols * next.channels : kRarLzTableSize;
    if (!first && tables.valid && tables.audioMode == next.audioMode &&
        tables.channels == next.channels)
    {
        bool usable = true;
        for (uint32_t i = 0; i < n && usable; ++i)
            usable = frequencies[i] == 0 || tables.lengths[i] != 0;
        if (usable)
        {
            uint8_t scratch[kRarMaxTableSize];
            memcpy(scratch, previousLengths, sizeof(scratch));
            RarBitWriter probe;
            uint64_t tableBits =
                RarWriteTables(&probe, next.audioMode, next.channels, next.lengths, scratch);
            uint64_t keep = CodedBits(frequencies, tables.lengths, n);
            uint64_t fresh = CodedBits(frequencies, next.lengths, n) + tableBits + 15;
            if (keep <= fresh)
                return;
        }
    }
    if (!first)
        WriteControlSymbol(bits);
    bool asDelta = false;
    RarWriteTables(bits, next.audioMode, next.channels, next.lengths, previousLengths, &asDelta);
    stats.tableSets++;
    stats.deltaTableSets += asDelta;
    tables = next;
    if (next.audioMode)
    {
        for (uint32_t c = 0; c < next.channels; ++c)
            RarCanonicalCodes(tables.lengths + c * kRarAudioSymbols, kRarAudioSymbols,
                              codes + c * kRarAudioSymbols);
        if (writeChannel >= next.channels)
            writeChannel = 0;
    }
    else
    {
        RarCanonicalCodes(tables.lengths, kRarMainSymbols, codes);
        RarCanonicalCodes(tables.lengths + kDistanceTable, kRarDistanceSymbols,
                          codes + kDistanceTable);
        RarCanonicalCodes(tables.lengths + kRepeatTable, kRarRepeatSymbols, codes + kRepeatTable);
    }
}

void RarPacker::EmitToken(RarBitWriter* bits, const RarToken& t)
{
    uint32_t symbol = MainSymbol(t);
    if (t.symbol < kSymbolRepeatLast)
        stats.literals++;
    else if (t.symbol == kSymbolRepeatLast)
        stats.lastMatches++;
    else if (t.symbol < kSymbolShort)
        stats.repeats[t.symbol - kSymbolRepeat]++;
    else if (t.symbol == kSymbolShort)
        stats.shortMatches++;
    else
        stats.longMatches++;
    bits->Put(codes[symbol], tables.lengths[symbol]);
    if (t.symbol < kSymbolRepeatLast || t.symbol == kSymbolRepeatLast)
        return;
    if (t.symbol < kSymbolShort)
    {
        uint32_t v = t.length - 2 - RepeatBonus(t.distance);
        uint32_t slot = LengthSlot(v);
        bits->Put(codes[kRepeatTable + slot], tables.lengths[kRepeatTable + slot]);
        bits->Put(v - kLengthBase[slot], kLengthBits[slot]);
    }
    else if (t.symbol == kSymbolShort)
    {
        uint32_t v = t.distance - 1;
        bits->Put(v - kShortBase[symbol - kSymbolShort], kShortBits[symbol - kSymbolShort]);
    }
    else
    {
        uint32_t v = t.length - 3 - LongBonus(t.distance);
        uint32_t slot = symbol - kSymbolLong;
        bits->Put(v - kLengthBase[slot], kLengthBits[slot]);
        uint32_t d = t.distance - 1;
        uint32_t dslot = DistanceSlot(d);
        bits->Put(codes[kDistanceTable + dslot], tables.lengths[kDistanceTable + dslot]);
        bits->Put(d - kDistanceBase[dslot], kDistanceBits[dslot]);
    }
}

void RarPacker::WriteLzBlocks(RarBitWriter* bits, const std::vector<RarToken>& tokens, bool fresh)
{
    for (size_t b0 = 0; b0 < tokens.size(); b0 += kBlockTokens)
    {
        size_t b1 = std::min(tokens.size(), b0 + kBlockTokens);
        uint32_t f[kRarLzTableSize] = {};
        for (size_t i = b0; i < b1; ++i)
            CountToken(tokens[i], f);
        RarTableSet next;
        next.valid = true;
        LzLengths(f, next.lengths);
        SwitchTables(bits, next, f, fresh && b0 == 0);
        for (size_t i = b0; i < b1; ++i)
            EmitToken(bits, tokens[i]);
    }
}

void RarPacker::WriteAudioBlocks(RarBitWriter* bits, const std::vector<uint8_t>& deltas,
                                 uint32_t channels, bool fresh)
{
    for (size_t b0 = 0; b0 < deltas.size(); b0 += kBlockSamples)
    {
        size_t b1 = std::min(deltas.size(), b0 + kBlockSamples);
        uint32_t channel = writeChannel < channels ? writeChannel : 0;
        std::vector<uint32_t> f(kRarMaxTableSize, 0);
        for (size_t i = b0; i < b1; ++i)
        {
            f[channel * kRarAudioSymbols + deltas[i]]++;
            if (++channel == channels)
                channel = 0;
        }
        RarTableSet next;
        next.valid = true;
        next.audioMode = true;
        next.channels = channels;
        AudioLengths(f.data(), channels, next.lengths);
        SwitchTables(bits, next, f.data(), fresh && b0 == 0);
        for (size_t i = b0; i < b1; ++i)
        {
            uint32_t s = writeChannel * kRarAudioSymbols + deltas[i];
            bits->Put(codes[s], tables.lengths[s]);
            if (++writeChannel == channels)
                writeChannel = 0;
        }
    }
}

std::vector<uint8_t> RarPacker::Pack(const uint8_t* data, uint32_t size, bool continuing,
                                     bool enciphered)
{
    if (!continuing)
    {
        // The decoder starts afresh: zeroed window, no history of any kind.
        history.clear();
        inserted = 0;
        std::fill(head.begin(), head.end(), 0);
        std::fill(head2.begin(), head2.end(), 0);
        lz = RarLzHistory();
        audio = RarAudioHistory();
        tables = RarTableSet();
        memset(previousLengths, 0, sizeof(previousLengths));
        writeChannel = 0;
    }
    uint32_t start = uint32_t(history.size());
    history.insert(history.end(), data, data + size);
    uint32_t end = uint32_t(history.size());

    // LZ, unless audio is forced; then each channel count where chosen per
    // entry, priced on its own statistics.
    std::vector<RarToken> tokens;
    RarLzHistory lzBefore = lz;
    uint32_t channels = options.audio > 0 ? uint32_t(options.audio) : 0;
    if (channels == 0)
    {
        ParseLz(start, end, &tokens);
        if (options.audio < 0 && size >= 1024)
        {
            uint64_t bestBits = EstimateLzBits(tokens);
            std::vector<uint8_t> trial;
            for (uint32_t c = 1; c <= 4; ++c)
            {
                RarAudioHistory copy = audio;
                uint32_t firstChannel = copy.currentChannel < c ? copy.currentChannel : 0;
                Predict(data, size, c, &copy, &trial);
                uint64_t bits = EstimateAudioBits(trial, c, firstChannel);
                if (bits < bestBits)
                {
                    bestBits = bits;
                    channels = c;
                }
            }
        }
    }

    RarBitWriter bits;
    stats.audioEntries[channels]++;
    if (channels)
    {
        lz = lzBefore;
        std::vector<uint8_t> deltas;
        Predict(data, size, channels, &audio, &deltas);
        WriteAudioBlocks(&bits, deltas, channels, !continuing);
    }
    else
        WriteLzBlocks(&bits, tokens, !continuing);
    if (enciphered)
        WriteFiller(&bits);
    return bits.Finish();
}
