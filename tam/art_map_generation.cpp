#include "tam/art_map_generation.h"

#include "tam/line_walk.h"

#include <algorithm>
#include <cstring>
#include <memory>

uint64_t HatchLayer::strokesPlaced = 0;

namespace
{

// The private stroke generator: a linear congruential sequence from 1,
// never seeded, drawn from by Generate alone.
int32_t randomState = 1;

uint32_t Draw()
{
    randomState = static_cast<int32_t>(static_cast<uint32_t>(randomState) * 214013u + 2531011u);
    return (static_cast<uint32_t>(randomState) >> 16) & 0x7FFF;
}

// The nearest float to 1/32767: a draw times this runs from 0.0 to 1.0.
const float kRandomScale = 3.0518509e-05f;

bool IsPaper(const uint8_t* p)
{
    return p[0] == 255 && p[1] == 255 && p[2] == 255;
}

float ToneOf(uint32_t ink, uint32_t pixels)
{
    return static_cast<float>(ink) / static_cast<float>(pixels);
}

// Width of the brush at step i of a stroke of n steps behind its first
// pixel: t = i / (n - 1) against the profile's bounds as exact fractions.
// 0 plots nothing (t of 0.95 and above, or a one-step stroke).
uint32_t ProfileWidth(uint32_t i, uint32_t n)
{
    if (n <= 1)
        return 0;
    uint64_t d = n - 1, k = i;
    if (4 * k < d)
        return 1; // below 1/4
    if (2 * k < d)
        return 2; // below 1/2
    if (4 * k < 3 * d)
        return 3; // below 3/4
    if (10 * k < 9 * d)
        return 2; // below 9/10
    if (20 * k < 19 * d)
        return 1; // below 19/20
    return 0;
}

} // namespace

uint32_t StrokeEndCoordinate(uint32_t start, double drift)
{
    if (drift < 0 && -drift > static_cast<double>(start))
        return 0;
    return static_cast<uint32_t>(static_cast<double>(start) + drift);
}

void ResetStrokeRandom()
{
    randomState = 1;
    HatchLayer::strokesPlaced = 0;
}

// ---------------------------------------------------------------------------
// The layers.

void HatchLayer::TrackInk(bool on)
{
    tracking = on;
    if (on)
    {
        CountInk();
        marks.assign(static_cast<size_t>(width) * height, 0);
        stamp = 0;
    }
}

void HatchLayer::MarkNewInk(uint16_t* map, const size_t* levelStart, uint16_t mark)
{
    inkMap = map;
    inkMapStart = levelStart;
    inkMark = mark;
}

void HatchLayer::CountInk()
{
    inkCount.assign(levelCount, 0);
    for (uint32_t level = 0; level < levelCount; ++level)
    {
        uint32_t pixels = (width >> level) * (height >> level);
        const uint8_t* p = levels[level];
        for (uint32_t i = 0; i < pixels; ++i, p += 3)
            inkCount[level] += IsPaper(p) ? 0 : 1;
    }
}

float HatchLayer::MeasureTone(uint32_t level)
{
    uint32_t pixels = (width >> level) * (height >> level);
    uint32_t ink = 0;
    const uint8_t* p = levels[level];
    for (uint32_t i = 0; i < pixels; ++i, p += 3)
        ink += IsPaper(p) ? 0 : 1;
    return ToneOf(ink, pixels);
}

float HatchLayer::Tone(uint32_t level)
{
    if (!tracking)
        return MeasureTone(level);
    return ToneOf(inkCount[level], (width >> level) * (height >> level));
}

namespace
{

// The pixels of one brush position, each through `put(x, y)`. The second
// pixel of width 2 across x is diagonal; a width outside 1 to 3 plots
// nothing.
template <typename Put>
inline void BrushPixels(uint32_t x, uint32_t y, uint32_t brushWidth, bool acrossY, Put put)
{
    if (brushWidth < 1 || brushWidth > 3)
        return;
    put(x, y);
    if (acrossY)
    {
        if (brushWidth >= 2)
            put(x, y + 1);
        if (brushWidth == 3)
            put(x, y - 1);
    }
    else if (brushWidth == 2)
        put(x + 1, y + 1);
    else if (brushWidth == 3)
    {
        put(x + 1, y);
        put(x - 1, y);
    }
}

// Bresenham along the long axis of a stroke, the width swelling with the
// profile; `brush(x, y, width, acrossY)` plots each position. The first
// pixel is thin; shallow strokes spread the brush across y, steep ones
// along x.
template <typename Brush>
inline void RasteriseStroke(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, Brush brush)
{
    WalkLine(x1, y1, x2, y2,
             [&](uint32_t x, uint32_t y, int32_t i, uint32_t n, bool steep)
             {
                 if (i < 0)
                     brush(x, y, 1u, true);
                 else
                     brush(x, y, ProfileWidth(static_cast<uint32_t>(i), n), !steep);
             });
}

} // namespace

void HatchLayer::PlotBrush(uint32_t x, uint32_t y, uint8_t c0, uint8_t c1, uint8_t c2, uint8_t c3,
                           uint32_t level, uint32_t brushWidth, bool acrossY)
{
    if (brushWidth < 1 || brushWidth > 3)
        return; // plots nothing (and 0 would mean a whole stroke to InkStroke)
    if (tracking)
    {
        InkStroke(x, y, x, y, c0, c1, c2, level, brushWidth, acrossY);
        return;
    }
    BrushPixels(x, y, brushWidth, acrossY,
                [&](uint32_t px, uint32_t py) { PutPixel(px, py, c0, c1, c2, c3, level); });
}

void HatchLayer::DrawStroke(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint8_t c0,
                            uint8_t c1, uint8_t c2, uint8_t c3, uint32_t level)
{
    if (tracking)
    {
        InkStroke(x1, y1, x2, y2, c0, c1, c2, level, 0, false);
        return;
    }
    RasteriseStroke(x1, y1, x2, y2,
                    [&](uint32_t x, uint32_t y, uint32_t brushWidth, bool acrossY)
                    { PlotBrush(x, y, c0, c1, c2, c3, level, brushWidth, acrossY); });
}

// The tracked way to the same pixels: the brush inlined, pixels that the
// colour leaves as they are skipped, and the ink count kept. A
// brushWidth of 0 rasterises the stroke (x1, y1)-(x2, y2); otherwise the
// one brush position (x1, y1) is plotted.
void HatchLayer::InkStroke(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint8_t c0,
                           uint8_t c1, uint8_t c2, uint32_t level, uint32_t brushWidth,
                           bool acrossY)
{
    const uint32_t rowPixels = width >> level;
    const uint32_t maskX = rowPixels - 1, maskY = (height >> level) - 1;
    uint8_t* const base = levels[level];
    uint16_t* const map = inkMap ? inkMap + inkMapStart[level] : nullptr;
    int32_t inkChange = 0;
    auto put = [&](uint32_t x, uint32_t y)
    {
        uint32_t i = (y & maskY) * rowPixels + (x & maskX);
        uint8_t* p = base + i * 3;
        if (p[0] == c0 && p[1] == c1 && p[2] == c2)
            return;
        bool wasInk = !IsPaper(p);
        p[0] = c0;
        p[1] = c1;
        p[2] = c2;
        bool isInk = !IsPaper(p);
        inkChange += static_cast<int32_t>(isInk) - static_cast<int32_t>(wasInk);
        if (map && isInk != wasInk)
            map[i] = isInk ? inkMark : 0;
    };
    if (brushWidth)
        BrushPixels(x1, y1, brushWidth, acrossY, put);
    else
        RasteriseStroke(x1, y1, x2, y2,
                        [&](uint32_t x, uint32_t y, uint32_t w, bool across)
                        { BrushPixels(x, y, w, across, put); });
    inkCount[level] += inkChange;
}

// The paper pixels that a black stroke would turn to ink, each counted
// once: what drawing it and measuring the level would add, with nothing
// drawn and so nothing to undo. A pixel is marked with the stamp of the
// stroke that counted it.
uint32_t HatchLayer::CountNewInk(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, uint32_t level)
{
    if (++stamp == 0)
    {
        // After 2^32 strokes the marks start over.
        std::fill(marks.begin(), marks.end(), 0);
        stamp = 1;
    }
    const uint32_t rowPixels = width >> level;
    const uint32_t maskX = rowPixels - 1, maskY = (height >> level) - 1;
    const uint8_t* const base = levels[level];
    uint32_t* const mark = marks.data();
    const uint32_t current = stamp;
    uint32_t added = 0;
    auto put = [&](uint32_t x, uint32_t y)
    {
        uint32_t i = (y & maskY) * rowPixels + (x & maskX);
        if (mark[i] != current && IsPaper(base + i * 3))
        {
            mark[i] = current;
            ++added;
        }
    };
    RasteriseStroke(x1, y1, x2, y2,
                    [&](uint32_t x, uint32_t y, uint32_t w, bool across)
                    { BrushPixels(x, y, w, across, put); });
    return added;
}

void HatchLayer::Generate(float targetTone, float crossThreshold, uint32_t candidates)
{
    const uint32_t W = width, H = height;
    std::unique_ptr<uint8_t[]> scratch(tracking ? nullptr : new uint8_t[LevelBytes(0)]);
    uint32_t active = levelCount;
    uint32_t level = active - 1;
    bool alternate = true;
    while (active != 0)
    {
        // Candidates are tried on the coarsest level still short of its
        // tone, and each is undone before the next (while tracking, a
        // candidate is only counted, never drawn).
        if (!tracking)
            memcpy(scratch.get(), levels[level], LevelBytes(level));
        float bestTone = 0.0f;
        alternate = !alternate;
        uint32_t best[4] = {0, 0, 0, 0};
        for (uint32_t c = 0; c < candidates; ++c)
        {
            uint32_t r1 = Draw();
            uint32_t length = static_cast<uint32_t>(
                (r1 * static_cast<double>(0.7f) * kRandomScale + static_cast<double>(0.3f)) * W);
            uint32_t x = Draw() % W;
            uint32_t y = Draw() % H;
            uint32_t x2, y2;
            if (targetTone < crossThreshold || alternate)
            {
                x2 = x + length;
                double drift = Draw() * (H * static_cast<double>(0.1f)) * kRandomScale -
                               H * static_cast<double>(0.05f);
                y2 = StrokeEndCoordinate(y, drift);
            }
            else
            {
                y2 = y + length;
                double drift = Draw() * (W * static_cast<double>(0.1f)) * kRandomScale -
                               W * static_cast<double>(0.05f);
                x2 = StrokeEndCoordinate(x, drift);
            }
            Draw(); // the fifth draw is consumed and has no other effect

            float tone;
            if (tracking)
                tone = ToneOf(inkCount[level] + CountNewInk(x >> level, y >> level, x2 >> level,
                                                            y2 >> level, level),
                              (W >> level) * (H >> level));
            else
            {
                DrawStroke(x >> level, y >> level, x2 >> level, y2 >> level, 0, 0, 0, 255, level);
                tone = MeasureTone(level);
            }
            if (tone > bestTone)
            {
                bestTone = tone;
                best[0] = x;
                best[1] = y;
                best[2] = x2;
                best[3] = y2;
            }
            if (!tracking)
                memcpy(levels[level], scratch.get(), LevelBytes(level));
        }

        // The winner goes into this level and every finer one.
        for (uint32_t i = 0; i < active; ++i)
        {
            Draw();
            DrawStroke(best[0] >> i, best[1] >> i, best[2] >> i, best[3] >> i, 0, 0, 0, 255, i);
        }
        ++strokesPlaced;

        while (active != 0 && Tone(active - 1) >= targetTone)
            active -= 1;
        level = active - 1;
    }
}

// ---------------------------------------------------------------------------
// The volume.

namespace
{

ToneLayer* MakeLayer(int32_t layerKind)
{
    if (layerKind == 1)
        return new BlankLayer;
    return new HatchLayer;
}

// The slices of each level: layerCount >> m, at least 1.
std::vector<uint32_t> SliceCounts(uint32_t layerCount, uint32_t levelCount)
{
    std::vector<uint32_t> slices;
    for (uint32_t m = 0; m < levelCount; ++m)
        slices.push_back(layerCount >> m ? layerCount >> m : 1);
    return slices;
}

void SizeVolume(uint32_t size, uint32_t layerCount, ArtMapVolume* volume)
{
    volume->size = size;
    volume->layerCount = layerCount;
    volume->levelCount = FullChainLength(size);
    volume->slices = SliceCounts(layerCount, volume->levelCount);
    volume->blocks.clear();
    for (uint32_t m = 0; m < volume->levelCount; ++m)
    {
        uint32_t side = size >> m;
        volume->blocks.emplace_back(static_cast<size_t>(side) * side * 3 * volume->slices[m]);
    }
}

void GenerateReference(uint32_t candidates, int32_t layerKind, ArtMapVolume* volume)
{
    const uint32_t size = volume->size, layerCount = volume->layerCount;
    const float step = static_cast<float>(1.0 / layerCount); // a double quotient, kept as float
    std::vector<std::unique_ptr<ToneLayer>> layers;
    for (uint32_t i = 0; i < layerCount; ++i)
    {
        layers.emplace_back(MakeLayer(layerKind));
        layers[i]->Allocate(size, size, 24, volume->levelCount, false);
    }
    layers[layerCount - 1]->Fill(255, 255, 255, 255);
    layers[layerCount - 1]->Generate(0.0f, 0.5f, candidates);
    float tone = 0.0f;
    for (uint32_t i = layerCount - 1; i-- > 0;)
    {
        tone += step;
        layers[i]->CopyFrom(*layers[i + 1]);
        layers[i]->Generate(tone, 0.5f, candidates);
    }
    for (uint32_t m = 0; m < volume->levelCount; ++m)
    {
        uint32_t slices = volume->slices[m];
        size_t bytes = layers[0]->LevelBytes(m);
        for (uint32_t j = 0; j + 1 < slices; ++j)
            memcpy(volume->blocks[m].data() + j * bytes, layers[j << m]->levels[m], bytes);
        memcpy(volume->blocks[m].data() + (slices - 1) * bytes, layers[layerCount - 1]->levels[m],
               bytes);
    }
    for (auto& layer : layers)
        layer->FreePixels();
}

} // namespace

void GenerateArtMapStack(uint32_t size, uint32_t layerCount, uint32_t candidates, int32_t layerKind,
                         ArtMapStack* stack, ToneObserver observer, void* user)
{
    ResetStrokeRandom();
    stack->size = size;
    stack->layerCount = layerCount;
    stack->levelCount = FullChainLength(size);
    stack->slices = SliceCounts(layerCount, stack->levelCount);
    stack->levelStart.clear();
    size_t pixels = 0;
    for (uint32_t m = 0; m < stack->levelCount; ++m)
    {
        stack->levelStart.push_back(pixels);
        pixels += static_cast<size_t>(size >> m) * (size >> m);
    }
    stack->inkFrom.assign(pixels, 0);

    const float step = static_cast<float>(1.0 / layerCount); // a double quotient, kept as float
    std::unique_ptr<ToneLayer> layer(MakeLayer(layerKind));
    layer->Allocate(size, size, 24, stack->levelCount, false);
    layer->Fill(255, 255, 255, 255);
    auto* hatch = dynamic_cast<HatchLayer*>(layer.get());
    if (hatch)
        hatch->TrackInk(true);
    float tone = 0.0f;
    for (uint32_t i = layerCount; i-- > 0;)
    {
        // Each darker tone is the lighter one plus strokes; what they ink
        // is marked with this tone.
        if (i != layerCount - 1)
            tone += step;
        if (hatch)
            hatch->MarkNewInk(stack->inkFrom.data(), stack->levelStart.data(),
                              static_cast<uint16_t>(i + 1));
        layer->Generate(tone, 0.5f, candidates);
        if (observer)
            observer(i, *layer, user);
    }
    layer->FreePixels();
    stack->strokes = HatchLayer::strokesPlaced;
}

void ArtMapStack::WriteTone(uint32_t tone, uint32_t m, uint8_t* out) const
{
    // Ink is black and paper white, all three bytes alike; four pixels go
    // out in one store of twelve bytes.
    const uint16_t* from = inkFrom.data() + levelStart[m];
    const size_t pixels = static_cast<size_t>(size >> m) * (size >> m);
    auto byte = [&](size_t i) -> uint8_t { return from[i] > tone ? 0x00 : 0xFF; };
    size_t i = 0;
    for (; i + 4 <= pixels; i += 4, out += 12)
    {
        uint8_t a = byte(i), b = byte(i + 1), c = byte(i + 2), d = byte(i + 3);
        const uint8_t four[12] = {a, a, a, b, b, b, c, c, c, d, d, d};
        memcpy(out, four, 12);
    }
    for (; i < pixels; ++i, out += 3)
        out[0] = out[1] = out[2] = byte(i);
}

void ArtMapStack::WriteLevel(uint32_t m, uint8_t* out) const
{
    for (uint32_t j = 0; j < slices[m]; ++j)
        WriteTone(SliceTone(m, j), m, out + j * ImageBytes(m));
}

ArtMapSlices::ArtMapSlices(const ArtMapStack& s) : stack(s), image(s.ImageBytes(0)) {}

const uint8_t* ArtMapSlices::Slice(uint32_t m, uint32_t j)
{
    const uint32_t t = stack.SliceTone(m, j);
    const uint16_t* from = stack.inkFrom.data() + stack.levelStart[m];
    const uint32_t pixels = (stack.size >> m) * (stack.size >> m);
    if (m != level)
    {
        // The pixels of the level in buckets by the tone their ink came in.
        first.assign(stack.layerCount + 2, 0);
        for (uint32_t i = 0; i < pixels; ++i)
            ++first[from[i] + 1u];
        for (size_t v = 1; v < first.size(); ++v)
            first[v] += first[v - 1];
        byInk.resize(pixels);
        std::vector<uint32_t> next(first.begin(), first.end() - 1);
        for (uint32_t i = 0; i < pixels; ++i)
            byInk[next[from[i]]++] = i;
    }
    if (m != level || t < tone)
        stack.WriteTone(t, m, image.data());
    else
        // Ink is there from value tone + 1 on and, at t, from t + 1 on.
        for (uint32_t k = first[tone + 1]; k < first[t + 1]; ++k)
            memset(image.data() + static_cast<size_t>(byInk[k]) * 3, 0xFF, 3);
    level = m;
    tone = t;
    return image.data();
}

void GenerateArtMapVolume(uint32_t size, uint32_t layerCount, uint32_t candidates,
                          int32_t layerKind, ArtMapForm form, ArtMapVolume* volume,
                          ToneObserver observer, void* user)
{
    if (form == ArtMapForm::Quick)
    {
        ArtMapStack stack;
        GenerateArtMapStack(size, layerCount, candidates, layerKind, &stack, observer, user);
        SizeVolume(size, layerCount, volume);
        for (uint32_t m = 0; m < volume->levelCount; ++m)
            stack.WriteLevel(m, volume->blocks[m].data());
        volume->strokes = stack.strokes;
        return;
    }
    ResetStrokeRandom();
    SizeVolume(size, layerCount, volume);
    GenerateReference(candidates, layerKind, volume);
    volume->strokes = HatchLayer::strokesPlaced;
}

void GenerateArtMapVolume(uint32_t size, uint32_t layerCount, uint32_t candidates,
                          int32_t layerKind, ArtMapForm form, ArtMapVolume* volume)
{
    GenerateArtMapVolume(size, layerCount, candidates, layerKind, form, volume, nullptr, nullptr);
}
