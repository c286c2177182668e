// The engine's drop-down console: a ring of text lines that every subsystem
// reports to with Printf, whether the console is shown or not, and a
// command line that runs commands and reads or assigns variables.
//
// The key below Escape opens and closes it. While open it takes typed
// characters through its own French key map (the digit row types the
// unshifted symbols, Shift gives the digits, AltGr reaches the third level),
// completes names with Tab, recalls the last line with F3, and runs a line
// on Return. Commands are plain functions returning the text of their
// result line; variables are fields of their owners, published by address.
//
// Bounds and odd input:
// - The typed line holds at most 255 characters; further characters are
//   dropped, their keys consumed all the same.
// - Whatever goes into the log (a Printf, a typed line, a result line) is
//   cut at lineLength - 1 characters.
// - Execute looks up words of at most 31 characters; a longer word is
//   unknown. A line of blanks has no word and runs nothing, like an empty one.
// - A float or integer command whose argument is no number gets 0 (so
//   "r_fov" alone sets the lower limit, 30). A variable takes a value only
//   when more than blanks follows its name; a number that doesn't scan
//   leaves it as it was. Numbers beyond 32 bits are held at the nearest end.
// - The box shows `aperture` lines within 0 and lineCount, whatever the
//   variable holds.
// - A log file that can't be opened is left unwritten; the lines stay held,
//   the debug output says so, and savelog's result line follows as usual.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>

#include "resources/console_base.h"

class ScreenFont;

// A command as registered: the handler sits in the one field its kind names.
struct ConsoleCommand
{
    char name[32];
    CommandKind kind;
    FloatCommandHandler floatHandler;
    StringCommandHandler stringHandler;
    IntCommandHandler intHandler;
    VoidCommandHandler voidHandler;
};

// A published variable; `target` is the owner's storage.
struct ConsoleVariable
{
    char name[32];
    VariableType type;
    void* target;
    bool readOnly;
};

class Console : public ConsoleBase
{
public:
    // lineCount and lineLength are rounded up to powers of two; the ring is
    // allocated once and never grows. Registers the commands and c_aperture.
    Console(ScreenFont* font, int32_t width, int32_t height, uint32_t lineCount,
            uint32_t lineLength, int32_t aperture);
    ~Console() override;
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // Writes every line still held, oldest first, one per text line. A file
    // that can't be opened leaves it unwritten and the lines as they are.
    void SaveLog(const char* fileName) override;
    // The key below Escape, then (only while open) typing, F3, Backspace,
    // the AltGr brackets, Draw, Return and Tab. Each key acted on is
    // consumed (its entry set to 0); Shift and Control are only read.
    void Update(Input* input) override;
    void AddCommand(const char* name, CommandKind kind, CommandHandler handler) override;
    void AddVariable(const char* name, VariableType type, void* target, bool readOnly) override;
    // Runs one line: savelog, help, a command, or a variable read or
    // assignment; anything else is answered as unknown.
    void Execute(const char* line) override;
    // Formats one line (cut at lineLength - 1 characters) into the ring
    // and echoes it to the debug output. A null format is ignored.
    void Printf(const char* format, ...) override
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
    // The box, the caption, the last `aperture` lines and the typed line,
    // in the 2D mode of the frame.
    void Draw() override;

    // The i-th line still held, 0 the oldest; null past the end.
    const char* Line(uint32_t i) const;
    // Number of lines still held: logCount, at most lineCount.
    uint32_t HeldLines() const;
    // Log lines on display: aperture, kept within 0 and lineCount.
    uint32_t ShownLines() const;

    ScreenFont* font;
    char** lines;
    char input[256];
    char recall[256];
    uint32_t lineCount;
    uint32_t lineCountMask;
    uint32_t lineLength;
    uint32_t lineLengthMask;
    uint32_t logCount;
    uint32_t cursor;
    int32_t width;
    int32_t height;
    int32_t aperture;
    bool open;
    std::list<ConsoleCommand*> commands;
    std::list<ConsoleVariable*> variables;
    std::list<ConsoleCommand*>::iterator commandPosition;
    std::list<ConsoleVariable*>::iterator variablePosition;

protected:
    // Adds `text` as a new log line, cut to fit, without the debug echo.
    void AddLine(const char* text);

private:
    void TypeKeys(unsigned char* keys);
    void StoreCharacter(char c);
    void Commit();
    void Complete();
    // The longest line the typed line may hold.
    uint32_t InputLimit() const;
    void ListNames();
    const char* RunCommand(const ConsoleCommand& command, const char* line, size_t wordEnd);
    const char* RunVariable(const ConsoleVariable& variable, const char* arguments,
                            char (&result)[256]);
};
