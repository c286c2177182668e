// Commands without GL answering in the real ones' shape: "> float %f", the
// argument twice (a long one outgrows a line), a fixed line, none for quit
// and gl_checkerror; the mode switches Execute "r_reloadtextures" as theirs.
#pragma once

#include <cstdio>
#include <cstring>

#include "console/console.h"

namespace testsupport
{

inline Console* g_standInConsole = nullptr;

template <typename T> const char* StandInSay(const char* format, T value)
{
    static char message[1024];
    snprintf(message, sizeof message, format, value, value);
    return message;
}

// Replaces the handlers of the commands `console` has now.
inline void StandInCommands(Console& console)
{
    g_standInConsole = &console;
    for (ConsoleCommand* command : console.commands)
    {
        auto is = [&](const char* name) { return strcmp(command->name, name) == 0; };
        if (command->kind == CommandFloat)
            command->floatHandler = [](float v) { return StandInSay("> float %f", double(v)); };
        else if (command->kind == CommandString)
            command->stringHandler = [](const char* t)
            { return StandInSay("> string <%s> <%s>", t); };
        else if (is("quit") || is("gl_checkerror"))
            command->voidHandler = []() -> const char* { return nullptr; };
        else if (is("r_windowedmode") || is("r_fullscreenmode"))
            command->voidHandler = []
            {
                g_standInConsole->Execute("r_reloadtextures");
                return "> switched";
            };
        else
            command->voidHandler = [] { return "> void"; };
    }
}

} // namespace testsupport
