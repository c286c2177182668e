// The console without GL: keys through a fake key array, Execute, the ring
// of lines. The typing a person does in the real window is covered by the
// window suite; here are the corners it can't reach cheaply.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "app/input.h"
#include "console/console.h"
#include "platform/keys.h"
#include "support/console_stand_in.h"
#include "support/files.h"

namespace
{

class ConsoleKeys : public ::testing::Test
{
protected:
    void SetUp() override
    {
        testsupport::StandInCommands(console);
        Frame({VK_OEM_7}); // open
    }

    // One frame with these keys down (and whatever is still held).
    void Frame(std::initializer_list<uint32_t> down)
    {
        for (uint32_t key : down)
            input.keys[key] = 1;
        console.Update(&input);
    }
    void Type(std::initializer_list<uint32_t> keys)
    {
        for (uint32_t key : keys)
            Frame({key});
    }
    void Run(const char* line) { console.Execute(line); }
    // The last line held, or the one `back` lines before it.
    std::string Last(uint32_t back = 0) { return console.Line(console.HeldLines() - 1 - back); }

    Console console{nullptr, 800, 600, 1024, 256, 12};
    Input input;
};

TEST_F(ConsoleKeys, FrenchMapWithShiftAndAltGrInStepOrder)
{
    // Several keys in one frame enter in the order of the steps: letters,
    // digit row, blank, slash, point, then the AltGr brackets.
    Frame({VK_DECIMAL, '8', 'Z', VK_SPACE, VK_DIVIDE, 'A'});
    EXPECT_STREQ(console.input, "az_ /.");
    input.keys[VK_SHIFT] = 1;
    Frame({'Q', '5', VK_OEM_4, VK_OEM_PLUS});
    EXPECT_STREQ(console.input, "az_ /.Q5");
    // Without Control the two bracket keys are neither read nor consumed.
    EXPECT_EQ(input.keys[VK_OEM_4], 1);
    EXPECT_EQ(input.keys[VK_OEM_PLUS], 1);
    // AltGr comes as Control (with Shift still down, Control wins).
    input.keys[VK_CONTROL] = 1;
    Frame({'0', '2', '8'});
    EXPECT_STREQ(console.input, "az_ /.Q5@~\\]}");
    EXPECT_EQ(input.keys[VK_SHIFT], 1);
    EXPECT_EQ(input.keys[VK_CONTROL], 1);
    EXPECT_EQ(input.keys[VK_OEM_4], 0);
    input.keys[VK_SHIFT] = input.keys[VK_CONTROL] = 0;
    Type({'1', '2', '7', '9', '0'});
    EXPECT_EQ(std::string(console.input).substr(13), "&\xE9\xE8\xE7\xE0");
    // A key the console doesn't name is left alone.
    Frame({VK_ESCAPE, VK_F1});
    EXPECT_EQ(input.keys[VK_ESCAPE], 1);
    EXPECT_EQ(input.keys[VK_F1], 1);
}

TEST_F(ConsoleKeys, ClosedConsoleTouchesNoKeyButItsOwn)
{
    Frame({VK_OEM_7});
    EXPECT_FALSE(console.open);
    Frame({'A', VK_RETURN, VK_TAB, VK_BACK});
    for (uint32_t key : {uint32_t('A'), VK_RETURN, VK_TAB, VK_BACK})
        EXPECT_EQ(input.keys[key], 1) << key;
    EXPECT_STREQ(console.input, "");
    EXPECT_EQ(input.keys[VK_OEM_7], 0);
}

// The corners a window session doesn't reach: recall and Backspace with
// nothing there, completion of an empty line and of a variable, a full line.
TEST_F(ConsoleKeys, EditingCorners)
{
    Type({VK_F3, VK_BACK});
    EXPECT_STREQ(console.input, "");
    EXPECT_EQ(input.keys[VK_BACK], 0);
    Frame({VK_TAB});
    EXPECT_STREQ(console.input, "quit");
    Type({VK_BACK, VK_BACK, VK_BACK, VK_BACK, 'C', '8', VK_TAB});
    EXPECT_STREQ(console.input, "c_aperture");
    Type({'Z', VK_TAB});
    EXPECT_STREQ(console.input, "c_aperturez");
    for (int i = 0; i < 300; ++i)
        Frame({static_cast<uint32_t>('A' + i % 26)});
    EXPECT_EQ(console.cursor, 255u);
    EXPECT_EQ(strlen(console.input), 255u);
    Frame({VK_RETURN});
    EXPECT_EQ(Last(1).size(), 255u);
    EXPECT_EQ(Last(), "> command or variable unknown.");
    EXPECT_EQ(console.cursor, 0u);
}

TEST_F(ConsoleKeys, ExecuteWordsAndVariables)
{
    uint32_t before = console.logCount;
    Run("   ");
    Run("");
    EXPECT_EQ(console.logCount, before);
    Run("r_polygonemodexxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx line");
    EXPECT_EQ(Last(), "> command or variable unknown.");
    Run("r_polygonemode");
    EXPECT_EQ(Last(), "> string <nothing> <nothing>");
    Run("r_polygonemode   two  words ");
    EXPECT_EQ(Last(), "> string <  two  words > <  two  words >");
    Run("r_fov abc");
    EXPECT_EQ(Last(), "> float 0.000000");
    Run("\tr_fov\t1e3");
    EXPECT_EQ(Last(), "> float 1000.000000");

    Run("c_aperture -3");
    EXPECT_EQ(Last(), "> c_aperture is equal to -3");
    EXPECT_EQ(console.ShownLines(), 0u);
    Run("c_aperture 99999999999");
    EXPECT_EQ(Last(), "> c_aperture is equal to 2147483647");
    EXPECT_EQ(console.ShownLines(), 1024u);
    Run("c_aperture seven"); // no number: the value stays
    Run("c_aperture   ");
    EXPECT_EQ(Last(1), "> c_aperture is equal to 2147483647");
    EXPECT_EQ(Last(), Last(1));

    unsigned char flag = 0;
    int32_t fixed = 77;
    float scale = 1.5f;
    const std::string longest = "t_" + std::string(29, 'n'); // the longest name there is
    console.AddVariable("t_flag", VariableBool, &flag, false);
    console.AddVariable("t_fixed", VariableInt, &fixed, true);
    console.AddVariable("t_scale", VariableFloat, &scale, false);
    console.AddVariable(longest.c_str(), VariableInt, &fixed, true);
    Run(longest.c_str());
    EXPECT_EQ(Last(), "> " + longest + " is equal to 77");
    Run("t_flag TRUE");
    EXPECT_EQ(Last(), "> t_flag is equal to false");
    Run("t_flag true ignored");
    EXPECT_EQ(flag, 1);
    EXPECT_EQ(Last(), "> t_flag is equal to true");
    Run("t_fixed 5");
    EXPECT_EQ(fixed, 77);
    EXPECT_EQ(Last(), "> t_fixed is equal to 77");
    Run("t_scale 0.25");
    EXPECT_EQ(Last(), "> t_scale is equal to 0.250000");
}

TEST(ConsoleRing, KeepsTheNewest1024LinesAndCutsLongOnes)
{
    testsupport::TempDir dir;
    ASSERT_FALSE(dir.path.empty());
    Console console(nullptr, 800, 600, 1000, 200, 12); // rounded to 1024 and 256
    EXPECT_EQ(console.lineCount, 1024u);
    EXPECT_EQ(console.lineLengthMask, 255u);
    for (int i = 0; i < 1030; ++i)
        console.Printf("line %d", i);
    EXPECT_EQ(console.logCount, 1030u);
    EXPECT_STREQ(console.Line(0), "line 6");
    console.Printf("%0400d", 1);
    EXPECT_EQ(strlen(console.Line(1023)), 255u);
    console.Printf(nullptr);
    EXPECT_EQ(console.logCount, 1031u);
    console.Execute("savelog");
    std::string saved = testsupport::ReadText(dir.path + "/console.log");
    EXPECT_EQ(saved.rfind("line 7\n", 0), 0u);
    EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 1024);
    console.SaveLog("no/such/folder/console.log"); // writes nothing, and goes on
    console.SaveLog(nullptr);
}

} // namespace
