// tessimo-rar: the command-line face of the archive library.
//
//   tessimo-rar list ARCHIVE
//   tessimo-rar extract ARCHIVE ENTRY [--password P] [--output FILE]
//   tessimo-rar create ARCHIVE [--password P] [--solid] [--store]
//                      [--audio auto|off|1-4] FILE[=NAME]...
//
// Exit status 0 on success, 1 on a failure, 2 on a usage error; every
// failure is one line on standard error. Outputs go through OutputFile
// (tools/common), so a failed run never leaves half a file where the
// target was, and an archive is never written over one of its inputs.

#include "archive/file_buffer.h"
#include "archive/rar.h"
#include "archive/rar_record.h"
#include "archive/rar_writer.h"
#include "tools/common/tool_cli.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

const toolcli::Tool kTool{
    "tessimo-rar",
    "usage: tessimo-rar list ARCHIVE | extract ARCHIVE ENTRY [--password P] [--output FILE] | "
    "create ARCHIVE [--password P] [--solid] [--store] [--audio auto|off|1-4] FILE[=NAME]...",
    "  list ARCHIVE       every entry: name, size, packed size, method, version, flags\n"
    "  extract ARCHIVE ENTRY\n"
    "                     one entry's bytes, to standard output or FILE\n"
    "  create ARCHIVE FILE[=NAME]...\n"
    "                     a RAR 2.0 archive of the FILEs, each stored as NAME (default:\n"
    "                     its path, without a leading / or drive)\n"
    "  --password P       the archive's password, at most 255 characters\n"
    "  --output FILE      where extract writes the entry (default: standard output)\n"
    "  --solid            one compression stream over all entries\n"
    "  --store            no compression\n"
    "  --audio MODE       audio compression: auto (where smaller), off, or 1 to 4 channels\n"};

const char kPasswordRange[] = "a password of at most 255 characters";
const char kNameRange[] = "an entry name of 1 to 259 characters";

bool ReadWholeFile(const char* path, std::vector<uint8_t>* out)
{
    FILE* file = fopen(path, "rb");
    if (!file)
        return false;
    uint8_t chunk[65536];
    size_t n;
    while ((n = fread(chunk, 1, sizeof(chunk), file)) > 0)
        out->insert(out->end(), chunk, chunk + n);
    bool ok = !ferror(file);
    fclose(file);
    return ok && out->size() <= 0xFFFFFFFFu;
}

void PrintEntry(const RarEntryInfo& e, void*)
{
    std::string flags;
    if (e.flags & 0x04)
        flags += " enciphered";
    if (e.flags & 0x10)
        flags += " solid";
    printf("%-40s %10u %10u %-6s v%u%s\n", e.name, e.unpackSize, e.packSize,
           e.method == 0x30 ? "stored" : "packed", e.unpackVersion, flags.c_str());
}

int List(int argc, char** argv)
{
    if (argc != 1)
        return kTool.UsageError("list takes one archive");
    if (access(argv[0], R_OK) != 0)
        return kTool.Fail(std::string("no such archive: ") + argv[0]);
    printf("%-40s %10s %10s %-6s %s\n", "name", "size", "packed", "method", "version, flags");
    if (!RarListEntries(argv[0], PrintEntry, nullptr))
        return kTool.Fail(std::string("not a RAR 2.0 archive: ") + argv[0]);
    return kTool.Finish();
}

// The reader's reason for a failed extraction, naming the archive where
// the fault lies in the archive as a whole, the entry otherwise.
std::string WhyExtractFailed(const char* archive, const char* entry)
{
    RarStatus status = RarLastStatus();
    bool aboutArchive = status == RarStatus::NoArchive || status == RarStatus::NotRar ||
                        status == RarStatus::BadBlockHeader || status == RarStatus::Truncated;
    return std::string(RarStatusText(status)) + ": " + (aboutArchive ? archive : entry);
}

// The value of the option at argv[*i], moving *i onto it; null when the
// option is the last argument.
const char* OptionValue(int argc, char** argv, int* i)
{
    return *i + 1 < argc ? argv[++*i] : nullptr;
}

int Extract(int argc, char** argv)
{
    std::vector<const char*> positional;
    const char* password = nullptr;
    const char* output = nullptr;
    for (int i = 0; i < argc; ++i)
    {
        std::string a = argv[i];
        if (a == "--password" || a == "--output")
        {
            const char* value = OptionValue(argc, argv, &i);
            if (!value)
                return kTool.MissingValue(a, a == "--output" ? "a file name" : kPasswordRange);
            (a == "--output" ? output : password) = value;
        }
        else if (a.rfind("--", 0) == 0)
            return kTool.UsageError("unknown option '" + a + "'");
        else
            positional.push_back(argv[i]);
    }
    if (positional.size() != 2)
        return kTool.UsageError("extract takes an archive and an entry name");
    if (strlen(positional[0]) > kRarNameMax)
        return kTool.BadValue("ARCHIVE", positional[0], "a name of at most 259 characters");
    if (strlen(positional[1]) > kRarNameMax)
        return kTool.BadValue("ENTRY", positional[1], kNameRange);
    if (password && strlen(password) > kRarPasswordMax)
        return kTool.BadValue("--password", password, kPasswordRange);

    // The target is checked before the archive is read: never the archive.
    toolcli::OutputFile out;
    std::string error;
    if (output && !out.Open(output, {positional[0]}, &error))
        return kTool.Fail(error);
    FileBuffer file;
    if (!file.Open(positional[1], positional[0], password))
        return kTool.Fail(WhyExtractFailed(positional[0], positional[1]));
    if (!output)
    {
        fwrite(file.data, 1, file.size, stdout);
        return kTool.Finish();
    }
    out.Write(file.data, file.size);
    return out.Commit(&error) ? 0 : kTool.Fail(error);
}

// The name an entry is stored under: '\' between folders, and no root or
// drive in front (a leading '/' or '\', "C:"), so that the name stays
// inside whatever folder it is unpacked into.
std::string StoredName(std::string name)
{
    for (char& c : name)
        if (c == '/')
            c = '\\';
    size_t start = 0;
    for (bool more = true; more;)
    {
        more = false;
        while (start < name.size() && name[start] == '\\')
            start = start + 1, more = true;
        bool letter = start < name.size() && isalpha(static_cast<unsigned char>(name[start]));
        if (letter && start + 1 < name.size() && name[start + 1] == ':')
            start += 2, more = true;
    }
    return name.substr(start);
}

struct CreateArguments
{
    RarWriterOptions options;
    const char* archive = nullptr;
    std::vector<std::string> files, names;
};

// Parses create's arguments; 0, or the usage status.
int ParseCreate(int argc, char** argv, CreateArguments* c)
{
    for (int i = 0; i < argc; ++i)
    {
        std::string a = argv[i];
        const char* value = nullptr;
        if (a == "--password" || a == "--audio")
        {
            if (!(value = OptionValue(argc, argv, &i)))
                return kTool.MissingValue(a,
                                          a == "--audio" ? "auto, off or 1 to 4" : kPasswordRange);
        }
        if (a == "--password")
            c->options.password = value;
        else if (a == "--solid")
            c->options.solid = true;
        else if (a == "--store")
            c->options.store = true;
        else if (a == "--audio")
        {
            std::string v = value;
            if (v == "auto")
                c->options.audio = -1;
            else if (v == "off")
                c->options.audio = 0;
            else if (v.size() == 1 && v[0] >= '1' && v[0] <= '4')
                c->options.audio = v[0] - '0';
            else
                return kTool.BadValue(a, v, "auto, off or 1 to 4");
        }
        else if (a.rfind("--", 0) == 0)
            return kTool.UsageError("unknown option '" + a + "'");
        else if (!c->archive)
            c->archive = argv[i];
        else
        {
            // FILE=NAME names the entry; without it the path is the name.
            size_t eq = a.find('=');
            c->files.push_back(eq == std::string::npos ? a : a.substr(0, eq));
            c->names.push_back(StoredName(eq == std::string::npos ? a : a.substr(eq + 1)));
            if (c->names.back().empty() || c->names.back().size() > kRarNameMax)
                return kTool.BadValue("FILE=NAME", a, kNameRange);
        }
    }
    if (!c->archive || c->files.empty())
        return kTool.UsageError("create takes an archive and at least one file");
    if (c->options.password && strlen(c->options.password) > kRarPasswordMax)
        return kTool.BadValue("--password", c->options.password, kPasswordRange);
    return 0;
}

// Two entries the reader can't tell apart (letter case, '\', '/' and '_'
// are alike to it): the second could never be extracted.
int RefuseDuplicates(const CreateArguments& c)
{
    for (size_t i = 0; i < c.names.size(); ++i)
        for (size_t j = 0; j < i; ++j)
            if (RarNamesMatch(c.names[i].c_str(), c.names[j].c_str()))
                return kTool.Fail("two entries named '" + c.names[j] + "' and '" + c.names[i] +
                                  "'");
    return 0;
}

int Create(int argc, char** argv)
{
    CreateArguments c;
    if (int status = ParseCreate(argc, argv, &c))
        return status;
    if (int status = RefuseDuplicates(c))
        return status;
    toolcli::OutputFile out;
    std::string error;
    if (!out.Open(c.archive, c.files, &error))
        return kTool.Fail(error);

    std::vector<std::vector<uint8_t>> contents(c.files.size());
    std::vector<RarWriterEntry> entries;
    for (size_t i = 0; i < c.files.size(); ++i)
    {
        if (!ReadWholeFile(c.files[i].c_str(), &contents[i]))
            return kTool.Fail("cannot read " + toolcli::Quoted(c.files[i]));
        entries.push_back({c.names[i].c_str(), contents[i].data(), uint32_t(contents[i].size())});
    }
    std::vector<uint8_t> bytes;
    if (!RarWriteArchive(entries.data(), entries.size(), c.options, &bytes, &error))
        return kTool.Fail(error);
    out.Write(bytes.data(), bytes.size());
    return out.Commit(&error) ? 0 : kTool.Fail(error);
}

} // namespace

int main(int argc, char** argv)
{
    if (toolcli::WantsHelp(argc, argv))
        return kTool.Help();
    if (argc < 2)
        return kTool.UsageError("no command");
    std::string command = argv[1];
    if (command == "list")
        return List(argc - 2, argv + 2);
    if (command == "extract")
        return Extract(argc - 2, argv + 2);
    if (command == "create")
        return Create(argc - 2, argv + 2);
    return kTool.BadValue("command", command, "list, extract or create");
}
