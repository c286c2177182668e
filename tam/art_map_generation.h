// The generation of the tonal art map on the CPU: the tone layers, the
// stroke generator, and the bytes of the volume level by level. No GL: the
// layers are pixel canvases, and TonalArtMap::Build hands the bytes to the
// card (tessimo-tam writes them out instead).
//
// Every image holds all the strokes of the lighter ones plus its own, and
// every mip level of an image is drawn at its own resolution (a coarse
// level holds a subset of the finer levels' strokes), so a stroke stays one
// to three pixels wide however far the image shrinks. The strokes come from
// a private generator that is never seeded: every run builds the same
// stack, bit for bit.
//
//     ArtMapVolume volume;
//     GenerateArtMapVolume(256, 128, 5, 0, ArtMapForm::Quick, &volume);
//     // volume.blocks[m]: level m, volume.slices[m] tone images of it
#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "tam/pixel_canvas.h"

// One tone image: an RGB image of 24 bits a pixel. Exactly (255, 255, 255)
// is paper; everything else is ink.
class ToneLayer : public PixelCanvas
{
public:
    // Adds strokes to every level until each has at least `targetTone` of
    // ink (one stroke at least). From `crossThreshold` on the strokes
    // alternate between vertical and horizontal.
    virtual void Generate(float targetTone, float crossThreshold, uint32_t candidates) = 0;
};

// A layer that stays as it is: the volume is plain paper.
class BlankLayer : public ToneLayer
{
public:
    void Generate(float, float, uint32_t) override {}
};

class HatchLayer : public ToneLayer
{
public:
    // Strokes one by one, each the best of `candidates` random ones judged
    // on the coarsest level still short of its tone.
    void Generate(float targetTone, float crossThreshold, uint32_t candidates) override;
    // One Bresenham stroke with a swelling width profile into one level.
    virtual void DrawStroke(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint8_t c0,
                            uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level);
    // The fraction of ink pixels of a level, by walking all of it.
    virtual float MeasureTone(uint32_t level);
    // The one, two or three pixels of one brush position.
    virtual void PlotBrush(uint32_t x, uint32_t y, uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3,
                           uint32_t level, uint32_t width, bool acrossY);

    // The quick way to the same pixels: ink is counted as it is laid, and a
    // candidate is only counted (the paper pixels it would cover), never
    // drawn, instead of drawing it, walking the whole level and copying the
    // level back. Off, the layer does literally that drawing, walking and
    // copying (the reference form). Generate always draws in black.
    void TrackInk(bool on);

    // Strokes placed by Generate since the last ResetStrokeRandom.
    static uint64_t strokesPlaced;

private:
    void InkStroke(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint8_t c0, uint8_t c1,
                   uint8_t c2, uint32_t level, uint32_t brushWidth, bool acrossY);
    uint32_t CountNewInk(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint32_t level);
    float Tone(uint32_t level);
    void CountInk();

    bool tracking = false;
    std::vector<uint32_t> inkCount; // per level, while tracking
    std::vector<uint32_t> marks;    // per pixel: the last candidate that counted it
    uint32_t stamp = 0;
};

// Leaves new bytes uninitialised: every byte of a volume block is written
// by the generation, so zeroing 33 MB first would be wasted work.
template <typename T> struct UninitialisedAllocator : std::allocator<T>
{
    template <typename U> struct rebind
    {
        using other = UninitialisedAllocator<U>;
    };
    UninitialisedAllocator() = default;
    template <typename U> UninitialisedAllocator(const UninitialisedAllocator<U>&) {}
    template <typename U> void construct(U* p) { ::new (static_cast<void*>(p)) U; }
    template <typename U, typename... A> void construct(U* p, A&&... a)
    {
        ::new (static_cast<void*>(p)) U(std::forward<A>(a)...);
    }
};
using VolumeBlock = std::vector<uint8_t, UninitialisedAllocator<uint8_t>>;

// The bytes of the volume, level by level, as glTexImage3D takes them.
struct ArtMapVolume
{
    uint32_t size = 0;
    uint32_t layerCount = 0;
    uint32_t levelCount = 0;
    std::vector<uint32_t> slices;    // per level
    std::vector<VolumeBlock> blocks; // per level: side * side * 3 * slices bytes
    uint64_t strokes = 0;            // placed over every Generate
};

enum class ArtMapForm
{
    // One working layer that grows from the lightest tone to the darkest,
    // counted ink and candidates counted without drawing, each finished tone copied
    // straight into the slices it belongs to. What Build uses.
    Quick,
    // The stack as a row of layers, each a copy of the lighter one plus its
    // strokes, every candidate measured by walking its level and undone by
    // copying the level back, then laid into the volume.
    Reference,
};

// The whole CPU generation of Build, with no GL call. Starts the stroke
// generator afresh, as a new run of the program would find it.
void GenerateArtMapVolume(uint32_t size, uint32_t layerCount, uint32_t candidates,
                          int32_t layerKind, ArtMapForm form, ArtMapVolume* volume);

// Called for each finished tone (0 the darkest) with its layer, when a
// caller wants to look at the layers themselves (every mip level of one
// tone, say). Only with ArtMapForm::Quick; null for none.
using ToneObserver = void (*)(uint32_t tone, const PixelCanvas& layer, void* user);
void GenerateArtMapVolume(uint32_t size, uint32_t layerCount, uint32_t candidates,
                          int32_t layerKind, ArtMapForm form, ArtMapVolume* volume,
                          ToneObserver observer, void* user);

// Puts the stroke generator back to its start value.
void ResetStrokeRandom();

// The end coordinate across a stroke: the start plus the drift, the sum
// truncated toward zero, and 0 where the drift pulls below 0.
uint32_t StrokeEndCoordinate(uint32_t start, double drift);
