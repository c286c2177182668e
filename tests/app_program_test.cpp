// The real program on SDL's offscreen driver: no display, no sound card.
// A run ended by SIGTERM, a run whose sound start-up fails (the quit
// message is waiting before the first frame), and a refused window; each
// leaves its log and exit status.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <regex>
#include <string>
#include <sys/stat.h>
#include <thread>

#include "app/log.h"
#include "support/files.h"
#include "support/process.h"

namespace
{

using testsupport::Env;
using testsupport::ReadText;
using testsupport::StartProgram;
using testsupport::WaitExit;
using testsupport::WriteText;

bool WaitForText(const std::string& text, double seconds)
{
    return testsupport::WaitFor(
        [&] { return ReadText(TESSIMO_LOG_FILE).find(text) != std::string::npos; }, seconds);
}

// The run folder: these settings, the built token table and data.
void WriteSettings(const std::string& text)
{
    mkdir("ini", 0755);
    WriteText("ini/tessimo2.ini", text);
    std::string tokens = Env("TESSIMO_SOURCE_DIR") + "/data/ini/tokens.ini";
    WriteText("ini/tokens.ini", ReadText(tokens));
    // The materials, so that the demo finds all it needs and logs nothing
    // about missing data.
    std::string shaders = Env("TESSIMO_SOURCE_DIR") + "/data/ini/Shaders.ini";
    WriteText("ini/Shaders.ini", ReadText(shaders));
    // The data the demo loads, where the build has packed it.
    std::string data = ReadText(Env("TESSIMO_RUN_DIR") + "/data.rar");
    if (!data.empty())
        WriteText("data.rar", data);
}

const char* const kSoundOk = R"(- initializing fmod
    \+ init output ok!
    \+ init driver .* ok!
    \+ init mixer ok!
    \+ init fsound with 32 channels at 44100 hz  ok!
)";

class Program : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_FALSE(temp.path.empty()); }
    testsupport::TempDir temp;
};

TEST_F(Program, TerminatedRunEndsTheOrderlyWay)
{
    WriteSettings("[3D engine]\nwindow_width=320\nwindow_height=200\n"
                  "[Sound]\noutput=FSOUND_OUTPUT_NOSOUND\n");
    pid_t pid = StartProgram("", "no-such-driver"); // "no sound" needs none
    ASSERT_TRUE(WaitForText("- initializing fmod", 30));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    kill(pid, SIGTERM);
    EXPECT_EQ(WaitExit(pid, 120), 0);
    std::string log = ReadText(TESSIMO_LOG_FILE);
    EXPECT_TRUE(std::regex_search(log, std::regex(kSoundOk))) << log;
    // However far loading had come, the close waits for the loop.
    EXPECT_TRUE(std::regex_search(log, std::regex(R"(ok!\n- tessimo has drawn \d+ frames)")))
        << log;
    EXPECT_TRUE(std::regex_search(log, std::regex(R"(- shutting down at \d+h \d+m \d+s\n$)")));
}

TEST_F(Program, FailedSoundStillLoadsThenQuitsBeforeTheFirstFrame)
{
    // The default output opens SDL's default driver, here one that does not
    // exist: the driver stage fails, Init runs, and no frame is drawn.
    WriteSettings("[3D engine]\nwindow_width=320\nwindow_height=200\n");
    pid_t pid = StartProgram("", "no-such-driver");
    EXPECT_EQ(WaitExit(pid, 120), 0);
    std::string log = ReadText(TESSIMO_LOG_FILE);
    size_t sound = log.find("- initializing fmod\n    + init output Direct Sound ok!\n    + init "
                            "driver  failed!\n");
    EXPECT_NE(sound, std::string::npos) << log;
    EXPECT_NE(log.find("- tessimo has drawn 0 frames", sound), std::string::npos) << log;
}

TEST_F(Program, FullscreenWithoutTheModeFallsBackAndRefusedWindowExitsWithOne)
{
    // No display mode of that size: the question takes its headless answer.
    WriteSettings("[3D engine]\nfullscreen=tRUE\nwindow_width=333\nwindow_height=222\n"
                  "[Sound]\noutput=FSOUND_OUTPUT_NOSOUND\n");
    pid_t pid = StartProgram("", "dummy");
    ASSERT_TRUE(WaitForText("- initializing fmod", 30));
    kill(pid, SIGINT);
    EXPECT_EQ(WaitExit(pid, 120), 0);
    std::string log = ReadText(TESSIMO_LOG_FILE);
    EXPECT_NE(
        log.find("- trying to create fullscreen application <Tessimo 2 Engine> in 333x222@16"),
        std::string::npos)
        << log;
    EXPECT_NE(log.find("- that's running!"), std::string::npos);

    // A window too wide for the driver and one of no width: Create fails,
    // and its own Destroy, the entry's and ExitCleanup's each close the log
    // with the true time of the run, which never saw a window.
    for (const char* width : {"100000", "0"})
    {
        SCOPED_TRACE(width);
        WriteSettings("[3D engine]\nwindow_width=" + std::string(width) + "\n");
        pid = StartProgram("", "dummy");
        EXPECT_EQ(WaitExit(pid, 30), 1);
        log = ReadText(TESSIMO_LOG_FILE);
        const std::string closing = R"(- tessimo has drawn 0 frames in [0-9] seconds, )"
                                    R"(average FPS : (-?nan|0\.000000)\n)"
                                    R"(- shutting down at \d+h \d+m \d+s\n)";
        EXPECT_TRUE(std::regex_match(
            log, std::regex(R"(TESSIMO 2 engine log file\n)"
                            R"(log created the \d+/\d+/\d+ at \d+h \d+m \d+s\n\n)"
                            R"(- trying to create windowed application <Tessimo 2 Engine> in )" +
                            std::string(width) +
                            R"(x600@16 with a 0 bit\(s\) stencil buffer and a 16 bits z-buffer\n)" +
                            closing + closing + closing)))
            << log;
    }
}

} // namespace
