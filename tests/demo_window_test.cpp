// The real program under Xvfb, read back from the screen: paper, the airplane
// in tones of ink, the overlay, the light moved by the keypad; Escape ends.
#include <gtest/gtest.h>

#include <set>
#include <utility>

#include "support/files.h"
#include "support/window_screen.h"

namespace
{

using namespace testsupport;

const char* kTitle = "Tessimo 2 Engine";

// Pixels darker than half in a box: text or ink.
int DarkPixels(const Picture& p, int x0, int y0, int x1, int y1)
{
    int n = 0;
    for (int i = 0; i < (x1 - x0) * (y1 - y0); ++i)
        n += p.At(x0 + i % (x1 - x0), y0 + i / (x1 - x0))[0] < 128;
    return n;
}

using DemoWindow = testsupport::RunDirTest;

TEST_F(DemoWindow, TheAirplaneInInkMovesWithTheLightAndTheKeys)
{
    if (testsupport::Env("DISPLAY").empty())
        GTEST_SKIP() << "no X display";
    std::string dir = RunDir();
    testsupport::ChildGuard program{testsupport::StartProgram(dir, "dummy")};

    // Past start-up and the first second of statistics: paper along the top;
    // shares and polygons lower left, frame rate lower right, MPoly/s between.
    Picture first;
    EXPECT_TRUE(testsupport::WaitFor(
        [&]
        {
            first = testsupport::GrabWindow(kTitle);
            return first.width == 800 && first.height == 600 &&
                   first.MeanLevel(0, 0, 800, 8) == 255.0 &&
                   DarkPixels(first, 0, 528, 120, 600) > 100 &&
                   DarkPixels(first, 730, 576, 800, 600) > 20 &&
                   DarkPixels(first, 325, 581, 420, 600) > 20;
        },
        30));
    ASSERT_EQ(first.width * 1000 + first.height, 800600);
    std::set<int> tones;
    for (int y = 150; y < 450; ++y)
        for (int x = 200; x < 600; ++x)
            tones.insert(first.At(x, y)[0] / 8);
    EXPECT_GE(tones.size(), 24u) << "the airplane in many tones of ink";
    EXPECT_TRUE(
        testsupport::WaitFor([&] { return testsupport::GrabWindow(kTitle).rgb != first.rgb; }, 10))
        << "the light circles";

    // Keypad minus for two seconds takes the light below the airplane: what
    // the camera sees from above darkens. Plus for as long brings it back.
    auto level = [] { return testsupport::GrabWindow(kTitle).MeanLevel(200, 150, 600, 450); };
    double before = first.MeanLevel(200, 150, 600, 450), lowered = before, raised = before;
    ASSERT_EQ(testsupport::SendKeys(kTitle, "keydown KP_Subtract sleep 2 keyup KP_Subtract"), 0);
    EXPECT_TRUE(testsupport::WaitFor([&] { return (lowered = level()) < before - 8; }, 5))
        << before << " -> " << lowered;
    ASSERT_EQ(testsupport::SendKeys(kTitle, "keydown KP_Add sleep 2 keyup KP_Add"), 0);
    EXPECT_TRUE(testsupport::WaitFor([&] { return (raised = level()) > lowered + 8; }, 5))
        << lowered << " -> " << raised;

    // The program ends while the key is down, with the log of a normal run
    // and Hatching's and Outline's vertex programs deleted.
    testsupport::SendKeys(kTitle, "keydown Escape sleep 0.2 keyup Escape");
    EXPECT_EQ(testsupport::WaitExit(std::exchange(program.pid, -1), 30), 0);
    std::string log = ReadText(dir + "/tessimo2.log");
    EXPECT_EQ(log.find("##"), std::string::npos) << log;
    EXPECT_NE(log.find("- shutting down at"), std::string::npos) << log;
    EXPECT_NE(ReadText(dir + "/console.log").find("> 2 vertex program have been deleted"),
              std::string::npos);
}

} // namespace
