// The engine's console: a ring of text lines that every subsystem reports
// to with Printf, whether the console is shown or not.
//
// This is the core that start-up needs: the ring, Printf and SaveLog. The
// drop-down drawing, key handling, commands and variables build on it.
#pragma once

#include <cstdint>

#include "resources/console_base.h"

class ScreenFont;

class Console : public ConsoleBase
{
public:
    // lineCount and lineLength are rounded up to powers of two; the ring is
    // allocated once and never grows.
    Console(ScreenFont* font, int32_t width, int32_t height, uint32_t lineCount,
            uint32_t lineLength, int32_t aperture);
    ~Console() override;
    // Writes every line still held, oldest first, one per text line.
    void SaveLog(const char* fileName) override;
    // Not yet: keys, drawing and commands.
    void Update(Input* input) override;
    void AddCommand(const char* name, CommandKind kind, CommandHandler handler) override;
    void AddVariable(const char* name, VariableType type, void* target, bool readOnly) override;
    void Execute(const char* line) override;
    // Formats one line (at most lineLength - 1 characters) into the ring
    // and echoes it to the debug output. A null format is ignored.
    void Printf(const char* format, ...) override
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
    void Draw() override;

    // The i-th line still held, 0 the oldest; null past the end.
    const char* Line(uint32_t i) const;
    // Number of lines still held: logCount, at most lineCount.
    uint32_t HeldLines() const;

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
};
