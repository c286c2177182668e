#include "resources/vertex_array_pool.h"

#include <cstdlib>

#include "app/gl_entry_points.h"
#include "app/math.h"
#include "app/report.h"
#include "platform/messages.h"
#include "resources/console_base.h"
#include "resources/engine_base.h"

namespace
{

// The texts of the pool, as the user sees them.
const char* const kAgpLine = "> %d kbytes allocated in AGP for vertices array";
const char* const kVramLine = "> %d kbytes allocated in VRAM for vertices array";
const char* const kRamLine = "> %d kbytes allocated in RAM for vertices array";
const char* const kRangeValidLine = "> vertex array range valid";
const char* const kRangeInvalidLine = "> vertex array range invalid";
const char* const kNoRangeMemoryText =
    "## AGP or video memory allocation error ##\n\nAllocate in main memory :-((";
const char* const kNoRangeMemoryCaption = "Not enough memory";
const char* const kNoMemoryText = "memory allocation error"; // a problem
const char* const kNoMemoryCaption = "Fatal error";

// The range state without flush that activation and release use, and the
// plain one that deactivation switches off.
constexpr GLenum kRangeWithoutFlush = 0x8533;
constexpr GLenum kRange = 0x851D;
constexpr GLenum kRangeValid = 0x851F;

} // namespace

uint32_t RoundAlignment(uint32_t alignment)
{
    return RoundUpToPowerOfTwo(alignment);
}

VertexArrayPool::VertexArrayPool() = default;

VertexArrayPool::~VertexArrayPool()
{
    Release();
}

void VertexArrayPool::Init(uint32_t bytes, int32_t kind, uint32_t align, float readFrequency,
                           float writeFrequency)
{
    if (base && !released)
        Release();
    released = false;
    memoryKind = kind;
    size = bytes;
    base = cursor = end = nullptr;
    freeBytes = 0;
    alignment = RoundAlignment(align);
    if (g_engine && g_engine->console)
        g_engine->console->AddVariable("r_freeVAmemory", VariableInt, &freeBytes, true);

    if (g_engine && g_engine->capabilities.hasVertexArrayRange && kind != 0 && wglAllocateMemoryNV)
    {
        float priority = kind == 1 ? 0.5f : 1.0f;
        void* block = wglAllocateMemoryNV(static_cast<GLsizei>(size), readFrequency, writeFrequency,
                                          priority);
        if (block)
        {
            base = cursor = static_cast<uint8_t*>(block);
            end = base + size;
            freeBytes = size;
            Report(ToConsole, Frame::None, kind == 1 ? kAgpLine : kVramLine,
                   static_cast<int32_t>(size / 1024));
            return;
        }
        ReportBox(Frame::None, kNoRangeMemoryText, kNoRangeMemoryCaption, 0);
    }

    void* block = std::malloc(size ? size : 1);
    if (!block)
    {
        memoryKind = 0;
        ReportBox(Frame::Problem, kNoMemoryText, kNoMemoryCaption, 0);
        PostQuitMessage(1);
        return;
    }
    base = cursor = static_cast<uint8_t*>(block);
    end = base + size;
    freeBytes = size;
    memoryKind = 0;
    Report(ToConsole, Frame::None, kRamLine, static_cast<int32_t>(size / 1024));
}

void VertexArrayPool::Reset()
{
    cursor = base;
    freeBytes = static_cast<uint32_t>(end - base);
}

void VertexArrayPool::Release()
{
    if (released || !base)
        return;
    if (memoryKind == 0)
        std::free(base);
    else
    {
        glDisableClientState(kRangeWithoutFlush);
        if (wglFreeMemoryNV)
            wglFreeMemoryNV(base);
    }
    released = true;
}

void* VertexArrayPool::Allocate(uint32_t bytes)
{
    if (!base || released)
        return nullptr;
    // Bytes up to the next multiple of the alignment; they are lost.
    uintptr_t at = reinterpret_cast<uintptr_t>(cursor);
    uintptr_t skip = (alignment - at) & (alignment - 1);
    uintptr_t left = static_cast<uintptr_t>(end - cursor);
    if (skip > left || bytes > left - skip)
        return nullptr;
    uint8_t* block = cursor + skip;
    cursor = block + bytes;
    freeBytes = static_cast<uint32_t>(end - cursor);
    return block;
}

void VertexArrayPool::ActivateRange()
{
    if (memoryKind == 0 || !base || released)
        return;
    glVertexArrayRangeNV(static_cast<GLsizei>(size), base);
    glEnableClientState(kRangeWithoutFlush);
    GLint valid = 0;
    glGetIntegerv(kRangeValid, &valid);
    Report(ToConsole, Frame::None, "%s", valid ? kRangeValidLine : kRangeInvalidLine);
}

void VertexArrayPool::DeactivateRange()
{
    if (memoryKind != 0)
        glDisableClientState(kRange);
}
