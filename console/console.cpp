#include "console/console.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "app/math.h"

#include "app/input.h"
#include "app/report.h"
#include "console/console_commands.h"
#include "console/console_texts.h"
#include "platform/keys.h"

namespace
{

// The digit row of a French keyboard: with AltGr (reported as Control),
// with Shift, and alone. Bytes above 0x7F are Latin-1.
const unsigned char kDigitRow[10][3] = {
    {0x40, 0x30, 0xE0}, {0x60, 0x31, 0x26}, {0x7E, 0x32, 0xE9}, {0x23, 0x33, 0x22},
    {0x7B, 0x34, 0x27}, {0x5B, 0x35, 0x28}, {0x7C, 0x36, 0x2D}, {0x20, 0x37, 0xE8},
    {0x5C, 0x38, 0x5F}, {0x5E, 0x39, 0xE7},
};

// The longest word Execute looks up: a name holds at most 31 characters.
constexpr size_t kMaxWord = 31;

bool IsBlank(char c)
{
    return isspace(static_cast<unsigned char>(c)) != 0;
}

// Whether `text` holds anything but blanks.
bool HasText(const char* text)
{
    for (; *text; ++text)
        if (!IsBlank(*text))
            return true;
    return false;
}

// A key that is down is consumed and reported.
bool Take(unsigned char* keys, uint32_t code)
{
    if (!keys[code])
        return false;
    keys[code] = 0;
    return true;
}

// "%d" of a value that may be out of range: it is held at the nearest end.
bool ScanInt(const char* text, int32_t* value)
{
    char* end = nullptr;
    errno = 0;
    long long v = strtoll(text, &end, 10);
    if (end == text)
        return false;
    if (v > INT32_MAX)
        v = INT32_MAX;
    if (v < INT32_MIN)
        v = INT32_MIN;
    *value = static_cast<int32_t>(v);
    return true;
}

bool ScanFloat(const char* text, float* value)
{
    char* end = nullptr;
    float v = strtof(text, &end);
    if (end == text)
        return false;
    *value = v;
    return true;
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
    commandPosition = commands.end();
    variablePosition = variables.end();
    RegisterConsoleCommands(*this);
    AddVariable("c_aperture", VariableInt, &this->aperture, false);
}

Console::~Console()
{
    for (uint32_t i = 0; i < lineCount; ++i)
        delete[] lines[i];
    delete[] lines;
    for (ConsoleCommand* command : commands)
        delete command;
    for (ConsoleVariable* variable : variables)
        delete variable;
}

// ---------------------------------------------------------------------------
// The log of lines

void Console::AddLine(const char* text)
{
    char* line = lines[logCount & lineCountMask];
    snprintf(line, lineLength, "%s", text);
    ++logCount;
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
    AddLine(text);
    Report(ToDebug, Frame::None, "%s\n", text);
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

uint32_t Console::ShownLines() const
{
    if (aperture < 0)
        return 0;
    return static_cast<uint32_t>(aperture) < lineCount ? static_cast<uint32_t>(aperture)
                                                       : lineCount;
}

void Console::SaveLog(const char* fileName)
{
    FILE* file = fileName ? fopen(fileName, "wt") : nullptr;
    if (!file)
    {
        // The lines stay held; only the debug output hears of it.
        Report(ToDebug, Frame::None, "console: can't write the log of lines to %s\n",
               fileName ? fileName : "(no name)");
        return;
    }
    for (uint32_t i = 0; i < HeldLines(); ++i)
        fprintf(file, "%s\n", Line(i));
    fclose(file);
}

// ---------------------------------------------------------------------------
// Registration

void Console::AddCommand(const char* name, CommandKind kind, CommandHandler handler)
{
    auto* command = new ConsoleCommand{};
    snprintf(command->name, sizeof command->name, "%s", name ? name : "");
    command->kind = kind;
    switch (kind)
    {
    case CommandFloat:
        command->floatHandler = handler.floatHandler;
        break;
    case CommandInt:
        command->intHandler = handler.intHandler;
        break;
    case CommandString:
        command->stringHandler = handler.stringHandler;
        break;
    case CommandVoid:
        command->voidHandler = handler.voidHandler;
        break;
    }
    commands.push_back(command);
}

void Console::AddVariable(const char* name, VariableType type, void* target, bool readOnly)
{
    auto* variable = new ConsoleVariable{};
    snprintf(variable->name, sizeof variable->name, "%s", name ? name : "");
    variable->type = type;
    variable->target = target;
    variable->readOnly = readOnly;
    variables.push_back(variable);
}

// ---------------------------------------------------------------------------
// Keys

uint32_t Console::InputLimit() const
{
    uint32_t size = lineLength < sizeof input ? lineLength : sizeof input;
    return size - 1;
}

// Once the typed line is full, further characters are dropped (their keys
// are still consumed).
void Console::StoreCharacter(char c)
{
    if (cursor >= InputLimit())
        return;
    input[cursor & lineLengthMask] = c;
    ++cursor;
}

// Steps 3 to 8 of Update: the keys that type or edit, in this order.
void Console::TypeKeys(unsigned char* keys)
{
    bool shift = keys[VK_SHIFT] != 0;
    bool control = keys[VK_CONTROL] != 0;
    for (uint32_t code = 'A'; code <= 'Z'; ++code)
        if (Take(keys, code))
            StoreCharacter(static_cast<char>(shift ? code : code + 32));
    for (uint32_t code = '0'; code <= '9'; ++code)
        if (Take(keys, code))
            StoreCharacter(static_cast<char>(kDigitRow[code - '0'][control ? 0 : shift ? 1 : 2]));
    if (Take(keys, VK_SPACE))
        StoreCharacter(' ');
    if (Take(keys, VK_DIVIDE))
        StoreCharacter('/');
    if (Take(keys, VK_DECIMAL))
        StoreCharacter('.');
    if (Take(keys, VK_F3))
    {
        snprintf(input, InputLimit() + 1, "%s", recall);
        cursor = static_cast<uint32_t>(strlen(input));
    }
    if (Take(keys, VK_BACK) && cursor != 0)
        input[--cursor & lineLengthMask] = 0;
    if (control)
    {
        if (Take(keys, VK_OEM_4))
            StoreCharacter(']');
        if (Take(keys, VK_OEM_PLUS))
            StoreCharacter('}');
    }
}

// Return: the typed line goes into the log as it stands and becomes the
// line F3 recalls; then it runs, unless it is empty.
void Console::Commit()
{
    AddLine(input);
    snprintf(recall, sizeof recall, "%s", input);
    if (input[0])
    {
        char line[sizeof input];
        snprintf(line, sizeof line, "%s", input);
        Execute(line);
    }
    input[0] = 0;
    cursor = 0;
}

// Tab: the first command, else the first variable, whose name begins with
// the typed characters, letter case aside, replaces the typed line.
void Console::Complete()
{
    for (commandPosition = commands.begin(); commandPosition != commands.end(); ++commandPosition)
    {
        const char* name = (*commandPosition)->name;
        if (strncasecmp(name, input, cursor) == 0)
        {
            snprintf(input, InputLimit() + 1, "%s", name);
            cursor = static_cast<uint32_t>(strlen(input));
            return;
        }
    }
    for (variablePosition = variables.begin(); variablePosition != variables.end();
         ++variablePosition)
    {
        const char* name = (*variablePosition)->name;
        if (strncasecmp(name, input, cursor) == 0)
        {
            snprintf(input, InputLimit() + 1, "%s", name);
            cursor = static_cast<uint32_t>(strlen(input));
            return;
        }
    }
}

void Console::Update(Input* in)
{
    if (!in)
        return;
    unsigned char* keys = in->keys;
    if (Take(keys, VK_OEM_7))
        open = !open;
    if (!open)
        return;
    TypeKeys(keys);
    input[cursor & lineLengthMask] = 0;
    Draw();
    if (Take(keys, VK_RETURN))
        Commit();
    if (Take(keys, VK_TAB))
        Complete();
}

// ---------------------------------------------------------------------------
// Execute

void Console::ListNames()
{
    for (commandPosition = commands.begin(); commandPosition != commands.end(); ++commandPosition)
        Printf(consoletext::kHelpLine, (*commandPosition)->name);
    for (variablePosition = variables.begin(); variablePosition != variables.end();
         ++variablePosition)
        Printf(consoletext::kHelpLine, (*variablePosition)->name);
}

// The argument of each kind: a number scanned from the rest of the line
// (0 when there is none), the rest after one separator, or nothing.
const char* Console::RunCommand(const ConsoleCommand& command, const char* line, size_t wordEnd)
{
    const char* arguments = line + wordEnd;
    switch (command.kind)
    {
    case CommandFloat:
    {
        float value = 0;
        ScanFloat(arguments, &value);
        return command.floatHandler ? command.floatHandler(value) : nullptr;
    }
    case CommandInt:
    {
        int32_t value = 0;
        ScanInt(arguments, &value);
        return command.intHandler ? command.intHandler(value) : nullptr;
    }
    case CommandString:
    {
        char text[256];
        snprintf(text, sizeof text, "%s", *arguments ? arguments + 1 : consoletext::kNoArgument);
        return command.stringHandler ? command.stringHandler(text) : nullptr;
    }
    case CommandVoid:
        return command.voidHandler ? command.voidHandler() : nullptr;
    }
    return nullptr;
}

// A value is given when something other than blanks follows the word, and
// only a variable that isn't read-only takes it. A number that doesn't scan
// leaves the stored value as it was.
const char* Console::RunVariable(const ConsoleVariable& variable, const char* arguments,
                                 char (&result)[256])
{
    bool given = !variable.readOnly && HasText(arguments);
    switch (variable.type)
    {
    case VariableInt:
    {
        auto* target = static_cast<int32_t*>(variable.target);
        int32_t value = 0;
        if (given && ScanInt(arguments, &value))
            *target = value;
        snprintf(result, sizeof result, consoletext::kIntValue, variable.name, *target);
        break;
    }
    case VariableBool:
    {
        auto* target = static_cast<unsigned char*>(variable.target);
        if (given)
        {
            while (IsBlank(*arguments))
                ++arguments;
            size_t length = 0;
            while (arguments[length] && !IsBlank(arguments[length]))
                ++length;
            *target = length == 4 && strncmp(arguments, "true", 4) == 0;
        }
        snprintf(result, sizeof result, *target ? consoletext::kBoolTrue : consoletext::kBoolFalse,
                 variable.name);
        break;
    }
    case VariableFloat:
    {
        auto* target = static_cast<float*>(variable.target);
        float value = 0;
        if (given && ScanFloat(arguments, &value))
            *target = value;
        snprintf(result, sizeof result, consoletext::kFloatValue, variable.name,
                 static_cast<double>(*target));
        break;
    }
    }
    return result;
}

// The first blank-delimited word names what runs; the rest of the line is
// its argument. A line of blanks has no word and runs nothing, like an empty
// one. A word longer than any name can be is unknown.
void Console::Execute(const char* line)
{
    if (!line)
        return;
    size_t start = 0;
    while (IsBlank(line[start]))
        ++start;
    if (!line[start])
        return;
    size_t end = start;
    while (line[end] && !IsBlank(line[end]))
        ++end;
    if (end - start > kMaxWord)
    {
        AddLine(consoletext::kUnknown);
        return;
    }
    char word[kMaxWord + 1];
    memcpy(word, line + start, end - start);
    word[end - start] = 0;

    commandPosition = commands.begin();
    variablePosition = variables.begin();
    const char* result = nullptr;
    bool found = false;
    char buffer[256];

    if (strcmp(word, consoletext::kSaveLogWord) == 0)
    {
        SaveLog(consoletext::kLogFile);
        snprintf(buffer, sizeof buffer, consoletext::kLogSaved, consoletext::kLogFile);
        result = buffer;
        found = true;
    }
    if (strcmp(word, consoletext::kHelpWord) == 0)
    {
        ListNames();
        found = true;
    }
    for (; commandPosition != commands.end(); ++commandPosition)
    {
        if (strcmp(word, (*commandPosition)->name) == 0)
        {
            found = true;
            result = RunCommand(**commandPosition, line, end);
            break;
        }
    }
    // A command that ran Execute itself has walked the variables to their end.
    for (; variablePosition != variables.end(); ++variablePosition)
    {
        if (strcmp(word, (*variablePosition)->name) == 0)
        {
            found = true;
            result = RunVariable(**variablePosition, line + end, buffer);
            break;
        }
    }
    if (!found)
        AddLine(consoletext::kUnknown);
    if (result && result[0])
        AddLine(result);
}
