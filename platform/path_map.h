// Path mapping between the engine's file names and the Linux file system.
//
// The engine names its files the way they were written for a file system
// that ignores letter case and separates folders with '\': "Ini\Shaders.ini"
// and "ini\tokens.ini" are the same folder, "tsm\avion.tsm" a file under
// "tsm". MapPath turns such a name into a path that exists here: every '\'
// becomes '/', and each component that does not exist with its exact
// spelling is looked up in its folder without regard to letter case.
//
// Plain libc: the archive's file buffer uses it, and it knows no SDL.
#pragma once

#include <climits>
#include <cstddef>

// The longest path the program builds or opens, terminator included: what
// Linux allows for a path given to the system.
constexpr size_t kMaxPath = PATH_MAX;

// Writes the mapped path of `name` into `out` (size `outSize`, always
// terminated). Components that are found in neither spelling are kept as
// written (with '/' separators), so a later open fails the ordinary way.
// Returns false only when the result does not fit into `out`.
bool MapPath(const char* name, char* out, size_t outSize);

// Writes "<directory>\<name>" into `out` (size `outSize`). Returns false,
// with `out` empty, when the result does not fit: a cut path would name
// another file.
bool JoinPath(const char* directory, const char* name, char* out, size_t outSize);
