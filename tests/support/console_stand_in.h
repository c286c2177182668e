// A console whose commands touch no GL: every registered command keeps its
// name and kind, and its handler becomes a stand-in that answers in the
// shape of the real ones (a number shown, the argument echoed, a fixed
// line, no line). The two display mode commands run "r_reloadtextures"
// through Execute from inside their handler, as the real ones do.
//
// For suites and fuzz targets without a GL context: Draw has nothing to
// draw on while g_engine is null, so only the handlers need standing in.
#pragma once

#include <cstdio>
#include <cstring>

#include "console/console.h"

namespace testsupport
{

inline Console*& StandInConsole()
{
    static Console* console = nullptr;
    return console;
}

inline char* StandInMessage()
{
    static char message[1024];
    return message;
}

inline const char* StandInFloat(float value)
{
    snprintf(StandInMessage(), 1024, "> float %f", static_cast<double>(value));
    return StandInMessage();
}

// The argument in full, so that a long one makes a result line longer than
// a log line.
inline const char* StandInString(const char* text)
{
    snprintf(StandInMessage(), 1024, "> string <%s> <%s>", text, text);
    return StandInMessage();
}

inline const char* StandInVoid()
{
    return "> void";
}

inline const char* StandInNoLine()
{
    return nullptr;
}

inline const char* StandInModeSwitch()
{
    if (StandInConsole())
        StandInConsole()->Execute("r_reloadtextures");
    snprintf(StandInMessage(), 1024, "> switched");
    return StandInMessage();
}

// Replaces the handlers of every command registered on `console` so far.
inline void StandInCommands(Console& console)
{
    StandInConsole() = &console;
    for (ConsoleCommand* command : console.commands)
    {
        bool silent =
            strcmp(command->name, "quit") == 0 || strcmp(command->name, "gl_checkerror") == 0;
        bool modeSwitch = strcmp(command->name, "r_windowedmode") == 0 ||
                          strcmp(command->name, "r_fullscreenmode") == 0;
        if (command->kind == CommandFloat)
            command->floatHandler = StandInFloat;
        else if (command->kind == CommandString)
            command->stringHandler = StandInString;
        else
            command->voidHandler = silent       ? StandInNoLine
                                   : modeSwitch ? StandInModeSwitch
                                                : StandInVoid;
    }
}

} // namespace testsupport
