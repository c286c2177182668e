#include "app/report.h"

#include <cstdarg>
#include <string>

#include "app/log.h"
#include "platform/debug_output.h"
#include "platform/message_box.h"

namespace
{

ConsoleSink g_consoleSink = nullptr;
void* g_consoleUser = nullptr;
ReportHook g_hook = nullptr;
void* g_hookUser = nullptr;

// The full text, however long: a log line has no limit of its own.
std::string Format(const char* format, va_list args)
{
    if (!format)
        return std::string();
    va_list again;
    va_copy(again, args);
    int length = vsnprintf(nullptr, 0, format, args);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    if (length > 0)
        vsnprintf(&text[0], text.size() + 1, format, again);
    va_end(again);
    return text;
}

// The one place that knows how each destination shows a problem.
std::string Framed(ReportDestination to, Frame frame, const std::string& text)
{
    if (frame == Frame::None)
        return text;
    if (to == ReportDestination::Console)
        return "> " + text;
    if (to == ReportDestination::Box || frame == Frame::InlineProblem)
        return "## " + text + " ##";
    return "## " + text + " ##\n";
}

int Tell(ReportDestination to, const std::string& text, const char* caption = nullptr,
         unsigned style = 0)
{
    return g_hook ? g_hook({to, text.c_str(), caption, style}, g_hookUser) : 0;
}

void ToLogFile(const std::string& text)
{
    Tell(ReportDestination::Log, text);
    if (FILE* log = OpenLog("at"))
    {
        fputs(text.c_str(), log);
        fclose(log);
    }
}

void ToConsoleLine(const std::string& text)
{
    Tell(ReportDestination::Console, text);
    if (g_consoleSink)
        g_consoleSink(text.c_str(), g_consoleUser);
}

void ToDebugOutput(const std::string& text)
{
    Tell(ReportDestination::Debug, text);
    OutputDebugString(text.c_str());
}

} // namespace

void Report(unsigned targets, Frame frame, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text = Format(format, args);
    va_end(args);
    if (targets & ToLog)
        ToLogFile(Framed(ReportDestination::Log, frame, text));
    if (targets & ToConsole)
        ToConsoleLine(Framed(ReportDestination::Console, frame, text));
    if (targets & ToDebug)
        ToDebugOutput(Framed(ReportDestination::Debug, frame, text));
}

int ReportBox(Frame frame, const char* text, const char* caption, unsigned style)
{
    std::string framed = Framed(ReportDestination::Box, frame, text ? text : "");
    if (g_hook)
        return Tell(ReportDestination::Box, framed, caption ? caption : "", style);
    return MessageBox(framed.c_str(), caption, style);
}

LogBlock::LogBlock(Mode mode) : file(OpenLog(mode == Fresh ? "wt" : "at")) {}

LogBlock::~LogBlock()
{
    Close();
}

void LogBlock::Write(Frame frame, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    std::string text = Framed(ReportDestination::Log, frame, Format(format, args));
    va_end(args);
    Tell(ReportDestination::Log, text);
    if (file)
        fputs(text.c_str(), file);
}

void LogBlock::Flush()
{
    if (file)
        fflush(file);
}

void LogBlock::Close()
{
    if (file)
        fclose(file);
    file = nullptr;
}

void AttachConsole(ConsoleSink sink, void* user)
{
    g_consoleSink = sink;
    g_consoleUser = user;
}

void DetachConsole(void* user)
{
    if (g_consoleUser != user)
        return;
    g_consoleSink = nullptr;
    g_consoleUser = nullptr;
}

void SetReportHook(ReportHook hook, void* user)
{
    g_hook = hook;
    g_hookUser = user;
}
