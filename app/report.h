// The one path by which the engine tells the user something: the engine
// log, the console, a message box or the debug output.
//
// Callers pass a text from their own table; this file decides where it goes
// and gives it the framing of a problem there:
//
//   Frame::Problem        log "## text ##\n", console "> text", box "## text ##"
//   Frame::InlineProblem  log "## text ##" with no line feed, so that two
//                         of them share a line of the file
//   Frame::None           the text as it stands
//
// Step and detail lines ("- ", "    + ") and the console's report lines
// ("> ", "  ") keep their form in their texts, as the console's own result
// lines do: they are written that way, whether they pass through here or not.
//
// The console sits above this layer: the engine attaches it at Init and
// detaches it before it goes, and until then console reports are dropped.
// Tests see every report through one hook (SetReportHook).
#pragma once

#include <cstdio>

#include "platform/message_box.h" // the box styles and answers

#if defined(__GNUC__)
#define TESSIMO_PRINTF(formatAt, argsAt) __attribute__((format(printf, formatAt, argsAt)))
#else
#define TESSIMO_PRINTF(formatAt, argsAt)
#endif

enum class Frame
{
    None,
    Problem,
    InlineProblem,
};

// Where a report goes; a report may go to several at once.
enum ReportTarget : unsigned
{
    ToLog = 1,     // appended to the engine log (app/log.h)
    ToConsole = 2, // a line of the attached console, cut to its length
    ToDebug = 4,   // the debug output
};

// Formats one report and sends it, framed, to each of `targets`.
void Report(unsigned targets, Frame frame, const char* format, ...) TESSIMO_PRINTF(3, 4);

// Shows a modal box and returns the answer (IDOK, IDYES, IDNO).
int ReportBox(Frame frame, const char* text, const char* caption, unsigned style);

// A writer that holds the log for a block of lines: the window's opening
// and closing lines, the driver's strings, the stages of the sound set-up.
// Each finished line reaches the file as it ends; Flush sends a partial one.
// The file is closed by Close or when the block goes.
class LogBlock
{
public:
    enum Mode
    {
        Append, // "at"
        Fresh,  // "wt": empties the file; only the window's Create starts afresh
    };
    explicit LogBlock(Mode mode = Append);
    ~LogBlock();
    LogBlock(const LogBlock&) = delete;
    LogBlock& operator=(const LogBlock&) = delete;

    void Write(Frame frame, const char* format, ...) TESSIMO_PRINTF(3, 4);
    void Flush();
    void Close();

private:
    FILE* file;
};

// The console as a destination: `sink` takes each framed line. Attaching
// replaces the one before; Detach forgets the sink only if `user` is still
// the one attached.
using ConsoleSink = void (*)(const char* line, void* user);
void AttachConsole(ConsoleSink sink, void* user);
void DetachConsole(void* user);

// What a test hook sees of one report, after framing.
enum class ReportDestination
{
    Log,
    Console,
    Box,
    Debug,
};
struct ReportRecord
{
    ReportDestination destination;
    const char* text;
    const char* caption; // boxes only, else null
    unsigned style;      // boxes only, else 0
};
// The hook sees every report. Log, console and debug reports still reach
// their destination; a box is not shown, and the hook's result is its
// answer. A null hook shows boxes again.
using ReportHook = int (*)(const ReportRecord& record, void* user);
void SetReportHook(ReportHook hook, void* user);
