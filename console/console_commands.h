// The console's vocabulary: its 22 commands, registered by the Console
// constructor in this order (the order of help and of completion).
//
// Each command is a plain function that does one thing to the GL state, the
// window or the engine's registries and returns its result line. The lines
// share one static buffer, so a result is valid until the next command runs;
// the console copies it into its log at once.
#pragma once

#include "resources/console_base.h"

class ConsoleBase;

struct ConsoleCommandEntry
{
    const char* name;
    CommandKind kind;
    CommandHandler handler;
};

// The command table, in registration order.
extern const ConsoleCommandEntry kConsoleCommands[];
extern const int kConsoleCommandCount;

// Registers every command of the table on `console`.
void RegisterConsoleCommands(ConsoleBase& console);
