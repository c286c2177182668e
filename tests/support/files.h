// Files for the suites: whole-file reads and writes, and a private working
// folder (the log is written to the current directory).
#pragma once

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <vector>

namespace testsupport
{

inline std::string ReadText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The lines of a text, without their line feeds.
inline std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::stringstream s(text);
    for (std::string line; std::getline(s, line);)
        lines.push_back(line);
    return lines;
}

inline void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// A device that is always full, as dir/full: a node of our own where the
// system lets us make one, so that a tool that wrongly replaced its output
// by renaming would replace only that; "/dev/full" otherwise.
inline std::string MakeFullDevice(const std::string& dir)
{
    std::string node = dir + "/full";
    if (mknod(node.c_str(), S_IFCHR | 0666, makedev(1, 7)) == 0)
    {
        int fd = open(node.c_str(), O_WRONLY);
        bool full = fd >= 0 && write(fd, "x", 1) < 0 && errno == ENOSPC;
        if (fd >= 0)
            close(fd);
        if (full)
            return node;
        unlink(node.c_str());
    }
    return "/dev/full";
}

// A fresh folder under the build tree, entered for the life of the object
// and removed afterwards, so suites that run at the same time do not share
// a log.
class TempDir
{
public:
    TempDir()
    {
        const char* base = getenv("TESSIMO_BINARY_DIR");
        std::filesystem::path parent = std::string(base ? base : "/tmp") + "/tests";
        std::error_code ec;
        std::filesystem::create_directories(parent, ec);
        std::string pattern = (parent / "tmpXXXXXX").string();
        std::vector<char> buf(pattern.begin(), pattern.end());
        buf.push_back(0);
        previous = std::filesystem::current_path(ec);
        if (mkdtemp(buf.data()) && chdir(buf.data()) == 0)
            path = buf.data();
    }
    ~TempDir()
    {
        std::error_code ec;
        std::filesystem::current_path(previous, ec);
        if (!path.empty())
            std::filesystem::remove_all(path, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string path; // empty when it could not be made
private:
    std::filesystem::path previous;
};

} // namespace testsupport
