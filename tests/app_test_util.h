// Helpers for the platform and application suites: a private working
// folder (the log is written to the current directory), file reads, and a
// message box recorder.
#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "platform/message_box.h"

namespace apptest
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

// Makes a fresh folder under the build tree and enters it, so suites that
// run at the same time do not share a log.
inline std::string EnterTempDir()
{
    const char* base = getenv("TESSIMO_BINARY_DIR");
    std::string dir = std::string(base ? base : "/tmp") + "/tests/appXXXXXX";
    std::vector<char> buf(dir.begin(), dir.end());
    buf.push_back(0);
    std::string parent = std::string(base ? base : "/tmp") + "/tests";
    std::string mk = "mkdir -p '" + parent + "'";
    if (system(mk.c_str()) != 0 || !mkdtemp(buf.data()) || chdir(buf.data()) != 0)
        return "";
    return buf.data();
}

struct Box
{
    std::string text, caption;
    unsigned style;
};

// Records each box and answers questions with `answer`.
struct BoxRecorder
{
    BoxRecorder() { SetMessageBoxHook(&BoxRecorder::Record, this); }
    ~BoxRecorder() { SetMessageBoxHook(nullptr, nullptr); }

    static int Record(const char* text, const char* caption, unsigned style, void* user)
    {
        auto* self = static_cast<BoxRecorder*>(user);
        self->boxes.push_back({text, caption, style});
        if ((style & 0xF) == MB_YESNO)
            return self->answer;
        return IDOK;
    }

    std::vector<Box> boxes;
    int answer = IDYES;
};

} // namespace apptest
