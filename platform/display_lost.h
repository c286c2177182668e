// The end of a run whose display connection is gone.
//
// Xlib's own answer to a lost connection is exit(), whose handlers would
// then tear down a window over the dead connection and never return. The
// watcher instead calls the program's handler, which may write files but
// makes no X call, and ends the process with kDisplayLostStatus. A process
// forked from the program (a message box helper) ends at once, with nothing
// written.
#pragma once

constexpr int kDisplayLostStatus = 3;

using DisplayLostHandler = void (*)();

// Takes over Xlib's I/O error handling for every connection of the process.
// The handler (null: none) runs in the process that calls this; a later
// call replaces it.
void WatchDisplayConnection(DisplayLostHandler handler);
