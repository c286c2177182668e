// The compressor behind RarWriteArchive: turns the entries of one solid run
// (or one entry alone) into packed streams that RarUnpack reads back.
#pragma once

#include "archive/rar_record.h"
#include "archive/rar_writer.h"

#include <cstdint>
#include <vector>

// One LZ symbol as the parser chose it: a literal (symbol < 256), the last
// match again (256), a repeated distance (257-260), a short match (261) or
// a long match (270); the exact slot symbols follow from length and
// distance when the symbol is written.
struct RarToken
{
    uint16_t symbol;
    uint16_t length;
    uint32_t distance;
};

// What the decoder will hold while reading: the distance ring, the tables
// in force and the audio predictors. The packer keeps its own copy in step.
struct RarLzHistory
{
    uint32_t oldDistances[4] = {};
    uint32_t oldDistancePos = 0;
    uint32_t lastDistance = 0;
    uint32_t lastLength = 0;
};

struct RarAudioHistory
{
    AudioChannel channel[4] = {};
    int32_t channelDelta = 0;
    uint32_t currentChannel = 0;
};

struct RarTableSet
{
    bool valid = false;
    bool audioMode = false;
    uint32_t channels = 0;
    uint8_t lengths[kRarMaxTableSize] = {};
};

// What the packer wrote, counted, so tests can see every kind used.
struct RarPackerStats
{
    uint64_t literals = 0;
    uint64_t lastMatches = 0;      // symbol 256
    uint64_t repeats[4] = {};      // 257-260
    uint64_t shortMatches = 0;     // 261-268
    uint64_t longMatches = 0;      // 270-297
    uint64_t tableSets = 0;        // sets of code tables written
    uint64_t deltaTableSets = 0;   // of those, as deltas against the previous set
    uint64_t audioEntries[5] = {}; // entries by channel count (0: LZ)
};

class RarPacker
{
public:
    RarPackerStats stats;

    explicit RarPacker(const RarWriterOptions& options);
    // Forgets every entry before: the next one starts a fresh stream.
    void Reset();
    // The packed stream of one entry. With `continuing` the decoder carries
    // on from the entry packed before (flag 0x10). `enciphered` streams end
    // in a harmless symbol, since their padding is read as data.
    std::vector<uint8_t> Pack(const uint8_t* data, uint32_t size, bool continuing, bool enciphered);

private:
    struct Candidate
    {
        RarToken token;
        float cost; // bits
        float gain; // bits saved against literals
    };

    // Matching (over `history`, the bytes of this solid run so far).
    void InsertUpTo(uint32_t position);
    uint32_t MatchLength(uint32_t a, uint32_t b, uint32_t most) const;
    Candidate FindBest(uint32_t position, uint32_t end);
    void ParseLz(uint32_t start, uint32_t end, std::vector<RarToken>* tokens);
    void ApplyToken(const RarToken& token, RarLzHistory* lz) const;
    void CountForCosts(const RarToken& token);
    float LiteralCost(uint32_t from, uint32_t to) const;

    // Audio.
    void Predict(const uint8_t* data, uint32_t size, uint32_t channels, RarAudioHistory* audio,
                 std::vector<uint8_t>* deltas) const;
    uint64_t EstimateAudioBits(const std::vector<uint8_t>& deltas, uint32_t channels,
                               uint32_t firstChannel) const;
    uint64_t EstimateLzBits(const std::vector<RarToken>& tokens) const;

    // Writing.
    void WriteLzBlocks(RarBitWriter* bits, const std::vector<RarToken>& tokens, bool fresh);
    void WriteAudioBlocks(RarBitWriter* bits, const std::vector<uint8_t>& deltas, uint32_t channels,
                          bool fresh);
    void SwitchTables(RarBitWriter* bits, const RarTableSet& next, const uint32_t* frequencies,
                      bool first);
    void EmitToken(RarBitWriter* bits, const RarToken& token);
    void WriteControlSymbol(RarBitWriter* bits);
    void WriteFiller(RarBitWriter* bits);

    RarWriterOptions options;
    std::vector<uint8_t> history;
    std::vector<uint32_t> head;  // last position + 1 of each 3-byte hash
    std::vector<uint32_t> chain; // previous position + 1, by position in the window
    std::vector<uint32_t> head2; // last position + 1 of each byte pair
    uint32_t inserted = 0;

    RarLzHistory lz;
    RarAudioHistory audio;
    RarTableSet tables;                             // the tables the decoder holds
    uint8_t previousLengths[kRarMaxTableSize] = {}; // its delta base
    uint16_t codes[kRarMaxTableSize] = {};          // canonical codes of `tables`

    // Bit costs of the LZ symbols, from the statistics of the recent past.
    float mainCost[kRarMainSymbols];
    float distanceCost[kRarDistanceSymbols];
    float repeatCost[kRarRepeatSymbols];
    float literalAverage;
    uint32_t frequencyMain[kRarMainSymbols];
    uint32_t frequencyDistance[kRarDistanceSymbols];
    uint32_t frequencyRepeat[kRarRepeatSymbols];
    uint32_t tokensSinceCosts;

    uint32_t writeChannel = 0; // the decoder's current channel while writing
};

// Code lengths (at most `maxLength` bits) of a Huffman code for the given
// frequencies; absent symbols get 0, a lone symbol 1.
void RarHuffmanLengths(const uint32_t* frequencies, uint32_t count, uint32_t maxLength,
                       uint8_t* lengths);
// Canonical codes for the lengths, as the decoder assigns them.
void RarCanonicalCodes(const uint8_t* lengths, uint32_t count, uint16_t* codes);
// Writes one set of code tables, as delta against `previous` or fresh,
// whichever is shorter, and updates `previous`. Yields the bits written.
uint64_t RarWriteTables(RarBitWriter* bits, bool audioMode, uint32_t channels,
                        const uint8_t* lengths, uint8_t* previous, bool* asDelta = nullptr);
