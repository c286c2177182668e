// The archive library: known answers, round trips, hand-built streams, hostile input.
#include "archive/file_buffer.h"
#include "archive/rar.h"
#include "archive/rar_record.h"
#include "archive/rar_writer.h"
#include "support/files.h"
#include "support/process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace
{

using Bytes = std::vector<uint8_t>;
using S = RarStatus;
using testsupport::Env;

const auto FromText = [](const std::string& s) { return Bytes(s.begin(), s.end()); };

Bytes RandomBytes(size_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes b(n);
    std::generate(b.begin(), b.end(), [&] { return uint8_t(rng()); });
    return b;
}

// Real text, the project's own sources, repeated up to `n` bytes.
Bytes SourceText(size_t n)
{
    std::string all, out;
    for (const char* f : {"/archive/rar_unpack.cpp", "/archive/rar_pack.cpp",
                          "/archive/rar_extract.cpp", "/tools/tessimo-rar/main.cpp"})
        all += testsupport::ReadText(Env("TESSIMO_SOURCE_DIR") + f);
    while (out.size() < n)
        out += all.substr(0, n - out.size());
    return FromText(out);
}

// A picture, `depth` bytes a pixel: gradients with noise.
Bytes Image(int width, int height, int depth, uint32_t seed)
{
    Bytes b = RandomBytes(size_t(width) * height * depth, seed);
    for (size_t i = 0; i < b.size(); ++i)
    {
        int x = i / depth % width, y = i / depth / width, channel[4] = {x, 2 * y, x * y / 64, 255};
        b[i] = uint8_t(channel[i % depth] + (b[i] & 3));
    }
    return b;
}

using Item = std::pair<std::string, Bytes>; // a name and its bytes

Bytes Write(const std::vector<Item>& items, const RarWriterOptions& options)
{
    std::vector<RarWriterEntry> entries;
    for (const auto& [name, data] : items)
        entries.push_back({name.c_str(), data.data(), uint32_t(data.size())});
    Bytes archive;
    std::string error;
    EXPECT_TRUE(RarWriteArchive(entries.data(), entries.size(), options, &archive, &error))
        << error;
    return archive;
}

// Why an extraction fails (Ok where it succeeds); a failure hands out nothing.
RarStatus Extract(const Bytes& archive, const std::string& name, Bytes* out = nullptr,
                  const char* password = nullptr)
{
    uint8_t* data = nullptr;
    uint32_t size = 0;
    bool ok =
        RarExtractMemory(&data, &size, name.c_str(), archive.data(), archive.size(), password);
    EXPECT_TRUE(ok == (RarLastStatus() == S::Ok) && (ok || (!data && !size)))
        << RarStatusText(RarLastStatus());
    if (out)
        *out = Bytes(data, data + size);
    free(data);
    return RarLastStatus();
}

// Every entry back, last first, by the fast decoder and (with `plain`) the plain one.
void ExpectAllBack(const Bytes& archive, const std::vector<Item>& items, const char* password,
                   const std::string& what, bool plain = false)
{
    for (bool p : {false, plain})
    {
        g_rarPlainDecoding = p;
        for (size_t k = items.size(); k-- > 0;)
        {
            Bytes out;
            EXPECT_TRUE(Extract(archive, items[k].first, &out, password) == S::Ok &&
                        out == items[k].second)
                << what << (p ? " plain: " : ": ") << items[k].first;
        }
    }
    g_rarPlainDecoding = false;
}

// The format's slot tables, from their rules.
const auto LengthBits = [](uint32_t s) { return s < 8 ? 0 : s / 4 - 1; };
const auto DistanceBase = [](uint32_t s) {
    return s < 4 ? s : s < 36 ? (2 + (s & 1)) << (s / 2 - 1) : 262144 + (s - 36) * 65536;
};
const auto DistanceBits = [](uint32_t s) { return s < 4 ? 0 : std::min(16u, s / 2 - 1); };
const uint32_t kShortBaseKnown[8] = {0, 4, 8, 16, 32, 64, 128, 192};
const uint32_t kShortBitsKnown[8] = {2, 2, 3, 4, 5, 6, 6, 6};

// Flat code tables: main 9 bits, distance 6, repeat 5.
constexpr uint8_t kMain = 9, kDistance = 6, kRepeat = 5;

struct Stream
{
    RarBitWriter bits;
    // Fresh LZ tables, every code-length symbol 4 bits: the flat lengths, or with `runs` the main
    // ones from 3 (16 at index 0 repeats 3 times the length before the first, 0) and zeros for
    // the rest (18, 7 bits 127: 138 zeros, cut at the table's end).
    void Tables(bool runs = false)
    {
        bits.Put(0, 2);
        for (int i = 0; i < 19; ++i)
            bits.Put(5, 4);
        if (runs)
            bits.Put(16 << 2, 7);
        for (uint32_t i = runs ? 3 : 0; i < (runs ? kRarMainSymbols : kRarLzTableSize); ++i)
            bits.Put(i < kRarMainSymbols                         ? kMain
                     : i < kRarMainSymbols + kRarDistanceSymbols ? kDistance
                                                                 : kRepeat,
                     5);
        for (uint32_t i = 0; runs && i < kRarDistanceSymbols + kRarRepeatSymbols; i += 138)
            bits.Put(18 << 7 | 127, 12);
    }
    void Main(uint32_t symbol) { bits.Put(symbol, kMain); }
    // A long match: length slot and distance slot with their extra bits.
    void Long(uint32_t lengthSlot, uint32_t lengthExtra, uint32_t distanceSlot,
              uint32_t distanceExtra)
    {
        Main(270 + lengthSlot);
        bits.Put(lengthExtra, LengthBits(lengthSlot));
        bits.Put(distanceSlot, kDistance);
        bits.Put(distanceExtra, DistanceBits(distanceSlot));
    }
};

Bytes Archive(bool solid, const std::vector<RarFileBlock>& blocks)
{
    Bytes out;
    RarAppendMainHeader(&out, solid ? kRarMainSolid : 0);
    for (const RarFileBlock& b : blocks)
        RarAppendFileBlock(&out, b);
    return out;
}

// A file block, stored unless `method` says otherwise.
RarFileBlock Block(const std::string& name, const Bytes& packed, const Bytes& expected,
                   uint8_t method = 0x30, uint16_t flags = kRarLongBlock, uint8_t version = 20)
{
    uint32_t crc = RarCrc32(0, expected.data(), expected.size());
    return {name, flags, uint32_t(expected.size()), crc, version, method, packed};
}

} // namespace

// tests/data/archive_known.rar (tessimo-rar create --password "known answer") pins what our
// reader and writer could share wrongly: tsm\lz.txt holds a short match of the last slot and a
// distance from slot 12289, tga\pcm.raw audio, raw.bin stored bytes; its CRCs pin the contents.
TEST(ArchiveKnownAnswer, CommittedArchiveAndCrc)
{
    const Bytes check = FromText("123456789"), random = RandomBytes(4096, 8);
    EXPECT_EQ(RarCrc32(RarCrc32(0, check.data(), 4), check.data() + 4, 5), 0xCBF43926u);
    for (size_t n = 0; n < 300; ++n) // lengths around the folds, odd starts, carried CRCs
    {
        const uint8_t* start = random.data() + n % 13;
        size_t size = n < 200 ? n : random.size() - 7 * n;
        g_rarPlainDecoding = true;
        uint32_t plain = RarCrc32(0, start, size);
        g_rarPlainDecoding = false;
        EXPECT_EQ(RarCrc32(RarCrc32(0, start, size / 3), start + size / 3, size - size / 3), plain);
    }
    const std::string path = Env("TESSIMO_SOURCE_DIR") + "/tests/data/archive_known.rar";
    const Bytes known = FromText(testsupport::ReadText(path));
    ASSERT_EQ(RarCrc32(0, known.data(), known.size()), 0xF5DBE771u) << known.size(); // 832
    std::vector<Item> items = {{"tsm\\lz.txt", {}}, {"tga\\pcm.raw", {}}, {"raw.bin", {}}};
    for (auto& [name, data] : items)
        EXPECT_EQ(Extract(known, name, &data, "known answer"), S::Ok) << name;
    ExpectAllBack(known, items, "known answer", "committed", true);
    RarWriterOptions options;
    options.password = "known answer";
    EXPECT_TRUE(Write(items, options) == known) << "the writer's bytes changed";
    // FileBuffer: one name from the disk (caselessly) and the archive; reads past the end fail.
    testsupport::TempDir temp;
    std::filesystem::create_directory("Tsm");
    testsupport::WriteText("Tsm/Lz.TXT", "disk!");
    FileBuffer disk, packed, none;
    ASSERT_TRUE(disk.Open("tsm\\lz.txt", "", nullptr));
    ASSERT_TRUE(packed.Open("TSM/LZ.txt", path.c_str(), "known answer"));
    EXPECT_TRUE(Bytes(packed.data, packed.data + packed.size) == items[0].second);
    uint8_t four[4] = {}, *pointer = four;
    EXPECT_TRUE(disk.Read(four, 2) && !disk.Read(four, 4) && !disk.ReadPointer(&pointer, 4));
    EXPECT_TRUE(pointer == four && disk.position == 2u && !memcmp(four, "di", 2));
    EXPECT_TRUE(disk.ReadPointer(&pointer, 3) && pointer == disk.data + 2);
    EXPECT_TRUE(disk.Read(four, 0) && !disk.Read(four, 1));
    disk.Close();
    EXPECT_TRUE(!disk.data && !disk.size && !disk.position && !disk.loaded);
    EXPECT_TRUE(!none.Open("no\\such", path.c_str(), nullptr) && RarLastStatus() == S::NoEntry);
    EXPECT_TRUE(!none.Open("lz.txt", "no.rar", nullptr) && RarLastStatus() == S::NoArchive);
}

// Every kind of data in every mode; each password length gives its own key.
TEST(ArchiveRoundTrip, EveryKindOfDataInEveryMode)
{
    RarWriterOptions o;
    std::vector<Item> items = {{"empty", {}},
                               {"one", {42}},
                               {"tsm\\text.txt", SourceText(200000)},
                               {"tga\\rgb.raw", Image(300, 200, 3, 1)},
                               {"tga\\rgba.raw", Image(128, 128, 4, 2)},
                               {"random.bin", RandomBytes(70000, 3)},
                               {"zeros.bin", Bytes(100000, 0)},
                               {"tiny", {'a', 'b', 'a', 'b', 'a'}}};
    for (bool solid : {false, true})
        for (const char* password : {(const char*)nullptr, "mirodune"})
            for (int audio : {-2, -1, 0, 1, 2, 3, 4})
            {
                o.solid = solid;
                o.password = password;
                o.audio = audio == -2 ? -1 : audio;
                o.store = audio == -2;
                ExpectAllBack(Write(items, o), items, password,
                              "solid " + std::to_string(solid) + " audio " + std::to_string(audio),
                              !password);
            }
    Bytes archive;
    std::string error;
    for (int audio : {-2, 5})
    {
        o.audio = audio;
        EXPECT_TRUE(!RarWriteArchive(nullptr, 0, o, &archive, &error) &&
                    error == "audio channels must be 1 to 4")
            << audio << error;
    }
    o = {};
    items = {{"packed", SourceText(300)}, {"stored", RandomBytes(21, 4)}};
    std::string password;
    for (int n = 1; n <= 255; ++n)
    {
        password += char(33 + (n * 37) % 90);
        o.password = password.c_str();
        archive = Write(items, o);
        ExpectAllBack(archive, items, password.c_str(), "length " + std::to_string(n));
        EXPECT_EQ(Extract(archive, "packed", nullptr, password.substr(0, n - 1).c_str()),
                  n == 1 ? S::NeedPassword : S::WrongPassword);
    }
}

// What the writer may never produce: a repeat straight after a reset (0 bytes at distance 0),
// a match before the first byte, code length repeats at index 0; every distance and short slot
// past a window wrap.
TEST(ArchiveStream, RepeatsAtTheStartAndEverySlot)
{
    Stream s;
    s.Tables();
    for (char c : std::string("abc"))
        s.Main(uint8_t(c));
    s.Main(257); // the last distance, 0 after a reset: the byte onto itself, a zero
    s.bits.Put(0, kRepeat);
    s.Long(0, 0, 20, 5); // length 3 at distance 1024 + 5 + 1: before the start
    Bytes expected = {'a', 'b', 'c', 0, 0, 0, 0, 0};
    auto copy = [&](size_t distance, size_t length)
    {
        for (size_t i = 0; i < length; ++i)
            expected.push_back(expected.size() < distance ? 0 : *(expected.end() - distance));
    };
    std::mt19937 rng(17);
    for (uint32_t i = 0; i < kRarWindowSize + 5; ++i) // past a window wrap
    {
        expected.push_back(uint8_t(rng() % 200));
        s.Main(expected.back());
    }
    for (uint32_t slot = 0; slot < 48; ++slot)
        for (uint32_t extra : {0u, (1u << DistanceBits(slot)) - 1})
        {
            s.Long(13, 3, slot, extra); // length 20 + 3 + 3 (slot 13: 20), and more far away
            uint32_t distance = DistanceBase(slot) + 1 + extra;
            copy(distance, 26 + (distance >= 0x2000) + (distance >= 0x40000));
        }
    for (uint32_t slot = 0; slot < 8; ++slot)
        for (uint32_t extra : {0u, (1u << kShortBitsKnown[slot]) - 1})
        {
            s.Main(261 + slot);
            s.bits.Put(extra, kShortBitsKnown[slot]);
            copy(kShortBaseKnown[slot] + 1 + extra, 2);
        }
    s.Main(269); // new tables
    s.Tables(true);
    s.bits.Put(('A' - 3) << kMain | ('B' - 3), 2 * kMain); // symbols 0-2 absent: codes from 3
    expected.insert(expected.end(), {'A', 'B'});
    ExpectAllBack(Archive(false, {Block("x", s.bits.Finish(), expected, 0x33)}), {{"x", expected}},
                  nullptr, "stream", true);
}

// Names, signatures, versions, long names, block types, passwords; damaged and absurd
// archives end in false with their reason, never a crash.
TEST(ArchiveContainer, WalkRulesAndHostileArchives)
{
    const Bytes payload = FromText("payload"), g = FromText("g");
    const RarFileBlock stored = Block("dir\\File_1.txt", payload, payload),
                       good = Block("good", g, g);
    auto version = [&](uint8_t v)
    { return Archive(false, {Block("v", g, g, 0x30, kRarLongBlock, v)}); };
    Bytes quokka = Archive(false, {stored}), old = quokka, unknown = Archive(false, {}), sub;
    memcpy(quokka.data(), "Quokka!", 7);
    memcpy(old.data(), "RE~^\0\0\0", 7);
    const uint8_t other[] = {0, 0, 0x7A, 0x00, 0x80, 11, 0, 3, 0, 0, 0, 'x', 'y', 'z'}; // 11 bytes
    unknown.insert(unknown.end(), other, other + sizeof(other));
    RarAppendFileBlock(&unknown, good);
    sub = unknown;
    sub[7 + 13 + 2] = 0x77;         // a sub-block ends the walk
    Bytes cut = Archive(false, {}); // a file header that the file's end cuts short
    cut.insert(cut.end(), {0, 0, 0x74, 0, 0, 7, 0});
    cut.resize(7 + 13 + 32);
    Bytes backwards = cut; // a block that ends before it starts
    backwards[7 + 13 + 4] = 0x80;
    backwards[7 + 13 + 5] = 3;
    const std::string longName(300, 'n');
    const Bytes named = Archive(false, {Block(longName, payload, FromText("nnnnnnn")), good});
    RarFileBlock absurd = Block("x", Bytes(64, 0x55), payload, 0x33), absurdStored = good;
    absurd.unpackSize = absurdStored.unpackSize = 0xFFFFFFFFu;
    RarFileBlock far = Block("y", payload, payload);
    far.unpackSize = 0xFF000000u;
    Bytes beyond = Archive(false, {far});
    beyond[7 + 13 + 7] = beyond[7 + 13 + 10] = 0xFF; // packSize 0xFF0000FF
    RarWriterOptions o;
    o.solid = true;
    Bytes dry = Write({{"x", SourceText(900)}, {"good", g}}, o);
    dry[7 + 13 + 12] += 4; // x claims 1024 bytes more than its stream holds
    o.password = "pw";
    const Bytes secret = Write({{"a", SourceText(900)}, {"c", FromText("stored?")}}, o);
    struct Case
    {
        Bytes archive;
        std::string name;
        RarStatus why;
        const char* password = nullptr;
    };
    const Case cases[] = {
        {Archive(false, {stored}), "DIR/FILE_1.TXT", S::Ok},
        {Archive(false, {stored}), "dir_file\\1.txt", S::Ok},
        {Archive(false, {stored}), "dir\\file_2.txt", S::NoEntry},
        {quokka, "dir\\file_1.txt", S::Ok},
        {old, "dir\\file_1.txt", S::NotRar},
        {version(13), "v", S::Ok},
        {version(12), "v", S::BadVersion},
        {version(21), "v", S::BadVersion},
        {Archive(false, {Block("bad", g, g, 0x30, kRarLongBlock, 99), good}), "good", S::Ok},
        {Archive(true, {Block("bad", g, g, 0x30, kRarLongBlock, 99), good}), "good", S::BadVersion},
        {Archive(false, {Block("c", payload, g)}), "c", S::BadCrc},
        {named, longName.substr(0, 259), S::Ok},
        {named, "good", S::Ok},
        {unknown, "good", S::Ok},
        {sub, "good", S::NoEntry},
        {Archive(false, {Block("e", {}, {})}), "e", S::Ok},
        {secret, "a", S::Ok, "pw"},
        {secret, "a", S::NeedPassword, ""},
        {secret, "a", S::NeedPassword},
        {secret, "a", S::WrongPassword, "pW"},
        {Archive(false, {absurd}), "x", S::TooLarge},
        {Archive(false, {absurdStored}), "good", S::TooLarge},
        {Bytes(cut.begin(), cut.end() - 4), "x", S::Truncated},
        {Bytes(cut.begin(), cut.end() - 1), "x", S::Truncated},
        {backwards, "x", S::BadBlockHeader},
        {beyond, "y", S::TooLarge},
        {beyond, "z", S::Truncated},
        {dry, "x", S::CorruptStream},
        {dry, "good", S::CorruptStream},
    };
    for (const auto& [archive, name, why, password] : cases)
        EXPECT_EQ(Extract(archive, name, nullptr, password), why) << name << " " << archive.size();
    // Every cut of a solid enciphered archive: every layer in the way.
    for (size_t n = 0; n < secret.size(); ++n)
    {
        RarStatus why = Extract(Bytes(secret.begin(), secret.begin() + n), "c", nullptr, "pw");
        EXPECT_TRUE(n < 7 + 13 ? why == S::NotRar
                               : why == S::NoEntry || why == S::Truncated || why == S::TooLarge)
            << n;
    }
}
