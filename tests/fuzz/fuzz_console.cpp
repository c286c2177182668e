// Fuzzes the console: even first byte, lines for Execute; odd, key presses (0 ends a frame).
#include <climits>
#include <unistd.h>

#include "app/input.h"
#include "tests/fuzz/fuzz_checks.h"
#include "tests/support/console_stand_in.h"

// savelog writes console.log here: a private folder.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    char folder[] = "/tmp/fuzz_consoleXXXXXX";
    if (mkdtemp(folder) && chdir(folder) != 0)
        abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    // A small ring, so that inputs of modest size wrap it.
    Console console(nullptr, 800, 600, 64, 256, 12);
    testsupport::StandInCommands(console);
    unsigned char flag = 0;
    float scale = 0;
    int32_t fixed = 7;
    console.AddVariable("t_flag", VariableBool, &flag, false);
    console.AddVariable("t_scale", VariableFloat, &scale, false);
    console.AddVariable("t_fixed", VariableInt, &fixed, true);
    Input input;
    auto execute = [&](const char* line)
    {
        console.Execute(line);
        CheckConsoleBuffers(console);
    };
    auto frame = [&]
    {
        console.Update(&input);
        CheckConsoleBuffers(console);
    };
    Replay(bytes, size, input.keys, 511, INT_MAX, execute, frame);
    if (fixed != 7)
        abort();
    return 0;
}
