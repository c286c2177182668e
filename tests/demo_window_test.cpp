// The real program in a window under Xvfb, read back from the screen: white
// paper at the edges, the airplane in many tones of ink in the middle, the
// overlay in the lower corners, a picture that moves with the light, the
// keypad's minus and plus lowering and raising the light, and Escape ending
// the run with status 0 and the log of a normal run.
#include <gtest/gtest.h>

#include <X11/Xutil.h>

#include <filesystem>
#include <set>

#include "support/files.h"
#include "support/picture.h"

namespace
{

using testsupport::Env;
using testsupport::Picture;
using testsupport::ReadText;

const char* kTitle = "Tessimo 2 Engine";

// The program's window as the screen shows it: the root window cut to the
// window's place (found anew each time).
Picture Grab()
{
    Picture picture;
    Display* dpy = XOpenDisplay(nullptr);
    if (!dpy)
        return picture;
    ::Window root = DefaultRootWindow(dpy);
    ::Window win = testsupport::FindWindowByTitle(dpy, root, kTitle);
    XWindowAttributes attributes{};
    int x = 0, y = 0;
    ::Window child;
    if (win && XGetWindowAttributes(dpy, win, &attributes) &&
        XTranslateCoordinates(dpy, win, root, 0, 0, &x, &y, &child))
    {
        XImage* image = XGetImage(dpy, root, x, y, static_cast<unsigned>(attributes.width),
                                  static_cast<unsigned>(attributes.height), AllPlanes, ZPixmap);
        if (image)
        {
            picture.width = attributes.width;
            picture.height = attributes.height;
            picture.rgb.resize(static_cast<size_t>(picture.width) * picture.height * 3);
            uint8_t* out = picture.rgb.data();
            for (int py = 0; py < picture.height; ++py)
                for (int px = 0; px < picture.width; ++px, out += 3)
                {
                    unsigned long p = XGetPixel(image, px, py);
                    out[0] = static_cast<uint8_t>(p >> 16);
                    out[1] = static_cast<uint8_t>(p >> 8);
                    out[2] = static_cast<uint8_t>(p);
                }
            XDestroyImage(image);
        }
    }
    XCloseDisplay(dpy);
    return picture;
}

// Pixels darker than half in a box: text or ink.
int DarkPixels(const Picture& p, int x0, int y0, int x1, int y1)
{
    int n = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x)
            n += p.At(x, y)[0] < 128 ? 1 : 0;
    return n;
}

// Holds a key in the program's window through the X test extension; the
// exit status of xdotool (not 0 when the window went while it was held).
int HoldKey(const char* key, double seconds)
{
    std::string cmd = "xdotool search --sync --name '^" + std::string(kTitle) +
                      "$' windowfocus --sync keydown " + key + " sleep " + std::to_string(seconds) +
                      " keyup " + key + " >/dev/null 2>&1";
    return system(cmd.c_str());
}

// Ends the child however the test ends.
struct ChildGuard
{
    pid_t pid;
    ~ChildGuard()
    {
        if (pid > 0)
            testsupport::WaitExit(pid, 0);
    }
};

TEST(DemoWindow, TheAirplaneInInkMovesWithTheLightAndTheKeys)
{
    if (Env("DISPLAY").empty())
        GTEST_SKIP() << "no X display";
    std::string dir = testsupport::MakeRunDir(true);
    ASSERT_FALSE(dir.empty());
    pid_t pid = testsupport::StartProgram(dir, "dummy");
    ASSERT_GT(pid, 0);
    ChildGuard guard{pid};
    ASSERT_TRUE(testsupport::WaitFor(
        [&] {
            return ReadText(dir + "/tessimo2.log").find("- initializing fmod") != std::string::npos;
        },
        30));
    // Past start-up and the first second of statistics.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));

    Picture first = Grab();
    ASSERT_EQ(first.width, 800);
    ASSERT_EQ(first.height, 600);
    EXPECT_EQ(first.MeanLevel(0, 0, 800, 8), 255.0) << "paper along the top edge";
    std::set<int> tones;
    for (int y = 150; y < 450; ++y)
        for (int x = 200; x < 600; ++x)
            tones.insert(first.At(x, y)[0] / 8);
    EXPECT_GE(tones.size(), 24u) << "the airplane in many tones of ink";
    // The overlay: the three rows of shares and the polygon count at the
    // lower left, the frame rate at the lower right, MPoly/s in between.
    EXPECT_GT(DarkPixels(first, 0, 528, 120, 600), 100);
    EXPECT_GT(DarkPixels(first, 730, 576, 800, 600), 20);
    EXPECT_GT(DarkPixels(first, 325, 581, 420, 600), 20);

    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    Picture moved = Grab();
    EXPECT_FALSE(moved.rgb == first.rgb) << "the light circles";

    // Keypad minus for two seconds takes the light far below the airplane:
    // the surfaces the camera sees from above turn away from it and darken.
    // Plus for as long brings it back.
    double before = moved.MeanLevel(200, 150, 600, 450);
    ASSERT_EQ(HoldKey("KP_Subtract", 2), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    double lowered = Grab().MeanLevel(200, 150, 600, 450);
    EXPECT_LT(lowered, before - 8) << before << " -> " << lowered;
    ASSERT_EQ(HoldKey("KP_Add", 2), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    double raised = Grab().MeanLevel(200, 150, 600, 450);
    EXPECT_GT(raised, lowered + 8) << lowered << " -> " << raised;

    // The program ends while the key is down.
    HoldKey("Escape", 0.2);
    EXPECT_EQ(testsupport::WaitExit(pid, 30), 0);
    guard.pid = -1;
    std::string log = ReadText(dir + "/tessimo2.log");
    EXPECT_EQ(log.find("##"), std::string::npos) << log;
    EXPECT_NE(log.find("- shutting down at"), std::string::npos) << log;
    // Hatching's and Outline's.
    EXPECT_NE(ReadText(dir + "/console.log").find("> 2 vertex program have been deleted"),
              std::string::npos);
    if (!HasFailure())
    {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
}

} // namespace
