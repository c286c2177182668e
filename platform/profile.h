// INI profile reads.
//
// The file holds "[section]" headers and "key=value" lines. Section and key
// names match without regard to letter case, blanks around names and values
// are dropped, and a value in one pair of double quotes loses them. Lines
// starting with ';' or '#' and lines of any other shape are skipped, and so
// is a UTF-8 byte-order mark at the start of the file. The
// file name goes through MapPath, so "C:\dir\ini\x.ini"-style names with
// '\' and either letter case of a folder work.
#pragma once

#include <cstddef>
#include <cstdint>

// Copies the value (or `def` when the file, section or key is missing; ""
// for a null `def`) into `out`, cut to size - 1 characters and terminated.
// `key` may point into `out`: it is read in full before `out` is written.
// Returns the number of characters copied.
uint32_t GetPrivateProfileString(const char* section, const char* key, const char* def, char* out,
                                 uint32_t size, const char* fileName);

// The same lookup on a file's text already in memory (`size` bytes, not
// necessarily terminated).
uint32_t GetProfileStringFromText(const char* text, size_t size, const char* section,
                                  const char* key, const char* def, char* out, uint32_t outSize);
