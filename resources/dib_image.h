// Decoding a Windows bitmap held in memory into the 24-bit DibImage form,
// without GL or any platform call.
//
// Accepted: the file with its 14-byte "BM" header, or the bare DIB that
// starts with its information header (then the pixels follow the colour
// table directly); information headers of 12 bytes (core) or of 40 bytes and
// the longer ones that extend it; 1, 4 and 8 bits through a colour table,
// 4 and 8 bits run-length encoded, 16 and 32 bits plain or with bit-field
// masks, 24 bits; rows stored bottom-up or top-down. The result is always
// red-green-blue, tight rows, bottom row first. Alpha is dropped.
#pragma once

#include "resources/texture.h"

#include <cstddef>
#include <cstdint>

enum class DibResult
{
    Ok,
    UnknownFormat,   // not a bitmap this reader knows: bad header, depth or compression
    ConversionError, // a known header, but the data is short, out of place or inconsistent
    OutOfMemory,     // the image is larger than we are willing to hold
};

// The largest image accepted, in pixels (192 MiB of output).
constexpr uint64_t kDibMaxPixels = uint64_t(1) << 26;

// Decodes `size` bytes at `data` into `image`, which must be empty. On any
// result but Ok, `image` stays empty.
DibResult DecodeDib(const uint8_t* data, size_t size, DibImage* image);
