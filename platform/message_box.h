// Modal message boxes with the Win32 styles and results.
//
// With a display (and TESSIMO_HEADLESS unset) SDL shows the box, from a
// process of its own. Without one, the caption and text go to standard
// error and the box takes its default answer: IDOK, and IDYES for an
// MB_YESNO question (so a headless run goes on the way a user would mostly
// choose). Nothing ever blocks when nobody can click, nor when the program
// is asked to end: SIGTERM or SIGINT closes an open box with its default
// answer, and the signal then ends the run in order. Tests install a hook
// that records each box and answers.
#pragma once

constexpr unsigned MB_OK = 0;
constexpr unsigned MB_YESNO = 4;
constexpr unsigned MB_ICONSTOP = 0x10;
constexpr unsigned MB_ICONEXCLAMATION = 0x30;
constexpr unsigned MB_ICONINFORMATION = 0x40;

constexpr int IDOK = 1;
constexpr int IDYES = 6;
constexpr int IDNO = 7;

int MessageBox(const char* text, const char* caption, unsigned style);

using MessageBoxHook = int (*)(const char* text, const char* caption, unsigned style, void* user);
// A null hook restores the default behaviour.
void SetMessageBoxHook(MessageBoxHook hook, void* user);
