// The decoder on streams built by hand, for the paths the writer never
// takes, and the reader on hostile archives: it must end in false, never
// crash, overrun, leak or spin.

#include "archive/rar.h"
#include "archive/rar_record.h"
#include "archive/rar_writer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

// Failed expectations name the status by its text.
void PrintTo(RarStatus status, std::ostream* os)
{
    *os << RarStatusText(status);
}

namespace
{

using Bytes = std::vector<uint8_t>;

// Flat code tables make hand-written streams readable: every code-length
// symbol is 5 bits (its code is its value), every main symbol 9 bits,
// distance slot 6, repeat slot 5, audio symbol 9.
constexpr uint8_t kMain = 9, kDistance = 6, kRepeat = 5, kAudio = 9;

struct Stream
{
    RarBitWriter bits;

    void LengthCode()
    {
        for (int i = 0; i < 19; ++i)
            bits.Put(5, 4);
    }
    // An LZ table set; with `keep` the lengths are deltas against `previous`.
    void LzTables(const uint8_t* lengths, bool keep = false, const uint8_t* previous = nullptr)
    {
        bits.Put(0, 1);
        bits.Put(keep, 1);
        LengthCode();
        for (uint32_t i = 0; i < kRarLzTableSize; ++i)
            bits.Put((lengths[i] - (keep ? previous[i] : 0)) & 15, 5);
    }
    void FlatLzTables()
    {
        uint8_t lengths[kRarLzTableSize];
        FlatLz(lengths);
        LzTables(lengths);
    }
    static void FlatLz(uint8_t* lengths)
    {
        memset(lengths, kMain, kRarMainSymbols);
        memset(lengths + kRarMainSymbols, kDistance, kRarDistanceSymbols);
        memset(lengths + kRarMainSymbols + kRarDistanceSymbols, kRepeat, kRarRepeatSymbols);
    }
    void FlatAudioTables(uint32_t channels)
    {
        bits.Put(1, 1);
        bits.Put(0, 1);
        bits.Put(channels - 1, 2);
        LengthCode();
        for (uint32_t i = 0; i < kRarAudioSymbols * channels; ++i)
            bits.Put(kAudio, 5);
    }
    void Main(uint32_t symbol) { bits.Put(symbol, kMain); }
    void Literals(const char* text)
    {
        for (; *text; ++text)
            Main(uint8_t(*text));
    }
    // A long match: length slot and distance slot with their extra bits.
    void Long(uint32_t lengthSlot, uint32_t lengthExtra, uint32_t distanceSlot,
              uint32_t distanceExtra)
    {
        Main(270 + lengthSlot);
        bits.Put(lengthExtra, kLengthBits[lengthSlot]);
        bits.Put(distanceSlot, kDistance);
        bits.Put(distanceExtra, kDistanceBits[distanceSlot]);
    }
    Bytes Finish() { return bits.Finish(); }
};

Bytes Archive(bool solid, const std::vector<RarFileBlock>& blocks)
{
    Bytes out;
    RarAppendMainHeader(&out, solid ? 0x08 : 0);
    for (const RarFileBlock& b : blocks)
        RarAppendFileBlock(&out, b);
    return out;
}

RarFileBlock Block(const std::string& name, const Bytes& packed, const Bytes& expected,
                   uint16_t flags = 0x8000)
{
    RarFileBlock b;
    b.name = name;
    b.flags = flags;
    b.packed = packed;
    b.unpackSize = uint32_t(expected.size());
    b.fileCrc = RarCrc32(0, expected.data(), expected.size());
    return b;
}

bool Extract(const Bytes& archive, const char* name, Bytes* out, const char* password = nullptr)
{
    uint8_t* data = nullptr;
    uint32_t size = 0;
    bool ok = RarExtractMemory(&data, &size, name, archive.data(), archive.size(), password);
    if (ok)
        *out = Bytes(data, data + size);
    else
        EXPECT_TRUE(data == nullptr && size == 0);
    free(data);
    return ok;
}

// Why an extraction fails; RarStatus::Ok where it succeeds.
RarStatus Why(const Bytes& archive, const char* name, const char* password = nullptr)
{
    Bytes out;
    bool ok = Extract(archive, name, &out, password);
    EXPECT_EQ(ok, RarLastStatus() == RarStatus::Ok) << RarStatusText(RarLastStatus());
    return RarLastStatus();
}

Bytes FromText(const std::string& s)
{
    return Bytes(s.begin(), s.end());
}

// The expected output of a copy, byte by byte as the format defines it.
void Copy(Bytes* out, size_t distance, size_t length)
{
    for (size_t i = 0; i < length; ++i)
        out->push_back(out->size() >= distance ? (*out)[out->size() - distance] : 0);
}

Bytes SmallArchive(bool solid, const char* password)
{
    std::string text;
    for (int i = 0; i < 300; ++i)
        text += "entry " + std::to_string(i % 17) + ";";
    std::vector<RarWriterEntry> e = {{"a", (const uint8_t*)text.data(), 900},
                                     {"b", (const uint8_t*)text.data() + 100, 1000},
                                     {"c", (const uint8_t*)"stored?", 7}};
    RarWriterOptions o;
    o.solid = solid;
    o.password = password;
    Bytes out;
    std::string error;
    RarWriteArchive(e.data(), e.size(), o, &out, &error);
    return out;
}

} // namespace

// Literals, every kind of match, the repeat of the last match, a pattern
// repeated by a distance below its length, and a match reaching before
// the first byte into the zeroed window.
TEST(ArchiveStream, EveryLzSymbolKind)
{
    Stream s;
    s.FlatLzTables();
    Bytes expected;
    s.Literals("abc");
    expected = FromText("abc");
    s.Long(4, 0, 2, 0); // length 7 at distance 3
    Copy(&expected, 3, 7);
    s.Main(256); // again: 7 at 3
    Copy(&expected, 3, 7);
    s.Main(261); // short: slot 0, 2 extra bits: distance 1 + 1
    s.bits.Put(1, 2);
    Copy(&expected, 2, 2);
    s.Main(258); // the second-last distance (3), repeat slot 9: 10 + 1 bit, + 2
    s.bits.Put(9, kRepeat);
    s.bits.Put(1, 1);
    Copy(&expected, 3, 13);
    s.Long(0, 0, 20, 5); // length 3 at distance 1024 + 5 + 1: before the start
    Copy(&expected, 1030, 3);
    s.Literals("z");
    expected.push_back('z');
    Bytes out;
    ASSERT_TRUE(Extract(Archive(false, {Block("x", s.Finish(), expected)}), "x", &out));
    EXPECT_EQ(out, expected);
}

// Straight after a reset the last match has length 0 and distance 0, and
// a repeated distance of 0 copies the byte onto itself (a zero).
TEST(ArchiveStream, RepeatAfterResetCopiesNothing)
{
    Stream s;
    s.FlatLzTables();
    s.Main(256);
    s.Literals("x");
    s.Main(257);
    s.bits.Put(0, kRepeat);
    Bytes expected = {'x', 0, 0};
    Bytes out;
    ASSERT_TRUE(Extract(Archive(false, {Block("x", s.Finish(), expected)}), "x", &out));
    EXPECT_EQ(out, expected);
}

// A repeat code at the first length repeats 0; zero runs stop at the end of
// the table.
TEST(ArchiveStream, LengthRepeatAtIndexZero)
{
    Stream s;
    s.bits.Put(0, 2);
    s.LengthCode();
    s.bits.Put(16, 5); // 3 times the length before the first: 0
    s.bits.Put(0, 2);
    for (uint32_t i = 3; i < kRarMainSymbols; ++i)
        s.bits.Put(kMain, 5);
    for (uint32_t i = 0; i < kRarDistanceSymbols + kRarRepeatSymbols; i += 138)
    {
        s.bits.Put(18, 5); // zeros, cut at the end of the table
        s.bits.Put(127, 7);
    }
    // With symbols 0-2 absent, the 9-bit codes start at symbol 3.
    s.bits.Put('A' - 3, kMain);
    s.bits.Put('B' - 3, kMain);
    Bytes expected = FromText("AB");
    Bytes out;
    ASSERT_TRUE(Extract(Archive(false, {Block("x", s.Finish(), expected)}), "x", &out));
    EXPECT_EQ(out, expected);
}

// A solid entry: the first ends with a table switch whose lengths are
// deltas against the first tables (main codes grow to 10 bits); the second
// entry reads no tables, uses the new ones and matches into the first.
TEST(ArchiveStream, DeltaTablesAtAnEntryBoundary)
{
    uint8_t first[kRarLzTableSize], second[kRarLzTableSize];
    Stream::FlatLz(first);
    memcpy(second, first, sizeof(first));
    memset(second, kMain + 1, kRarMainSymbols);

    Stream a;
    a.LzTables(first);
    a.Literals("solid!");
    a.Main(269);
    a.LzTables(second, true, first);
    Bytes one = FromText("solid!");

    RarBitWriter b;
    for (char c : std::string("ok "))
        b.Put(uint8_t(c), kMain + 1);
    b.Put(270 + 3, kMain + 1); // length 6 at distance 9: the whole first entry
    b.Put(6, kDistance);
    b.Put(0, kDistanceBits[6]);
    Bytes two = FromText("ok solid!");

    Bytes archive = Archive(
        true, {Block("one", a.Finish(), one), Block("two", b.Finish(), two, 0x8000 | 0x10)});
    Bytes out;
    ASSERT_TRUE(Extract(archive, "two", &out));
    EXPECT_EQ(out, two);
    ASSERT_TRUE(Extract(archive, "one", &out));
    EXPECT_EQ(out, one);
}

// Three channels take samples in turn; a switch to two channels while the
// next channel is 2 restarts at channel 0.
TEST(ArchiveStream, AudioChannelsAndTheirChange)
{
    Stream s;
    s.FlatAudioTables(3);
    uint32_t symbols[] = {10, 250, 3, 7, 99};
    uint32_t channelOf[] = {0, 1, 0, 1, 0};
    s.bits.Put(symbols[0], kAudio);
    s.bits.Put(symbols[1], kAudio);
    s.bits.Put(256, kAudio); // coded with channel 2's table
    s.FlatAudioTables(2);
    for (int i = 2; i < 5; ++i)
        s.bits.Put(symbols[i], kAudio);

    AudioChannel channels[4] = {};
    int32_t channelDelta = 0;
    Bytes expected;
    for (int i = 0; i < 5; ++i)
    {
        AudioChannel* c = &channels[channelOf[i]];
        int32_t predicted = RarAudioPredict(c, channelDelta);
        expected.push_back(RarAudioUpdate(c, &channelDelta, predicted, symbols[i]));
    }
    Bytes out;
    ASSERT_TRUE(Extract(Archive(false, {Block("x", s.Finish(), expected)}), "x", &out));
    EXPECT_EQ(out, expected);
}

// Every 32 samples the weight of the smallest error sum moves: down to
// -17 but not beyond, up to 16 but not beyond; a tie goes to the lower
// index, and index 0 moves nothing.
TEST(ArchiveStream, AudioWeightsStopAtTheirBounds)
{
    struct Case
    {
        int32_t k1;
        uint32_t winner;
        int32_t after;
    } cases[] = {{-16, 1, -17}, {-17, 1, -17}, {15, 2, 16}, {16, 2, 16}, {5, 0, 5}};
    for (const Case& t : cases)
    {
        AudioChannel c = {};
        c.k1 = t.k1;
        c.byteCount = 31;
        for (uint32_t i = 0; i < 11; ++i)
            c.dif[i] = i == t.winner ? 10 : 100;
        c.dif[10] = t.winner == 0 ? 10 : 100; // a tie: the lower index wins
        int32_t channelDelta = 0;
        int32_t predicted = RarAudioPredict(&c, channelDelta);
        RarAudioUpdate(&c, &channelDelta, predicted, 0);
        EXPECT_EQ(c.k1, t.after) << t.k1 << " " << t.winner;
        EXPECT_EQ(c.dif[t.winner], 0u);
    }
}

// The lookup decoder agrees with the plain search on every 16-bit input,
// for complete, incomplete and oversubscribed tables.
TEST(ArchiveStream, QuickDecoderMatchesPlainSearch)
{
    std::mt19937 rng(5);
    for (int round = 0; round < 40; ++round)
    {
        uint8_t lengths[kRarMainSymbols];
        uint32_t count = round % 2 ? kRarMainSymbols : 19;
        for (uint32_t i = 0; i < count; ++i)
            lengths[i] = uint8_t(round < 20 ? rng() % 16 : (rng() % 3 ? 0 : 1 + rng() % 12));
        HuffmanDecoder decoder;
        RarBuildDecoder(lengths, &decoder, count);
        for (uint32_t bits = 0; bits < 65536; ++bits)
        {
            g_rar.input[0] = uint8_t(bits >> 8);
            g_rar.input[1] = uint8_t(bits);
            g_rar.input[2] = 0;
            g_rar.inputPos = g_rar.inputBit = 0;
            uint32_t plain = RarDecodeSymbolPlain(&decoder);
            uint32_t plainBits = g_rar.inputPos * 8 + g_rar.inputBit;
            g_rar.inputPos = g_rar.inputBit = 0;
            uint32_t quick = RarDecodeSymbol(&decoder);
            ASSERT_EQ(quick, plain) << round << " " << bits;
            ASSERT_EQ(g_rar.inputPos * 8 + g_rar.inputBit, plainBits);
        }
    }
}

// Walk rules: either signature, names matched caselessly and across
// separators, versions 13-20 only, long names cut to 259 with the walk
// going on through headSize, unknown blocks passed over, a sub-block
// ending the walk, and a non-solid archive never reading the entries it
// passes.
TEST(ArchiveContainer, WalkRules)
{
    Bytes out;
    Bytes payload = FromText("payload");
    RarFileBlock stored = Block("dir\\File_1.txt", payload, payload);
    stored.method = 0x30;
    Bytes archive = Archive(false, {stored});
    for (const char* name : {"DIR/FILE_1.TXT", "dir_file\\1.txt", "dir\\file/1.TXT"})
    {
        ASSERT_TRUE(Extract(archive, name, &out)) << name;
        EXPECT_EQ(out, payload);
    }
    EXPECT_EQ(Why(archive, "dir\\file_2.txt"), RarStatus::NoEntry);

    Bytes quokka = archive;
    memcpy(quokka.data(), "Quokka!", 7);
    EXPECT_TRUE(Extract(quokka, "dir\\file_1.txt", &out));
    Bytes old = archive;
    memcpy(old.data(), "RE~^\0\0\0", 7);
    EXPECT_EQ(Why(old, "dir\\file_1.txt"), RarStatus::NotRar);

    for (uint8_t version : {13, 20, 12, 21})
    {
        RarFileBlock b = stored;
        b.unpackVersion = version;
        EXPECT_EQ(Why(Archive(false, {b}), "dir\\file_1.txt"),
                  version <= 20 && version >= 13 ? RarStatus::Ok : RarStatus::BadVersion);
    }

    // A bad version or bad data in an entry that a non-solid walk passes
    // over is never seen; in a solid archive it stops the walk.
    RarFileBlock bad = Block("bad", FromText("garbage!"), payload);
    bad.unpackVersion = 99;
    RarFileBlock good = Block("good", payload, payload);
    good.method = 0x30;
    EXPECT_TRUE(Extract(Archive(false, {bad, good}), "good", &out));
    EXPECT_EQ(Why(Archive(true, {bad, good}), "good"), RarStatus::BadVersion);

    // A name of 300 bytes is compared by its first 259; the data are read
    // from behind those (here the rest of the name), and the next block is
    // still found through headSize.
    std::string longName(300, 'n');
    RarFileBlock named = Block(longName, payload, FromText("nnnnnnn"));
    named.method = 0x30;
    Bytes withLong = Archive(false, {named, good});
    ASSERT_TRUE(Extract(withLong, longName.substr(0, 259).c_str(), &out));
    EXPECT_EQ(out, FromText("nnnnnnn"));
    EXPECT_TRUE(Extract(withLong, longName.c_str(), &out)) << "the wanted name is cut alike";
    EXPECT_TRUE(Extract(withLong, "good", &out));

    // An unknown block type with data is passed over; a sub-block ends the
    // walk even though the entry follows it.
    Bytes unknown = Archive(false, {});
    Bytes sub = unknown;
    uint8_t other[] = {0, 0, 0x7A, 0x00, 0x80, 11, 0, 3, 0, 0, 0, 'x', 'y', 'z'};
    unknown.insert(unknown.end(), other, other + sizeof(other));
    RarAppendFileBlock(&unknown, good);
    EXPECT_TRUE(Extract(unknown, "good", &out));
    other[2] = 0x77;
    sub.insert(sub.end(), other, other + sizeof(other));
    RarAppendFileBlock(&sub, good);
    EXPECT_EQ(Why(sub, "good"), RarStatus::NoEntry);

    // An entry of size 0, and an enciphered one read without a password.
    RarFileBlock empty = Block("empty", {}, {});
    empty.method = 0x30;
    EXPECT_TRUE(Extract(Archive(false, {empty}), "empty", &out));
    EXPECT_TRUE(out.empty());
    Bytes secret = SmallArchive(false, "pw");
    EXPECT_TRUE(Extract(secret, "a", &out, "pw"));
    EXPECT_EQ(Why(secret, "a", ""), RarStatus::NeedPassword);
    EXPECT_EQ(Why(secret, "a", nullptr), RarStatus::NeedPassword);
    EXPECT_EQ(Why(secret, "a", "pW"), RarStatus::WrongPassword);
}

// Truncated at every length, damaged at every byte, headers with absurd
// sizes or leading backwards: false with its reason (or, for a byte that
// nothing reads, the right data), never a crash.
TEST(ArchiveContainer, HostileArchives)
{
    for (bool solid : {false, true})
        for (const char* password : {(const char*)nullptr, "key"})
        {
            Bytes archive = SmallArchive(solid, password);
            Bytes reference;
            ASSERT_TRUE(Extract(archive, "c", &reference, password));
            // Cut between blocks, the archive merely lacks the entry.
            std::set<size_t> blockEnds = {7 + 13};
            for (size_t at = 7 + 13; at + 11 <= archive.size(); blockEnds.insert(at))
                at += (archive[at + 5] | archive[at + 6] << 8) +
                      (archive[at + 7] | archive[at + 8] << 8 | archive[at + 9] << 16);
            Bytes out;
            for (size_t n = 0; n < archive.size(); ++n)
            {
                RarStatus why = Why(Bytes(archive.begin(), archive.begin() + n), "c", password);
                // The size guard sees a stored entry's missing bytes first.
                if (n < 7 + 13)
                    EXPECT_EQ(why, RarStatus::NotRar) << n;
                else if (blockEnds.count(n))
                    EXPECT_EQ(why, RarStatus::NoEntry) << n;
                else
                    EXPECT_TRUE(why == RarStatus::Truncated || why == RarStatus::TooLarge)
                        << n << ": " << RarStatusText(why);
            }
            for (size_t i = 0; i < archive.size(); ++i)
            {
                Bytes damaged = archive;
                damaged[i] ^= 0x41;
                if (Extract(damaged, "c", &out, password))
                {
                    EXPECT_EQ(out, reference) << "byte " << i;
                }
            }
        }

    Bytes payload = FromText("data");
    RarFileBlock absurd = Block("x", Bytes(64, 0x55), payload);
    absurd.unpackSize = 0xFFFFFFFFu;
    EXPECT_EQ(Why(Archive(false, {absurd}), "x"), RarStatus::TooLarge);
    absurd.method = 0x30;
    EXPECT_EQ(Why(Archive(false, {absurd}), "x"), RarStatus::TooLarge);

    // headSize below 7, and a block whose sizes point nowhere.
    Bytes backwards = Archive(false, {});
    uint8_t header[32] = {0, 0, 0x74, 0, 0x80, 3, 0};
    backwards.insert(backwards.end(), header, header + 32);
    EXPECT_EQ(Why(backwards, "x"), RarStatus::BadBlockHeader);
    // y claims 0xFF0000FF packed bytes and nearly as many unpacked: the size
    // guard counts only the 4 that the file holds. Passed over, y leads
    // beyond the end.
    RarFileBlock far = Block("y", payload, payload);
    far.method = 0x30;
    far.unpackSize = 0xFF000000u;
    Bytes beyond = Archive(false, {far});
    beyond[7 + 13 + 7] = 0xFF; // packSize
    beyond[7 + 13 + 10] = 0xFF;
    EXPECT_EQ(Why(beyond, "y"), RarStatus::TooLarge);
    EXPECT_EQ(Why(beyond, "z"), RarStatus::Truncated);
}

// A stream that keeps switching tables and then runs dry, for an entry
// that claims a megabyte: the decoder gives up at the end of its input.
TEST(ArchiveContainer, ExhaustedInputEnds)
{
    Stream s;
    s.FlatLzTables();
    for (int i = 0; i < 20; ++i)
    {
        s.Main(269);
        s.FlatLzTables();
    }
    RarFileBlock b = Block("x", s.Finish(), {});
    b.unpackSize = 1 << 20;
    EXPECT_EQ(Why(Archive(false, {b}), "x"), RarStatus::CorruptStream);
    // The same in a solid archive, in front of the wanted entry.
    RarFileBlock good = Block("good", FromText("g"), FromText("g"));
    good.method = 0x30;
    EXPECT_EQ(Why(Archive(true, {b, good}), "good"), RarStatus::CorruptStream);
}

// Past 1 MiB of output the longest distances reach the bytes just ahead of
// the unpack position, the oldest history; a match copied in pieces must
// leave them alone. Decoded fast and plain.
TEST(ArchiveStream, LongestDistancesAfterAWrap)
{
    Stream s;
    s.FlatLzTables();
    Bytes expected;
    std::mt19937 rng(17);
    for (uint32_t i = 0; i < kRarWindowSize + 5; ++i)
    {
        uint8_t b = uint8_t(rng() % 200);
        s.Main(b);
        expected.push_back(b);
    }
    s.Long(8, 1, 3, 0); // length 8 + 1 + 3 = 12 at distance 4
    Copy(&expected, 4, 12);
    s.Long(13, 3, 6, 3); // length 20 + 3 + 3 = 26 at distance 12
    Copy(&expected, 12, 26);
    for (uint32_t extra : {65535u, 65534u, 65530u})
    {
        s.Long(4, 0, 47, extra); // length 7 + 2 at 983041 + extra, up to 0x100000
        Copy(&expected, 983041 + extra, 9);
    }
    Bytes archive = Archive(false, {Block("x", s.Finish(), expected)});
    for (bool plain : {false, true})
    {
        g_rarPlainDecoding = plain;
        Bytes out;
        EXPECT_TRUE(Extract(archive, "x", &out));
        EXPECT_TRUE(out == expected) << (plain ? "plain" : "fast");
    }
    g_rarPlainDecoding = false;
}

// Long audio streams, long enough to cross many input refills and weight
// adaptations: channel counts change inside an entry and across a solid
// boundary, samples run in stretches of silence (every error sum equal),
// small errors, noise, and signals that hold weights at their bounds. Decoded fast and plain, both
// against the sample-by-sample predictor.
TEST(ArchiveStream, LongAudioStreamsFastAndPlain)
{
    struct Piece
    {
        uint32_t channels;
        uint32_t samples;
    };
    const std::vector<std::vector<Piece>> entries = {{{3, 30001}, {2, 7777}},
                                                     {{2, 5000}, {4, 20003}, {1, 3001}}};
    std::mt19937 rng(29);
    AudioChannel channels[4] = {};
    int32_t channelDelta = 0;
    uint32_t current = 0;
    std::vector<Bytes> expected;
    std::vector<RarFileBlock> blocks;
    for (size_t e = 0; e < entries.size(); ++e)
    {
        Stream s;
        Bytes out;
        for (size_t p = 0; p < entries[e].size(); ++p)
        {
            const Piece& piece = entries[e][p];
            if (e == 0 && p == 0)
                s.FlatAudioTables(piece.channels);
            else if (p > 0)
            {
                s.bits.Put(256, kAudio);
                s.FlatAudioTables(piece.channels);
            }
            if (current >= piece.channels)
                current = 0;
            for (uint32_t i = 0; i < piece.samples; ++i)
            {
                AudioChannel* c = &channels[current];
                int32_t predicted = RarAudioPredict(c, channelDelta);
                // The square wave and the echo of the last delta drive the
                // weights to their upper and lower bounds.
                uint32_t phase = (i / 4000) % 5;
                uint32_t square = (i / (16 * piece.channels)) % 2 ? 40 : 216;
                uint32_t echo = uint32_t(c->d1 / 4 + int32_t(rng() % 3) - 1) & 255;
                uint32_t symbol = phase == 0   ? 0
                                  : phase == 1 ? (rng() % 7 + 253) & 255
                                  : phase == 2 ? rng() % 256
                                  : phase == 3 ? square
                                               : echo;
                s.bits.Put(symbol, kAudio);
                out.push_back(RarAudioUpdate(c, &channelDelta, predicted, symbol));
                if (++current == piece.channels)
                    current = 0;
            }
        }
        std::string name(1, char('a' + e));
        blocks.push_back(Block(name, s.Finish(), out, uint16_t(0x8000 | (e ? 0x10 : 0))));
        expected.push_back(out);
    }
    Bytes archive = Archive(true, blocks);
    for (bool plain : {false, true})
    {
        g_rarPlainDecoding = plain;
        for (size_t e = 0; e < entries.size(); ++e)
        {
            Bytes out;
            std::string name(1, char('a' + e));
            EXPECT_TRUE(Extract(archive, name.c_str(), &out));
            EXPECT_TRUE(out == expected[e]) << name << (plain ? " plain" : " fast");
        }
    }
    g_rarPlainDecoding = false;
}
