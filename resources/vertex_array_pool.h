// VertexArrayPool: the one block of memory that meshes take their render
// arrays from, handed out by a bump allocator.
//
// With the vertex array range extension a driver fetches vertices straight
// from AGP or video memory, provided every array lies in one declared
// range; so the engine asks for one block at start-up and cuts it into
// pieces. Without the extension, or when the driver has no such memory to
// give, the same pool lives in ordinary memory.
//
//     g_engine->vertexPool->Init(0x100000, 0, 32, 0.0f, 0.0f); // 1 MiB of RAM
//     float* p = static_cast<float*>(g_engine->vertexPool->Allocate(12 * count));
//     if (!p) ...                                             // the pool is full
//
// Nothing is ever given back alone: Reset frees everything at once.
#pragma once

#include <cstdint>

class VertexArrayPool
{
public:
    // No memory yet: Init asks for it.
    VertexArrayPool();
    // Gives the block back as Release does, unless Release already has.
    virtual ~VertexArrayPool();
    VertexArrayPool(const VertexArrayPool&) = delete;
    VertexArrayPool& operator=(const VertexArrayPool&) = delete;

    // Takes `size` bytes: AGP memory for kind 1, video memory for any other
    // kind but 0, when the driver has the range extension and the memory;
    // main memory otherwise (memoryKind then says 0). The alignment is
    // rounded up to a power of two. Publishes r_freeVAmemory. Main memory
    // that can't be had is fatal: a box, and a quit message.
    virtual void Init(uint32_t size, int32_t kind, uint32_t alignment, float readFrequency,
                      float writeFrequency);
    // Everything handed out is free again.
    virtual void Reset();
    // Gives the block back; the pool must not be used afterwards.
    virtual void Release();
    // The next `bytes` bytes at the next multiple of the alignment. Null,
    // with nothing changed, when the block has no memory or the request
    // does not fit before its end.
    virtual void* Allocate(uint32_t bytes);
    // Declares the block as the driver's vertex array range (range memory
    // only).
    virtual void ActivateRange();
    // Switches the range off again (range memory only).
    virtual void DeactivateRange();

    // 0 main memory, 1 AGP memory, anything else video memory.
    int32_t memoryKind = 0;
    uint8_t* base = nullptr;
    uint8_t* cursor = nullptr;
    uint8_t* end = nullptr;
    uint32_t alignment = 1;
    // Bytes from cursor to end; the console's r_freeVAmemory shows it.
    uint32_t freeBytes = 0;
    uint32_t size = 0;

private:
    bool released = false;
};

// The power of two that the pool aligns to for a requested alignment: from
// the lowest set bit up, doubled until it is not below the request (24
// gives 32). 0 gives 1.
uint32_t RoundAlignment(uint32_t alignment);
