// Whole-file reads and writes, and a private working folder for the log.
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
    std::stringstream s;
    s << std::ifstream(path, std::ios::binary).rdbuf();
    return s.str();
}

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

// An always full device: a node dir/full of our own where we may make one
// (a tool wrongly renaming over it replaces only that), else "/dev/full".
inline std::string MakeFullDevice(const std::string& dir)
{
    std::string node = dir + "/full";
    if (mknod(node.c_str(), S_IFCHR | 0666, makedev(1, 7)) != 0)
        return "/dev/full";
    int fd = open(node.c_str(), O_WRONLY);
    bool full = fd >= 0 && write(fd, "x", 1) < 0 && errno == ENOSPC;
    close(fd);
    return full ? node : (unlink(node.c_str()), std::string("/dev/full"));
}

// A fresh folder under the build tree, entered while the object lives.
class TempDir
{
public:
    TempDir()
    {
        const char* base = getenv("TESSIMO_BINARY_DIR");
        std::filesystem::path parent = std::string(base ? base : "/tmp") + "/tests";
        std::filesystem::create_directories(parent, ec);
        std::string pattern = (parent / "tmpXXXXXX").string();
        previous = std::filesystem::current_path(ec);
        if (mkdtemp(pattern.data()) && chdir(pattern.c_str()) == 0)
            path = pattern;
    }
    ~TempDir()
    {
        std::filesystem::current_path(previous, ec);
        if (!path.empty())
            std::filesystem::remove_all(path, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string path; // empty when it could not be made
private:
    std::filesystem::path previous;
    std::error_code ec;
};

} // namespace testsupport
