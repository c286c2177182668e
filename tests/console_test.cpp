// The console's corners that the window suite's typing can't reach: editing,
// execution, the French map, the ring of lines.
#include <gtest/gtest.h>

#include "app/input.h"
#include "platform/keys.h"
#include "support/console_stand_in.h"
#include "support/files.h"

namespace
{

struct ConsoleKeys : ::testing::Test
{
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
    std::string Last(uint32_t back = 0) { return console.Line(console.HeldLines() - 1 - back); }

    Console console{nullptr, 800, 600, 1024, 256, 12};
    Input input;
};

TEST_F(ConsoleKeys, EditingCornersExecuteAndTheFrenchMap)
{
    // Recall and Backspace on nothing, completing nothing and a variable, a full line.
    const std::pair<std::vector<uint32_t>, const char*> steps[] = {
        {{VK_F3, VK_BACK}, ""},
        {{VK_TAB}, "quit"},
        {{VK_BACK, VK_BACK, VK_BACK, VK_BACK, 'C', '8', VK_TAB}, "c_aperture"},
        {{'Z', VK_TAB}, "c_aperturez"}};
    for (const auto& [keys, after] : steps)
    {
        for (uint32_t key : keys)
            Frame({key});
        EXPECT_STREQ(console.input, after);
    }
    for (int i = 0; i < 300; ++i)
        Frame({static_cast<uint32_t>('A' + i % 26)});
    EXPECT_EQ(std::make_tuple(console.cursor, strlen(console.input)), std::make_tuple(255u, 255ul));
    Frame({VK_RETURN});
    EXPECT_EQ(std::make_tuple(Last(1).size(), Last(), console.cursor),
              std::make_tuple(255ul, std::string("> command or variable unknown."), 0u));
    int32_t fixed = 77;
    float scale = 1.5f;
    const std::string longest = "t_" + std::string(29, 'n'); // the longest name there is
    console.AddVariable("t_scale", VariableFloat, &scale, false);
    console.AddVariable(longest.c_str(), VariableInt, &fixed, true);
    console.Execute("c_aperture -3");
    EXPECT_EQ(Last() + " " + std::to_string(console.ShownLines()), "> c_aperture is equal to -3 0");
    // A line, and the last line it leaves; a word too long is unknown.
    const std::pair<std::string, std::string> runs[] = {
        {"r_polygonemodexxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx line", "> command or variable unknown."},
        {"r_polygonemode   two  words ", "> string <  two  words > <  two  words >"},
        {"r_fov abc", "> float 0.000000"},
        {"\tr_fov\t1e3", "> float 1000.000000"},
        {"c_aperture 99999999999", "> c_aperture is equal to 2147483647"},
        {"c_aperture seven", "> c_aperture is equal to 2147483647"}, // no number: it stays
        {longest, "> " + longest + " is equal to 77"},
        {longest + " 5", "> " + longest + " is equal to 77"}, // read only
        {"t_scale 0.25", "> t_scale is equal to 0.250000"}};
    for (const auto& [line, last] : runs)
        EXPECT_EQ((console.Execute(line.c_str()), Last()), last) << line;
    EXPECT_EQ(std::make_tuple(fixed, console.ShownLines()), std::make_tuple(77, 1024u));
    // Several keys in one frame enter in the order of the steps: letters,
    // digit row, blank, slash, point, then the AltGr brackets.
    Frame({VK_DECIMAL, '8', 'Z', VK_SPACE, VK_DIVIDE, 'A'});
    input.keys[VK_SHIFT] = 1;
    Frame({'Q', '5', VK_OEM_4, VK_OEM_PLUS});
    // Without Control the two bracket keys are neither read nor consumed.
    EXPECT_EQ(std::make_tuple(input.keys[VK_OEM_4], input.keys[VK_OEM_PLUS]),
              std::make_tuple(1, 1));
    // AltGr comes as Control (with Shift still down, Control wins).
    input.keys[VK_CONTROL] = 1;
    Frame({'0', '2', '8'});
    EXPECT_EQ(std::make_tuple(input.keys[VK_SHIFT], input.keys[VK_CONTROL], input.keys[VK_OEM_4]),
              std::make_tuple(1, 1, 0));
    input.keys[VK_SHIFT] = input.keys[VK_CONTROL] = 0;
    for (uint32_t key : {'1', '2', '7', '9', '0'})
        Frame({key});
    // Keys the console doesn't name are left alone; closed, it takes none.
    Frame({VK_ESCAPE, VK_F1});
    Frame({VK_OEM_7});
    Frame({'B', VK_RETURN, VK_TAB, VK_BACK});
    int held = 0;
    for (uint32_t key : {VK_ESCAPE, VK_F1, uint32_t('B'), VK_RETURN, VK_TAB, VK_BACK})
        held += input.keys[key];
    EXPECT_EQ(std::make_tuple(held, input.keys[VK_OEM_7]), std::make_tuple(6, 0));
    EXPECT_STREQ(console.input, "az_ /.Q5@~\\]}&\xE9\xE8\xE7\xE0");
}

TEST(ConsoleRing, KeepsTheNewest1024LinesAndCutsLongOnes)
{
    testsupport::TempDir temp;
    Console console(nullptr, 800, 600, 1000, 200, 12); // rounded up to 1024 and 256
    for (int i = 0; i < 1030; ++i)
        console.Printf("line %d", i);
    EXPECT_STREQ(console.Line(0), "line 6");
    console.Printf("%0400d", 1);
    EXPECT_EQ(strlen(console.Line(1023)), 255u);
    console.Printf(nullptr); // nothing
    console.Execute("savelog");
    std::string saved = testsupport::ReadText(temp.path + "/console.log");
    EXPECT_EQ(saved.rfind("line 7\n", 0), 0u);
    EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 1024);
    EXPECT_EQ(console.logCount, 1032u);            // savelog's line is the last
    console.SaveLog("no/such/folder/console.log"); // writes nothing, and goes on
}

} // namespace
