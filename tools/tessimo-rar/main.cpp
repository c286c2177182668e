// tessimo-rar: the command-line face of the archive library.
//
//   tessimo-rar list ARCHIVE
//   tessimo-rar extract ARCHIVE ENTRY [--password P] [--output FILE]
//   tessimo-rar create ARCHIVE [--password P] [--solid] [--store]
//                      [--audio auto|off|1-4] FILE[=NAME]...
//
// Exit status 0 on success, 1 on a failure, 2 on a usage error; every
// failure is one line on standard error. Files are written to a temporary
// name beside the target and renamed into place, so a failed run never
// leaves half a file where the target was.

#include "archive/file_buffer.h"
#include "archive/rar.h"
#include "archive/rar_writer.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace
{

const char kUsage[] =
    "usage: tessimo-rar list ARCHIVE | extract ARCHIVE ENTRY [--password P] [--output FILE] | "
    "create ARCHIVE [--password P] [--solid] [--store] [--audio auto|off|1-4] FILE[=NAME]...";

int Fail(int status, const std::string& message)
{
    fprintf(stderr, "tessimo-rar: %s\n", message.c_str());
    return status;
}

int Usage(const std::string& message)
{
    return Fail(2, message + "; " + kUsage);
}

// Writes `size` bytes to `path` through a temporary file in the same folder.
bool WriteAtomically(const std::string& path, const uint8_t* data, size_t size, std::string* error)
{
    std::string temp = path + ".tmp-XXXXXX";
    std::vector<char> name(temp.begin(), temp.end());
    name.push_back(0);
    int fd = mkstemp(name.data());
    if (fd < 0)
    {
        *error = "cannot write " + path + ": " + strerror(errno);
        return false;
    }
    // mkstemp makes the file private; the result gets the usual mode.
    mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    FILE* file = fdopen(fd, "wb");
    bool ok = file && fwrite(data, 1, size, file) == size;
    ok = (file ? fclose(file) == 0 : close(fd) == 0) && ok;
    if (ok && rename(name.data(), path.c_str()) != 0)
        ok = false;
    if (!ok)
    {
        *error = "cannot write " + path + ": " + strerror(errno);
        unlink(name.data());
    }
    return ok;
}

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
        return Usage("list takes one archive");
    if (access(argv[0], R_OK) != 0)
        return Fail(1, std::string("no such archive: ") + argv[0]);
    printf("%-40s %10s %10s %-6s %s\n", "name", "size", "packed", "method", "version, flags");
    if (!RarListEntries(argv[0], PrintEntry, nullptr))
        return Fail(1, std::string("not a RAR 2.0 archive: ") + argv[0]);
    return 0;
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

int Extract(int argc, char** argv)
{
    std::vector<const char*> positional;
    const char* password = nullptr;
    const char* output = nullptr;
    for (int i = 0; i < argc; ++i)
    {
        std::string a = argv[i];
        if ((a == "--password" || a == "--output") && i + 1 < argc)
            (a == "--password" ? password : output) = argv[++i];
        else if (a.rfind("--", 0) == 0)
            return Usage("unknown or incomplete option: " + a);
        else
            positional.push_back(argv[i]);
    }
    if (positional.size() != 2)
        return Usage("extract takes an archive and an entry name");
    if (strlen(positional[0]) > 259 || strlen(positional[1]) > 259)
        return Usage("archive and entry names have at most 259 characters");
    if (password && strlen(password) > 255)
        return Usage("passwords have at most 255 characters");

    FileBuffer file;
    if (!file.Open(positional[1], positional[0], password))
        return Fail(1, WhyExtractFailed(positional[0], positional[1]));
    std::string error;
    if (output)
    {
        if (!WriteAtomically(output, file.data, file.size, &error))
            return Fail(1, error);
    }
    else if (fwrite(file.data, 1, file.size, stdout) != file.size || fflush(stdout) != 0)
        return Fail(1, "cannot write to standard output");
    return 0;
}

int Create(int argc, char** argv)
{
    RarWriterOptions options;
    const char* archive = nullptr;
    std::vector<std::string> files, names;
    for (int i = 0; i < argc; ++i)
    {
        std::string a = argv[i];
        if (a == "--password" && i + 1 < argc)
            options.password = argv[++i];
        else if (a == "--solid")
            options.solid = true;
        else if (a == "--store")
            options.store = true;
        else if (a == "--audio" && i + 1 < argc)
        {
            std::string v = argv[++i];
            if (v == "auto")
                options.audio = -1;
            else if (v == "off")
                options.audio = 0;
            else if (v.size() == 1 && v[0] >= '1' && v[0] <= '4')
                options.audio = v[0] - '0';
            else
                return Usage("--audio takes auto, off or 1 to 4");
        }
        else if (a.rfind("--", 0) == 0)
            return Usage("unknown or incomplete option: " + a);
        else if (!archive)
            archive = argv[i];
        else
        {
            // FILE=NAME names the entry; without it the path is the name.
            size_t eq = a.find('=');
            files.push_back(eq == std::string::npos ? a : a.substr(0, eq));
            names.push_back(eq == std::string::npos ? a : a.substr(eq + 1));
            for (char& c : names.back())
                if (c == '/')
                    c = '\\';
        }
    }
    if (!archive || files.empty())
        return Usage("create takes an archive and at least one file");
    if (options.password && strlen(options.password) > 255)
        return Usage("passwords have at most 255 characters");
    for (const std::string& n : names)
        if (n.empty() || n.size() > 259)
            return Usage("entry names have 1 to 259 characters: \"" + n + "\"");

    std::vector<std::vector<uint8_t>> contents(files.size());
    std::vector<RarWriterEntry> entries;
    for (size_t i = 0; i < files.size(); ++i)
    {
        if (!ReadWholeFile(files[i].c_str(), &contents[i]))
            return Fail(1, "cannot read " + files[i]);
        entries.push_back({names[i].c_str(), contents[i].data(), uint32_t(contents[i].size())});
    }
    std::vector<uint8_t> bytes;
    std::string error;
    if (!RarWriteArchive(entries.data(), entries.size(), options, &bytes, &error))
        return Fail(1, error);
    if (!WriteAtomically(archive, bytes.data(), bytes.size(), &error))
        return Fail(1, error);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return Usage("no command");
    std::string command = argv[1];
    if (command == "list")
        return List(argc - 2, argv + 2);
    if (command == "extract")
        return Extract(argc - 2, argv + 2);
    if (command == "create")
        return Create(argc - 2, argv + 2);
    return Usage("unknown command: " + command);
}
