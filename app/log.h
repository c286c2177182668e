// The engine log, "tessimo2.log" in the current directory.
//
// There is no open handle between writes: each writer opens the file,
// writes and closes it, so nothing stays buffered; while a writer holds it,
// each line goes out as it ends. "wt" empties the file
// (only Window::Create does that), "at" appends. Writers go through
// app/report.h; only it opens the file.
#pragma once

#include <cstdio>

#define TESSIMO_LOG_FILE "tessimo2.log"

// May return null (read-only folder): writers then write nothing.
FILE* OpenLog(const char* mode);
