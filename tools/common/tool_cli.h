// What every command-line tool here does the same way, in one place.
//
//   - `--help` or `-h`: the usage line and the options on standard output,
//     status 0;
//   - a bad argument: one line naming the option, the value and what it
//     takes, then the usage line, on standard error, status 2;
//   - a failed run: one line on standard error, status 1;
//   - output files that are never left half written, never replace a file
//     the run reads, and never turn a device, a pipe or a symbolic link
//     into a plain file.
//
//     const toolcli::Tool tool{"tessimo-foo", "usage: tessimo-foo [--size N] OUTPUT",
//                              "  --size N  the side, 1 to 64 (default 8)\n"};
//     if (toolcli::WantsHelp(argc, argv))
//         return tool.Help();
//     long size = 8;
//     if (!toolcli::ParseInteger(text, 1, 64, &size))
//         return tool.BadValue("--size", text, "1 to 64");
//     std::string error;
//     if (!toolcli::WriteOutput(path, bytes.data(), bytes.size(), {input}, &error))
//         return tool.Fail(error);
//     return tool.Finish(); // standard output written out, or status 1
//
// Header only, libc only: each tool includes it and links nothing more.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace toolcli
{

struct Tool
{
    const char* name;    // "tessimo-foo"
    const char* usage;   // one line: "usage: tessimo-foo ..."
    const char* options; // what --help adds below the usage line, "" for nothing

    // The usage line and the options, on standard output.
    int Help() const
    {
        printf("%s\n%s", usage, options);
        return Finish();
    }
    // "NAME: OPTION VALUE: expected EXPECTED", then the usage line.
    int BadValue(const std::string& option, const std::string& value,
                 const std::string& expected) const
    {
        return UsageError(option + " " + value + ": expected " + expected);
    }
    // An option given last, without its value.
    int MissingValue(const std::string& option, const std::string& expected) const
    {
        return UsageError(option + " needs a value: " + expected);
    }
    int UsageError(const std::string& problem) const
    {
        fprintf(stderr, "%s: %s\n%s\n", name, problem.c_str(), usage);
        return 2;
    }
    int Fail(const std::string& problem) const
    {
        fprintf(stderr, "%s: %s\n", name, problem.c_str());
        return 1;
    }
    // The end of a run that wrote to standard output: a write that failed
    // there (a full disk, a closed pipe) fails the run.
    int Finish() const
    {
        if (fflush(stdout) != 0 || ferror(stdout))
            return Fail(std::string("cannot write standard output: ") + strerror(errno));
        return 0;
    }
};

inline bool WantsHelp(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (strcmp(argv[i], "--help") == 0 || strcmp(argv[i], "-h") == 0)
            return true;
    return false;
}

// A whole decimal number from `low` to `high`, nothing after it.
inline bool ParseInteger(const char* text, long low, long high, long* out)
{
    char* end = nullptr;
    errno = 0;
    long v = strtol(text, &end, 10);
    if (errno || end == text || *end || v < low || v > high)
        return false;
    *out = v;
    return true;
}

inline std::string Quoted(const std::string& path)
{
    return "'" + path + "'";
}

inline std::string CannotWrite(const std::string& path, int error)
{
    return "cannot write " + Quoted(path) + ": " + strerror(error);
}

// The descriptor that names like /dev/stdout and /proc/self/fd/1 stand
// for, or -1. Writing to it keeps the position and mode the caller's shell
// gave it, which reopening the name would not.
inline int NamedDescriptor(const std::string& path)
{
    if (path == "/dev/stdout")
        return 1;
    if (path == "/dev/stderr")
        return 2;
    for (const char* prefix : {"/dev/fd/", "/proc/self/fd/"})
    {
        size_t n = strlen(prefix);
        long fd = -1;
        if (path.compare(0, n, prefix) == 0 && ParseInteger(path.c_str() + n, 0, 1 << 20, &fd))
            return static_cast<int>(fd);
    }
    return -1;
}

// The place a path's chain of symbolic links ends at (the path itself when
// it is no link), which need not exist yet. Stops at a name that stands for
// an open descriptor or lies in /proc, whose links are no paths.
inline bool FollowLinks(const std::string& path, std::string* target, int* error)
{
    std::string p = path;
    for (int hops = 0; hops < 40; ++hops)
    {
        struct stat st;
        if (NamedDescriptor(p) >= 0 || p.compare(0, 6, "/proc/") == 0 ||
            lstat(p.c_str(), &st) != 0 || !S_ISLNK(st.st_mode))
        {
            *target = p;
            return true;
        }
        std::vector<char> link(static_cast<size_t>(st.st_size > 0 ? st.st_size : 255) + 1);
        ssize_t n = readlink(p.c_str(), link.data(), link.size());
        if (n < 0 || static_cast<size_t>(n) >= link.size())
        {
            *error = n < 0 ? errno : ENAMETOOLONG;
            return false;
        }
        std::string next(link.data(), static_cast<size_t>(n));
        size_t slash = p.rfind('/');
        if (next[0] != '/' && slash != std::string::npos)
            next = p.substr(0, slash + 1) + next;
        p = next;
    }
    *error = ELOOP;
    return false;
}

// One output file. A regular file or a new path is written to a temporary
// file in the same folder and renamed into place by Commit, so the target
// holds either its old bytes or all the new ones; a symbolic link keeps
// pointing where it did and its target gets the bytes. Anything else (a
// device, a pipe, standard output) is written in place, every write and
// the close checked. A folder, or a file the run reads (the same device and
// inode, whatever the name), is refused.
class OutputFile
{
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile() { Abandon(); }

    // `inputs` are the files the run reads.
    bool Open(const std::string& path, const std::vector<std::string>& inputs, std::string* error)
    {
        name = path;
        int why = 0;
        if (path.empty())
            return Refuse("no output named", error);
        if (!FollowLinks(path, &target, &why))
            return Refuse(CannotWrite(path, why), error);
        struct stat st;
        bool exists = stat(target.c_str(), &st) == 0;
        int statError = exists ? 0 : errno;
        if (exists && IsInput(st, inputs))
            return Refuse("will not write " + Quoted(path) + ": it is also an input", error);
        if (exists && S_ISDIR(st.st_mode))
            return Refuse(CannotWrite(path, EISDIR), error);
        int fd = NamedDescriptor(target);
        if (fd >= 0)
            fd = dup(fd);
        else if (exists && (!S_ISREG(st.st_mode) || target.compare(0, 6, "/proc/") == 0))
            fd = open(target.c_str(), O_WRONLY | O_CLOEXEC);
        else if (!exists && statError != ENOENT)
            return Refuse(CannotWrite(path, statError), error);
        else
            fd = MakeTemporary(exists ? st.st_mode & 07777 : 0);
        if (fd < 0)
            return Refuse(CannotWrite(path, errno), error);
        stream = fdopen(fd, "wb");
        if (!stream)
        {
            why = errno;
            close(fd);
            Abandon();
            return Refuse(CannotWrite(path, why), error);
        }
        return true;
    }

    FILE* Stream() const { return stream; }

    bool Write(const void* data, size_t size)
    {
        return stream && (size == 0 || fwrite(data, 1, size, stream) == size);
    }

    // Everything written out and, for a temporary file, renamed into
    // place. On failure nothing of this run stays behind.
    bool Commit(std::string* error)
    {
        if (!stream)
            return Refuse(CannotWrite(name, EBADF), error);
        bool ok = fflush(stream) == 0 && !ferror(stream);
        int why = errno;
        if (fclose(stream) != 0 && ok)
        {
            ok = false;
            why = errno;
        }
        stream = nullptr;
        if (ok && !temporary.empty() && rename(temporary.c_str(), target.c_str()) != 0)
        {
            ok = false;
            why = errno;
        }
        if (ok)
            temporary.clear();
        Abandon();
        if (!ok)
            *error = CannotWrite(name, why ? why : EIO);
        return ok;
    }

    // Drops what was written to the temporary file.
    void Abandon()
    {
        if (stream)
            fclose(stream);
        stream = nullptr;
        if (!temporary.empty())
            unlink(temporary.c_str());
        temporary.clear();
    }

private:
    static bool IsInput(const struct stat& st, const std::vector<std::string>& inputs)
    {
        for (const std::string& input : inputs)
        {
            struct stat in;
            if (stat(input.c_str(), &in) == 0 && in.st_dev == st.st_dev && in.st_ino == st.st_ino)
                return true;
        }
        return false;
    }

    // A private file beside the target; it gets the mode of the file it
    // replaces, or the usual one of a new file.
    int MakeTemporary(mode_t mode)
    {
        size_t slash = target.rfind('/');
        std::string folder = slash == std::string::npos ? "" : target.substr(0, slash + 1);
        std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
        std::string pattern = folder + "." + base + ".XXXXXX";
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back(0);
        int fd = mkstemp(buffer.data());
        if (fd < 0)
            return -1;
        temporary = buffer.data();
        if (!mode)
        {
            mode_t mask = umask(0);
            umask(mask);
            mode = 0666 & ~mask;
        }
        fchmod(fd, mode);
        return fd;
    }

    bool Refuse(const std::string& why, std::string* error)
    {
        *error = why;
        return false;
    }

    std::string name;      // as given
    std::string target;    // where the links lead
    std::string temporary; // the file Commit renames, while there is one
    FILE* stream = nullptr;
};

// The whole of an output in one call.
inline bool WriteOutput(const std::string& path, const void* data, size_t size,
                        const std::vector<std::string>& inputs, std::string* error)
{
    OutputFile out;
    if (!out.Open(path, inputs, error))
        return false;
    if (!out.Write(data, size))
    {
        int why = errno;
        out.Abandon();
        *error = CannotWrite(path, why ? why : EIO);
        return false;
    }
    return out.Commit(error);
}

} // namespace toolcli
