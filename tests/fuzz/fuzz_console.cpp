// Fuzzes the console: even first byte, lines for Execute; odd, key presses (0 ends a frame).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "app/input.h"
#include "console/console.h"
#include "tests/fuzz/fuzz_checks.h"
#include "tests/support/console_stand_in.h"

namespace
{

void RunLines(Console& console, const uint8_t* bytes, size_t size)
{
    char line[512];
    size_t length = 0;
    for (size_t i = 0; i <= size; ++i)
    {
        if (i == size || bytes[i] == '\n' || length == sizeof line - 1)
        {
            line[length] = 0;
            console.Execute(line);
            CheckConsoleBuffers(console);
            length = 0;
            continue;
        }
        line[length++] = static_cast<char>(bytes[i]);
    }
}

void RunKeys(Console& console, const uint8_t* bytes, size_t size)
{
    Input input;
    for (size_t i = 0; i < size; ++i)
    {
        if (bytes[i] == 0)
        {
            console.Update(&input);
            CheckConsoleBuffers(console);
        }
        else
            input.keys[bytes[i]] ^= 1;
    }
    console.Update(&input);
    CheckConsoleBuffers(console);
}

} // namespace

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
    if (size == 0)
        return 0;
    // A small ring, so that inputs of modest size wrap it.
    Console console(nullptr, 800, 600, 64, 256, 12);
    testsupport::StandInCommands(console);
    unsigned char flag = 0;
    float scale = 0;
    int32_t fixed = 7;
    console.AddVariable("t_flag", VariableBool, &flag, false);
    console.AddVariable("t_scale", VariableFloat, &scale, false);
    console.AddVariable("t_fixed", VariableInt, &fixed, true);
    if (bytes[0] & 1)
        RunKeys(console, bytes + 1, size - 1);
    else
        RunLines(console, bytes + 1, size - 1);
    if (fixed != 7)
        abort();
    return 0;
}
