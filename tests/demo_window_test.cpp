// The real program in a window under Xvfb, read back from the screen: white
// paper at the edges, the airplane in many tones of ink in the middle, the
// overlay in the lower corners, a picture that moves with the light, the
// keypad's minus and plus lowering and raising the light, and Escape ending
// the run with status 0 and the log of a normal run.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <set>

#include "support/files.h"
#include "support/window_screen.h"

namespace
{

using testsupport::Picture;
using testsupport::ReadText;

const char* kTitle = "Tessimo 2 Engine";

// Pixels darker than half in a box: text or ink.
int DarkPixels(const Picture& p, int x0, int y0, int x1, int y1)
{
    int n = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x)
            n += p.At(x, y)[0] < 128 ? 1 : 0;
    return n;
}

// The mean level of the airplane's part of the window once `done` holds of
// it (or the wait has ended).
double AirplaneLevelOnceItIs(const std::function<bool(double)>& done)
{
    double level = -1;
    testsupport::WaitFor(
        [&]
        {
            level = testsupport::GrabWindow(kTitle).MeanLevel(200, 150, 600, 450);
            return done(level);
        },
        5);
    return level;
}

TEST(DemoWindow, TheAirplaneInInkMovesWithTheLightAndTheKeys)
{
    if (testsupport::Env("DISPLAY").empty())
        GTEST_SKIP() << "no X display";
    std::string dir = testsupport::MakeRunDir(true);
    ASSERT_FALSE(dir.empty());
    testsupport::ChildGuard program{testsupport::StartProgram(dir, "dummy")};
    ASSERT_GT(program.pid, 0);

    // Past start-up and the first second of statistics: paper along the top
    // edge, and the overlay shows the three rows of shares and the polygon
    // count at the lower left, the frame rate at the lower right, MPoly/s in
    // between.
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
    ASSERT_EQ(first.width, 800);
    ASSERT_EQ(first.height, 600);
    std::set<int> tones;
    for (int y = 150; y < 450; ++y)
        for (int x = 200; x < 600; ++x)
            tones.insert(first.At(x, y)[0] / 8);
    EXPECT_GE(tones.size(), 24u) << "the airplane in many tones of ink";
    EXPECT_TRUE(
        testsupport::WaitFor([&] { return testsupport::GrabWindow(kTitle).rgb != first.rgb; }, 10))
        << "the light circles";

    // Keypad minus for two seconds takes the light far below the airplane:
    // the surfaces the camera sees from above turn away from it and darken.
    // Plus for as long brings it back.
    double before = first.MeanLevel(200, 150, 600, 450);
    ASSERT_EQ(testsupport::SendKeys(kTitle, "keydown KP_Subtract sleep 2 keyup KP_Subtract"), 0);
    double lowered = AirplaneLevelOnceItIs([&](double level) { return level < before - 8; });
    EXPECT_LT(lowered, before - 8) << before << " -> " << lowered;
    ASSERT_EQ(testsupport::SendKeys(kTitle, "keydown KP_Add sleep 2 keyup KP_Add"), 0);
    double raised = AirplaneLevelOnceItIs([&](double level) { return level > lowered + 8; });
    EXPECT_GT(raised, lowered + 8) << lowered << " -> " << raised;

    // The program ends while the key is down, with the log of a normal run
    // and Hatching's and Outline's vertex programs deleted.
    testsupport::SendKeys(kTitle, "keydown Escape sleep 0.2 keyup Escape");
    EXPECT_EQ(testsupport::WaitExit(program.pid, 30), 0);
    program.pid = -1;
    std::string log = ReadText(dir + "/tessimo2.log");
    EXPECT_EQ(log.find("##"), std::string::npos) << log;
    EXPECT_NE(log.find("- shutting down at"), std::string::npos) << log;
    EXPECT_NE(ReadText(dir + "/console.log").find("> 2 vertex program have been deleted"),
              std::string::npos);
    std::error_code ec;
    if (!HasFailure())
        std::filesystem::remove_all(dir, ec);
}

} // namespace
