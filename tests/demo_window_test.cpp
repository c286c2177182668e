// The real program in a window under Xvfb, read back from the screen: white
// paper at the edges, the airplane in many tones of ink in the middle, the
// overlay in the lower corners, a picture that moves with the light, the
// keypad's minus and plus lowering and raising the light, and Escape ending
// the run with status 0 and the log of a normal run.
#include <gtest/gtest.h>

#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <filesystem>
#include <set>

#include "app_test_util.h"
#include "support/picture.h"

namespace
{

using apptest::ReadText;
using testsupport::Env;
using testsupport::Picture;

const char* kTitle = "Tessimo 2 Engine";

Picture Grab(Display* dpy, ::Window win)
{
    Picture picture;
    XWindowAttributes attributes;
    if (!XGetWindowAttributes(dpy, win, &attributes))
        return picture;
    XImage* image = XGetImage(dpy, win, 0, 0, static_cast<unsigned>(attributes.width),
                              static_cast<unsigned>(attributes.height), AllPlanes, ZPixmap);
    if (!image)
        return picture;
    picture.width = attributes.width;
    picture.height = attributes.height;
    picture.rgb.resize(static_cast<size_t>(picture.width) * picture.height * 3);
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
        {
            unsigned long p = XGetPixel(image, x, y);
            uint8_t* out = &picture.rgb[(static_cast<size_t>(y) * picture.width + x) * 3];
            out[0] = static_cast<uint8_t>(p >> 16);
            out[1] = static_cast<uint8_t>(p >> 8);
            out[2] = static_cast<uint8_t>(p);
        }
    XDestroyImage(image);
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

void HoldKey(Display* dpy, KeySym key, int milliseconds)
{
    KeyCode code = XKeysymToKeycode(dpy, key);
    XTestFakeKeyEvent(dpy, code, True, 0);
    XSync(dpy, False);
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    XTestFakeKeyEvent(dpy, code, False, 0);
    XSync(dpy, False);
}

TEST(DemoWindow, TheAirplaneInInkMovesWithTheLightAndTheKeys)
{
    if (Env("DISPLAY").empty())
        GTEST_SKIP() << "no X display";
    std::string dir = testsupport::MakeRunDir(true);
    ASSERT_FALSE(dir.empty());
    pid_t pid = testsupport::StartProgram(dir);
    ASSERT_GT(pid, 0);
    Display* dpy = XOpenDisplay(nullptr);
    ASSERT_NE(dpy, nullptr);
    ::Window win = 0;
    ASSERT_TRUE(testsupport::WaitFor(
        [&] {
            return (win = testsupport::FindWindowByTitle(dpy, DefaultRootWindow(dpy), kTitle)) != 0;
        },
        30));
    // Past start-up and the first second of statistics.
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    XSetInputFocus(dpy, win, RevertToParent, CurrentTime);
    XSync(dpy, False);

    Picture first = Grab(dpy, win);
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
    Picture moved = Grab(dpy, win);
    EXPECT_FALSE(moved.rgb == first.rgb) << "the light circles";

    // Keypad minus for two seconds takes the light far below the airplane:
    // the surfaces the camera sees from above turn away from it and darken.
    // Plus for as long brings it back.
    double before = moved.MeanLevel(200, 150, 600, 450);
    HoldKey(dpy, XK_KP_Subtract, 2000);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    double lowered = Grab(dpy, win).MeanLevel(200, 150, 600, 450);
    EXPECT_LT(lowered, before - 8) << before << " -> " << lowered;
    HoldKey(dpy, XK_KP_Add, 2000);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    double raised = Grab(dpy, win).MeanLevel(200, 150, 600, 450);
    EXPECT_GT(raised, lowered + 8) << lowered << " -> " << raised;

    HoldKey(dpy, XK_Escape, 200);
    XCloseDisplay(dpy);
    EXPECT_EQ(testsupport::WaitExit(pid, 30), 0);
    std::string log = ReadText(dir + "/tessimo2.log");
    EXPECT_EQ(log.find("##"), std::string::npos) << log;
    EXPECT_NE(log.find("- shutting down at"), std::string::npos) << log;
    EXPECT_NE(ReadText(dir + "/console.log").find("> 1 vertex program have been deleted"),
              std::string::npos);
    if (!HasFailure())
    {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
}

} // namespace
