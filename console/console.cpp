#include "console/console.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/debug_output.h"

namespace
{

// From the lowest set bit of n, doubled until it is not below n.
uint32_t RoundUpToPowerOfTwo(uint32_t n)
{
    if (n == 0)
        return 1;
    uint32_t p = n & (~n + 1);
    while (p < n)
        p <<= 1;
    return p;
}

} // namespace

Console::Console(ScreenFont* font, int32_t width, int32_t height, uint32_t lineCount,
                 uint32_t lineLength, int32_t aperture)
    : font(font), lineCount(RoundUpToPowerOfTwo(lineCount)),
      lineLength(RoundUpToPowerOfTwo(lineLength)), logCount(0), cursor(0), width(width),
      height(height), aperture(aperture), open(false)
{
    lineCountMask = this->lineCount - 1;
    lineLengthMask = this->lineLength - 1;
    lines = new char*[this->lineCount];
    for (uint32_t i = 0; i < this->lineCount; ++i)
        lines[i] = new char[this->lineLength];
    input[0] = 0;
    recall[0] = 0;
}

Console::~Console()
{
    for (uint32_t i = 0; i < lineCount; ++i)
        delete[] lines[i];
    delete[] lines;
}

void Console::Printf(const char* format, ...)
{
    if (!format)
        return;
    char text[256];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    char* line = lines[logCount & lineCountMask];
    snprintf(line, lineLength, "%s", text);
    ++logCount;
    OutputDebugString(text);
    OutputDebugString("\n");
}

uint32_t Console::HeldLines() const
{
    return logCount < lineCount ? logCount : lineCount;
}

const char* Console::Line(uint32_t i) const
{
    if (i >= HeldLines())
        return nullptr;
    return lines[(logCount - HeldLines() + i) & lineCountMask];
}

void Console::SaveLog(const char* fileName)
{
    FILE* file = fopen(fileName, "wt");
    if (!file)
        return;
    for (uint32_t i = 0; i < HeldLines(); ++i)
        fprintf(file, "%s\n", Line(i));
    fclose(file);
}

// PLACEHOLDER until the console's keys, commands and drawing are written.
void Console::Update(Input*) {}
void Console::AddCommand(const char*, CommandKind, CommandHandler) {}
void Console::AddVariable(const char*, VariableType, void*, bool) {}
void Console::Execute(const char*) {}
void Console::Draw() {}
