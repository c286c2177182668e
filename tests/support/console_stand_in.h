// A console whose commands touch no GL, for suites and fuzz targets without
// a GL context (Draw has nothing to draw on while g_engine is null). Every
// registered command keeps its name and kind; its handler becomes a stand-in
// that answers in the shape of the real ones: "> float %f", the argument
// echoed in full (so a long one makes a result longer than a log line), a
// fixed line, or no line for quit and gl_checkerror. The two display mode
// commands run "r_reloadtextures" through Execute from inside their handler,
// as the real ones do.
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

// Replaces the handlers of every command registered on `console` so far.
inline void StandInCommands(Console& console)
{
    StandInConsole() = &console;
    for (ConsoleCommand* command : console.commands)
    {
        auto is = [&](const char* name) { return strcmp(command->name, name) == 0; };
        if (command->kind == CommandFloat)
            command->floatHandler = [](float value) -> const char*
            {
                snprintf(StandInMessage(), 1024, "> float %f", static_cast<double>(value));
                return StandInMessage();
            };
        else if (command->kind == CommandString)
            command->stringHandler = [](const char* text) -> const char*
            {
                snprintf(StandInMessage(), 1024, "> string <%s> <%s>", text, text);
                return StandInMessage();
            };
        else if (is("quit") || is("gl_checkerror"))
            command->voidHandler = []() -> const char* { return nullptr; };
        else if (is("r_windowedmode") || is("r_fullscreenmode"))
            command->voidHandler = []() -> const char*
            {
                if (StandInConsole())
                    StandInConsole()->Execute("r_reloadtextures");
                return "> switched";
            };
        else
            command->voidHandler = []() -> const char* { return "> void"; };
    }
}

} // namespace testsupport
