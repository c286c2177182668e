// The console as every layer sees it: its table of virtual operations and
// the kinds of its commands and variables.
//
// The console (console/console.h) sits above the resources. What the
// layers below write to it goes through the report path (app/report.h),
// where the engine attaches its console; the pool, which publishes a
// variable on it, reaches it through g_engine->console, typed by this base,
// so that it links against this layer only.
#pragma once

#include <cstdint>

class Input;

// Which of the four handler fields of a command is set.
enum CommandKind : int32_t
{
    CommandFloat = 0,
    CommandInt = 1,
    CommandString = 2,
    CommandVoid = 3,
};

// How a variable's target is read and written. The numbers do not match
// CommandKind's: kind 0 is a float command, type 0 an integer variable.
enum VariableType : int32_t
{
    VariableInt = 0,   // a signed 32-bit integer
    VariableBool = 1,  // one byte, 0 or 1
    VariableFloat = 2, // a 32-bit float
};

// A command's handler returns the text of its result line, which stays the
// handler's; null or an empty text adds no line.
typedef const char* (*FloatCommandHandler)(float);
typedef const char* (*IntCommandHandler)(int32_t);
typedef const char* (*StringCommandHandler)(const char*);
typedef const char* (*VoidCommandHandler)();

// One handler of any of the four kinds, as AddCommand takes it.
union CommandHandler
{
    CommandHandler(FloatCommandHandler h) : floatHandler(h) {}
    CommandHandler(IntCommandHandler h) : intHandler(h) {}
    CommandHandler(StringCommandHandler h) : stringHandler(h) {}
    CommandHandler(VoidCommandHandler h) : voidHandler(h) {}

    FloatCommandHandler floatHandler;
    IntCommandHandler intHandler;
    StringCommandHandler stringHandler;
    VoidCommandHandler voidHandler;
};

class ConsoleBase
{
public:
    // The eight operations in the order of their slots.
    virtual ~ConsoleBase() = default;
    // Writes the log of lines to the file.
    virtual void SaveLog(const char* fileName) = 0;
    // Keys, drawing and commands; once per frame, in the frame's 2D mode.
    virtual void Update(Input* input) = 0;
    // Appends a command; the handler goes into the one field `kind` names.
    virtual void AddCommand(const char* name, CommandKind kind, CommandHandler handler) = 0;
    // Appends a variable; `target` stays the caller's storage.
    virtual void AddVariable(const char* name, VariableType type, void* target, bool readOnly) = 0;
    // Runs one line as if it had been typed.
    virtual void Execute(const char* line) = 0;
    // Appends one line to the log.
    virtual void Printf(const char* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        = 0;
    // Draws the console; called by Update.
    virtual void Draw() = 0;
};
