// Round trips through the writer and the reader (library, FileBuffer and
// the tessimo-rar tool), the cipher's properties, and FileBuffer's disk
// path.

#include "archive/file_buffer.h"
#include "archive/rar.h"
#include "archive/rar_cipher.h"
#include "archive/rar_pack.h"
#include "archive/rar_record.h"
#include "archive/rar_writer.h"
#include "support/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

using Bytes = std::vector<uint8_t>;

// One folder for the whole run, removed at exit.
std::string TempDir()
{
    static testsupport::TempDir dir;
    return dir.path;
}

void WriteFile(const std::string& path, const Bytes& bytes)
{
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

Bytes ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

Bytes RandomBytes(size_t n, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes b(n);
    for (uint8_t& x : b)
        x = uint8_t(rng());
    return b;
}

// Text with the repetitions of real text: the project's own sources.
Bytes SourceText(size_t n)
{
    Bytes all;
    std::string root = getenv("TESSIMO_SOURCE_DIR") ? getenv("TESSIMO_SOURCE_DIR") : ".";
    for (const char* f : {"/archive/rar_unpack.cpp", "/archive/rar_pack.cpp",
                          "/archive/rar_extract.cpp", "/tools/tessimo-rar/main.cpp"})
    {
        Bytes part = ReadFile(root + f);
        all.insert(all.end(), part.begin(), part.end());
    }
    Bytes out;
    while (!all.empty() && out.size() < n)
        out.insert(out.end(), all.begin(), all.begin() + std::min(all.size(), n - out.size()));
    return out;
}

// An uncompressed picture: smooth gradients with a little noise, `depth`
// bytes a pixel.
Bytes Image(int width, int height, int depth, uint32_t seed)
{
    std::mt19937 rng(seed);
    Bytes b;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
        {
            b.push_back(uint8_t(x + (rng() & 3)));
            b.push_back(uint8_t(y * 2 + (rng() & 3)));
            b.push_back(uint8_t((x * y) / 64 + (rng() & 1)));
            if (depth == 4)
                b.push_back(uint8_t(255 - (rng() & 1)));
        }
    return b;
}

struct Item
{
    std::string name;
    Bytes data;
};

Bytes Write(const std::vector<Item>& items, const RarWriterOptions& options)
{
    std::vector<RarWriterEntry> entries;
    for (const Item& i : items)
        entries.push_back({i.name.c_str(), i.data.data(), uint32_t(i.data.size())});
    Bytes archive;
    std::string error;
    EXPECT_TRUE(RarWriteArchive(entries.data(), entries.size(), options, &archive, &error))
        << error;
    return archive;
}

// Every entry must come back byte for byte, in any order of asking.
void ExpectAllBack(const Bytes& archive, const std::vector<Item>& items, const char* password,
                   const std::string& what)
{
    for (size_t k = items.size(); k-- > 0;)
    {
        uint8_t* data = nullptr;
        uint32_t size = 0;
        ASSERT_TRUE(RarExtractMemory(&data, &size, items[k].name.c_str(), archive.data(),
                                     archive.size(), password))
            << what << ": " << items[k].name;
        ASSERT_EQ(Bytes(data, data + size), items[k].data) << what << ": " << items[k].name;
        free(data);
    }
}

std::vector<Item> MixedItems()
{
    return {{"empty", {}},
            {"one", {42}},
            {"tsm\\text.txt", SourceText(200000)},
            {"tga\\rgb.raw", Image(300, 200, 3, 1)},
            {"tga\\rgba.raw", Image(128, 128, 4, 2)},
            {"random.bin", RandomBytes(70000, 3)},
            {"zeros.bin", Bytes(100000, 0)},
            {"tiny", {'a', 'b', 'a', 'b', 'a'}}};
}

} // namespace

TEST(ArchiveRoundTrip, EveryKindOfDataInEveryMode)
{
    std::vector<Item> items = MixedItems();
    for (bool solid : {false, true})
        for (const char* password : {(const char*)nullptr, "mirodune"})
            for (int audio : {-1, 0, 1, 2, 3, 4})
                for (bool store : {false, true})
                {
                    if (store && audio != -1)
                        continue;
                    RarWriterOptions o;
                    o.solid = solid;
                    o.password = password;
                    o.audio = audio;
                    o.store = store;
                    std::string what = std::string(solid ? "solid" : "plain") +
                                       (password ? " enciphered" : "") + " audio " +
                                       std::to_string(audio) + (store ? " stored" : "");
                    ExpectAllBack(Write(items, o), items, password, what);
                }
}

// The fast paths (lookup decoding, runs of steps with the state in locals,
// block copies, folded and sliced CRC) give exactly what the plain ones give.
TEST(ArchiveRoundTrip, FastPathsAgreeWithPlainDecoding)
{
    std::vector<Item> items = MixedItems();
    items.push_back({"long", SourceText(1300000)});
    for (bool solid : {false, true})
        for (int audio : {-1, 0, 3})
        {
            RarWriterOptions o;
            o.solid = solid;
            o.audio = audio;
            Bytes archive = Write(items, o);
            g_rarPlainDecoding = true;
            ExpectAllBack(archive, items, nullptr, "plain");
            g_rarPlainDecoding = false;
        }
    Bytes check = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(RarCrc32(0, check.data(), check.size()), 0xCBF43926u);
    // Every length around the 16- and 64-byte folds, from odd starts, and
    // a CRC carried from one piece into the next.
    Bytes random = RandomBytes(4096, 8);
    for (size_t n = 0; n < 300; ++n)
    {
        size_t start = n % 13;
        size_t size = n < 200 ? n : random.size() - 7 * n;
        uint32_t fast = RarCrc32(0, random.data() + start, size);
        uint32_t carried = RarCrc32(RarCrc32(0, random.data() + start, size / 3),
                                    random.data() + start + size / 3, size - size / 3);
        g_rarPlainDecoding = true;
        EXPECT_EQ(RarCrc32(0, random.data() + start, size), fast) << size;
        g_rarPlainDecoding = false;
        EXPECT_EQ(carried, fast) << size;
    }
}

// Several MiB, so the window wraps in the middle of matches and the output
// is flushed many times, across solid entries.
TEST(ArchiveRoundTrip, LargeEntriesWrapTheWindow)
{
    Bytes big = SourceText(2500000);
    Bytes mixed = RandomBytes(1500000, 9);
    Bytes text = SourceText(600000);
    for (size_t i = 0; i < mixed.size(); i += 3)
        mixed[i] = text[i % text.size()];
    std::vector<Item> items = {{"big", big}, {"mixed", mixed}, {"image", Image(1024, 700, 3, 5)}};
    for (bool solid : {false, true})
    {
        RarWriterOptions o;
        o.solid = solid;
        Bytes archive = Write(items, o);
        EXPECT_LT(archive.size(), big.size() / 4 + mixed.size() + 1400000);
        ExpectAllBack(archive, items, nullptr, solid ? "solid" : "plain");
    }
}

// Each password length from 1 to 255 gives its own key: the entries come
// back under it, and not under the same password one character shorter.
TEST(ArchiveRoundTrip, EveryPasswordLength)
{
    std::vector<Item> items = {{"packed", SourceText(300)}, {"stored", RandomBytes(21, 4)}};
    std::string password;
    for (int n = 1; n <= 255; ++n)
    {
        password += char(33 + (n * 37) % 90);
        RarWriterOptions o;
        o.password = password.c_str();
        Bytes archive = Write(items, o);
        ExpectAllBack(archive, items, password.c_str(), "length " + std::to_string(n));
        uint8_t* data = nullptr;
        uint32_t size = 0;
        std::string shorter = password.substr(0, n - 1);
        EXPECT_FALSE(RarExtractMemory(&data, &size, "packed", archive.data(), archive.size(),
                                      shorter.c_str()));
        EXPECT_EQ(RarLastStatus(), n == 1 ? RarStatus::NeedPassword : RarStatus::WrongPassword);
        EXPECT_EQ(data, nullptr);
        EXPECT_EQ(size, 0u);
    }
}

TEST(ArchiveRoundTrip, ImagesGoToAudioModeAndShrink)
{
    Bytes image = Image(512, 512, 3, 7);
    RarWriterOptions lzOnly;
    lzOnly.audio = 0;
    RarWriterOptions automatic;
    Bytes a = Write({{"i", image}}, lzOnly);
    Bytes b = Write({{"i", image}}, automatic);
    EXPECT_LT(b.size() * 10, a.size() * 9) << "audio mode should win clearly on pixels";
    ExpectAllBack(b, {{"i", image}}, nullptr, "auto");
}

// The packer uses every symbol kind on real text, switches tables as the
// statistics change and writes some of them as deltas, and picks three
// channels for RGB pixels and four for RGBA; what it writes comes back.
TEST(ArchiveRoundTrip, PackerUsesEveryKindOfSymbol)
{
    RarWriterOptions options;
    options.solid = true;
    RarPacker packer(options);
    Bytes text = SourceText(400000);
    Bytes rgb = Image(200, 200, 3, 3), rgba = Image(128, 128, 4, 4);
    Bytes a = packer.Pack(text.data(), uint32_t(text.size()), false, false);
    Bytes b = packer.Pack(rgb.data(), uint32_t(rgb.size()), true, false);
    Bytes c = packer.Pack(rgba.data(), uint32_t(rgba.size()), true, false);
    const RarPackerStats& s = packer.stats;
    EXPECT_GT(s.literals, 0u);
    EXPECT_GT(s.lastMatches, 0u);
    for (uint64_t r : s.repeats)
        EXPECT_GT(r, 0u);
    EXPECT_GT(s.shortMatches, 0u);
    EXPECT_GT(s.longMatches, 0u);
    EXPECT_GT(s.tableSets, 3u);
    EXPECT_GT(s.deltaTableSets, 0u);
    EXPECT_EQ(s.audioEntries[0], 1u);
    EXPECT_EQ(s.audioEntries[3], 1u);
    EXPECT_EQ(s.audioEntries[4], 1u);

    std::vector<Item> items = {{"t", text}, {"rgb", rgb}, {"rgba", rgba}};
    std::vector<RarFileBlock> blocks(3);
    Bytes archive;
    RarAppendMainHeader(&archive, 0x08);
    const Bytes* packed[] = {&a, &b, &c};
    for (int i = 0; i < 3; ++i)
    {
        blocks[i].name = items[i].name;
        blocks[i].flags = uint16_t(0x8000 | (i ? 0x10 : 0));
        blocks[i].unpackSize = uint32_t(items[i].data.size());
        blocks[i].fileCrc = RarCrc32(0, items[i].data.data(), items[i].data.size());
        blocks[i].packed = *packed[i];
        RarAppendFileBlock(&archive, blocks[i]);
    }
    ExpectAllBack(archive, items, nullptr, "packer");
}

TEST(ArchiveCipher, DecipherInvertsEncipherAndTheKeyMoves)
{
    for (const char* password : {"a", "0123456789abcdefg", "mirodune"})
    {
        RarCipher enc, dec;
        RarCipherSetPassword(&enc, password);
        RarCipherSetPassword(&dec, password);
        std::set<uint8_t> values(enc.cipherTable, enc.cipherTable + 256);
        EXPECT_EQ(values.size(), 256u) << "the table stays a permutation";

        Bytes plain = RandomBytes(16 * 8, 11);
        memset(plain.data(), 7, 32); // two identical blocks
        Bytes cipher = plain;
        for (size_t i = 0; i < cipher.size(); i += 16)
            RarCipherEncipher(&enc, cipher.data() + i);
        EXPECT_NE(memcmp(cipher.data(), cipher.data() + 16, 16), 0);
        for (size_t i = 0; i < cipher.size(); i += 16)
            RarCipherDecipher(&dec, cipher.data() + i);
        EXPECT_EQ(cipher, plain);

        // Identical cipher blocks decipher to different plain blocks.
        RarCipherSetPassword(&dec, password);
        uint8_t twice[32];
        for (int i = 0; i < 16; ++i)
            twice[i] = twice[i + 16] = uint8_t(i * 29 + 1);
        RarCipherDecipher(&dec, twice);
        RarCipherDecipher(&dec, twice + 16);
        EXPECT_NE(memcmp(twice, twice + 16, 16), 0);
    }
    // Different passwords, different tables.
    RarCipher a, b;
    RarCipherSetPassword(&a, "a");
    RarCipherSetPassword(&b, "b");
    EXPECT_NE(memcmp(a.cipherTable, b.cipherTable, 256), 0);
}

TEST(ArchiveFileBuffer, DiskPathsReadsAndArchive)
{
    std::string dir = TempDir();
    mkdir((dir + "/Tsm").c_str(), 0755);
    Bytes disk = {'d', 'i', 's', 'k', '!'};
    WriteFile(dir + "/Tsm/Avion.TSM", disk);
    WriteFile(dir + "/empty", {});
    Bytes packed = SourceText(5000);
    Bytes archive = Write({{"tsm\\avion.tsm", packed}}, RarWriterOptions());
    WriteFile(dir + "/data.rar", archive);
    ASSERT_EQ(chdir(dir.c_str()), 0);

    // The same name from the disk (through the caseless mapping) and from
    // the archive reads two different files.
    FileBuffer fromDisk;
    ASSERT_TRUE(fromDisk.Open("tsm\\avion.tsm", "", nullptr));
    EXPECT_EQ(Bytes(fromDisk.data, fromDisk.data + fromDisk.size), disk);
    FileBuffer fromArchive;
    ASSERT_TRUE(fromArchive.Open("TSM/Avion.tsm", "data.rar", ""));
    EXPECT_EQ(Bytes(fromArchive.data, fromArchive.data + fromArchive.size), packed);

    // Reads: past the end fails and moves nothing; the rest still reads.
    uint8_t four[4] = {};
    uint8_t* pointer = four;
    EXPECT_TRUE(fromDisk.Read(four, 2));
    EXPECT_FALSE(fromDisk.Read(four, 4));
    EXPECT_FALSE(fromDisk.ReadPointer(&pointer, 4));
    EXPECT_EQ(pointer, four);
    EXPECT_EQ(fromDisk.position, 2u);
    EXPECT_TRUE(fromDisk.ReadPointer(&pointer, 3));
    EXPECT_EQ(pointer, fromDisk.data + 2);
    pointer[0] = 'S'; // callers may write through it
    EXPECT_EQ(fromDisk.data[2], 'S');
    EXPECT_TRUE(fromDisk.Read(four, 0));
    EXPECT_FALSE(fromDisk.Read(four, 1));
    fromDisk.Close();
    EXPECT_EQ(fromDisk.data, nullptr);
    EXPECT_EQ(fromDisk.size + fromDisk.position, 0u);
    EXPECT_FALSE(fromDisk.loaded);

    FileBuffer empty;
    ASSERT_TRUE(empty.Open("empty", "", nullptr));
    EXPECT_EQ(empty.size, 0u);
    EXPECT_FALSE(empty.Read(four, 1));
    EXPECT_TRUE(empty.Read(four, 0));

    FileBuffer missing;
    EXPECT_FALSE(missing.Open("no\\such.file", "", nullptr));
    EXPECT_FALSE(missing.Open("no\\such.file", "data.rar", nullptr));
    EXPECT_EQ(RarLastStatus(), RarStatus::NoEntry);
    EXPECT_FALSE(missing.Open("tsm\\avion.tsm", "no.rar", nullptr));
    EXPECT_EQ(RarLastStatus(), RarStatus::NoArchive);
    missing.Close();
    missing.Close();
}

namespace
{

struct ToolRun
{
    int status;
    std::string err;
};

ToolRun Tool(const std::string& arguments)
{
    std::string tool =
        std::string(getenv("TESSIMO_BINARY_DIR") ? getenv("TESSIMO_BINARY_DIR") : ".") +
        "/tools/tessimo-rar/tessimo-rar";
    std::string errFile = TempDir() + "/stderr.txt";
    int raw = system((tool + " " + arguments + " 2>" + errFile).c_str());
    Bytes e = ReadFile(errFile);
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, std::string(e.begin(), e.end())};
}

} // namespace

TEST(ArchiveTool, CreateListExtractAndFailures)
{
    std::string d = TempDir();
    std::vector<Item> items = MixedItems();
    std::string args;
    for (size_t i = 0; i < items.size(); ++i)
    {
        std::string file = d + "/in" + std::to_string(i);
        WriteFile(file, items[i].data);
        args += " '" + file + "=" + items[i].name + "'";
    }
    for (std::string options : {"", "--solid --password secret", "--store --password s",
                                "--audio 3 --solid", "--audio off"})
    {
        std::string password = options.find("secret") != std::string::npos         ? "secret"
                               : options.find("--password s") != std::string::npos ? "s"
                                                                                   : "";
        ASSERT_EQ(Tool("create " + d + "/t.rar " + options + args).status, 0) << options;
        for (const Item& item : items)
        {
            std::string out = d + "/out";
            ToolRun r = Tool("extract " + d + "/t.rar '" + item.name + "' --output " + out +
                             (password.empty() ? "" : " --password " + password));
            ASSERT_EQ(r.status, 0) << options << " " << item.name << ": " << r.err;
            EXPECT_EQ(ReadFile(out), item.data) << options << " " << item.name;
        }
    }
    EXPECT_EQ(Tool("list " + d + "/t.rar > " + d + "/list.txt").status, 0);
    Bytes list = ReadFile(d + "/list.txt");
    EXPECT_NE(std::string(list.begin(), list.end()).find("tsm\\text.txt"), std::string::npos);

    // Failures: one line each, status 1.
    Bytes before = ReadFile(d + "/t.rar");
    ToolRun r = Tool("create " + d + "/t.rar " + d + "/missing-input");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(ReadFile(d + "/t.rar"), before) << "a failed create leaves the target alone";
    EXPECT_EQ(Tool("create /no/such/dir/x.rar " + d + "/in0").status, 1);
    r = Tool("extract " + d + "/none.rar x");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "tessimo-rar: no such archive: " + d + "/none.rar\n");
    EXPECT_EQ(Tool("extract " + d + "/t.rar nothing").err, "tessimo-rar: no such entry: nothing\n");
    EXPECT_EQ(Tool("extract " + d + "/in2 x").err,
              "tessimo-rar: not a RAR 2.0 archive: " + d + "/in2\n");
    ASSERT_EQ(Tool("create " + d + "/p.rar --password right " + d + "/in2=a").status, 0);
    EXPECT_EQ(Tool("extract " + d + "/p.rar a --password wrong").err,
              "tessimo-rar: wrong password or damaged data: a\n");
    EXPECT_EQ(Tool("extract " + d + "/p.rar a --output /no/such/dir/out --password right").status,
              1);
    // Usage errors: tests/tools_test.cpp.
    EXPECT_EQ(Tool("extract " + d + "/t.rar").status, 2);
}
