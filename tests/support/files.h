// Files for the suites: whole-file reads and writes, and a private working
// folder (the log is written to the current directory).
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
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

inline void WriteText(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
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
