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
//     ArtMapStack stack;
//     GenerateArtMapStack(256, 128, 5, 0, &stack);
//     stack.WriteLevel(m, block);   // level m, stack.slices[m] tone images of it
#pragma once

#include <cstddef>
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

    // While tracking, every pixel that turns from paper to ink gets `mark`
    // in `map` (one entry a pixel of every level, level L from
    // levelStart[L]), and one that turns back to paper gets 0. Null for none.
    void MarkNewInk(uint16_t* map, const size_t* levelStart, uint16_t mark);

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
    uint16_t* inkMap = nullptr;
    const size_t* inkMapStart = nullptr;
    uint16_t inkMark = 0;
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

// The whole stack in the room of one tone's chain. Generate draws only
// black on white, so a pixel that is ink in one tone is ink in every darker
// one: a pixel of the chain is told completely by the tone in which it
// turned to ink. Any tone, level or slice of the volume is written from
// that on demand, so neither the stack nor the volume needs to be held.
struct ArtMapStack
{
    uint32_t size = 0;
    uint32_t layerCount = 0;
    uint32_t levelCount = 0;
    std::vector<uint32_t> slices;   // per level of the volume
    std::vector<size_t> levelStart; // per level: its first pixel in inkFrom
    std::vector<uint16_t> inkFrom;  // per pixel: 1 + the lightest tone with ink there, 0 none
    uint64_t strokes = 0;           // placed over every Generate

    // Bytes of one RGB image of level m, and of level m of the volume.
    size_t ImageBytes(uint32_t m) const { return size_t(size >> m) * (size >> m) * 3; }
    size_t LevelBytes(uint32_t m) const { return ImageBytes(m) * slices[m]; }
    // The tone that slice j of level m holds: tone j << m, and the lightest
    // tone in the last slice.
    uint32_t SliceTone(uint32_t m, uint32_t j) const
    {
        return j + 1 == slices[m] ? layerCount - 1 : j << m;
    }
    // Level m of tone `tone` (0 the darkest) as RGB, ImageBytes(m) bytes.
    void WriteTone(uint32_t tone, uint32_t m, uint8_t* out) const;
    // Level m of the volume as glTexImage3D takes it, LevelBytes(m) bytes.
    void WriteLevel(uint32_t m, uint8_t* out) const;
};

// The slices of an ArtMapStack one after another, each written from the
// one before into one image: going to a lighter tone, only the pixels whose
// ink came between the two tones turn white. Slices asked for in volume
// order (level by level, the darkest tone first) so cost little more than
// the ink they lose; any other order rewrites the whole image.
class ArtMapSlices
{
public:
    explicit ArtMapSlices(const ArtMapStack& stack);
    // Slice j of level m, ImageBytes(m) bytes; good until the next call.
    const uint8_t* Slice(uint32_t m, uint32_t j);

private:
    const ArtMapStack& stack;
    std::vector<uint8_t> image;
    std::vector<uint32_t> byInk; // the pixels of `level`, ordered by their inkFrom value
    std::vector<uint32_t> first; // per inkFrom value: its first entry in byInk
    uint32_t level = UINT32_MAX;
    uint32_t tone = 0;
};

// The generation in the form Build uses: one working layer that grows from
// the lightest tone to the darkest, its ink counted as it is laid and its
// candidates counted without drawing. Starts the stroke generator afresh.
// The observer, if any, sees every finished tone's layer.
using ToneObserver = void (*)(uint32_t tone, const PixelCanvas& layer, void* user);
void GenerateArtMapStack(uint32_t size, uint32_t layerCount, uint32_t candidates, int32_t layerKind,
                         ArtMapStack* stack, ToneObserver observer = nullptr, void* user = nullptr);

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
    // GenerateArtMapStack, its levels written out.
    Quick,
    // The stack as a row of layers, each a copy of the lighter one plus its
    // strokes, every candidate measured by walking its level and undone by
    // copying the level back, then laid into the volume.
    Reference,
};

// The whole volume at once, with no GL call (some 33 MB for the demo's
// map: for tests and comparisons; Build and tessimo-tam write one level or
// slice at a time from an ArtMapStack). Starts the stroke
// generator afresh, as a new run of the program would find it.
void GenerateArtMapVolume(uint32_t size, uint32_t layerCount, uint32_t candidates,
                          int32_t layerKind, ArtMapForm form, ArtMapVolume* volume);

// The observer sees each finished tone (0 the darkest) with its layer. Only
// with ArtMapForm::Quick; null for none.
void GenerateArtMapVolume(uint32_t size, uint32_t layerCount, uint32_t candidates,
                          int32_t layerKind, ArtMapForm form, ArtMapVolume* volume,
                          ToneObserver observer, void* user);

// Puts the stroke generator back to its start value.
void ResetStrokeRandom();

// The end coordinate across a stroke: the start plus the drift, the sum
// truncated toward zero, and 0 where the drift pulls below 0.
uint32_t StrokeEndCoordinate(uint32_t start, double drift);
