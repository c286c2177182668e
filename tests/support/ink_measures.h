// How well a demo picture reads as ink (0 ink, 255 paper) over the model's pixels.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "tests/support/picture.h"

namespace testsupport
{

inline int Grey(const Picture& p, int x, int y)
{
    return (p.At(x, y)[0] + p.At(x, y)[1] + p.At(x, y)[2]) / 3;
}

// The statistics overlay's rows (whatever the window's size).
constexpr int kOverlayTop = 528, kOverlayEnd = 600;

// The model's pixels: those the solid black shot inked, but the overlay.
inline std::vector<bool> ModelMask(const Picture& solid)
{
    std::vector<bool> mask(static_cast<size_t>(solid.width) * solid.height);
    for (size_t i = 0, w = solid.width; i < mask.size(); ++i)
        mask[i] = Grey(solid, i % w, i / w) < 128 && (i / w < kOverlayTop || i / w >= kOverlayEnd);
    return mask;
}

struct InkMeasures
{
    double crisp = 0;   // model pixels that are clear ink (< 64) or clear paper (> 192)
    double outline = 0; // silhouette pixels (model beside paper) with ink (< 128) within 2
    double band = 0;    // ink outside the model within 4 pixels, a silhouette pixel: its width
    long stray = 0;     // ink pixels farther from the model (the overlay left out)
};

inline InkMeasures MeasureInk(const Picture& picture, const std::vector<bool>& mask)
{
    const int w = picture.width, h = picture.height;
    auto inside = [&](int x, int y) { return x >= 0 && y >= 0 && x < w && y < h; };
    auto in = [&](int x, int y) { return inside(x, y) && mask[static_cast<size_t>(y) * w + x]; };
    auto near = [&](int x, int y, int radius, bool ink)
    {
        for (int dy = -radius; dy <= radius; ++dy)
            for (int dx = -radius; dx <= radius; ++dx)
                if (ink ? dx * dx + dy * dy <= radius * radius && inside(x + dx, y + dy) &&
                              Grey(picture, x + dx, y + dy) < 128
                        : in(x + dx, y + dy))
                    return true;
        return false;
    };
    long model = 0, clear = 0, edge = 0, inked = 0, band = 0;
    InkMeasures m;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            int v = Grey(picture, x, y);
            if (!in(x, y))
            {
                if (v < 128 && (y < kOverlayTop || y >= kOverlayEnd))
                    ++(near(x, y, 4, false) ? band : m.stray);
                continue;
            }
            ++model;
            clear += v < 64 || v > 192;
            if (!(in(x - 1, y) && in(x + 1, y) && in(x, y - 1) && in(x, y + 1)))
                ++edge, inked += near(x, y, 2, true);
        }
    m.crisp = model ? double(clear) / model : 0;
    m.outline = edge ? double(inked) / edge : 0;
    m.band = edge ? double(band) / edge : 0;
    return m;
}

struct ToneFit
{
    double correlation = 0; // paper in a 9 by 9 window against N.L
    int steps = 0;          // tones from dark to light
    long samples = 0;
};

// A sphere seen and lit as by the demo after `ticks`: how the paper in each 9
// by 9 window on it follows N.L, and the steps over 32 bins of N.L.
inline ToneFit SphereTone(const Picture& picture, const std::vector<bool>& mask, long ticks,
                          const double centre[3], double radius)
{
    using V = std::array<double, 3>;
    auto dot = [](const V& a, const V& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; };
    auto along = [](V a, double s, const V& b) {
        return V{a[0] + s * b[0], a[1] + s * b[1], a[2] + s * b[2]};
    };
    auto unit = [&](const V& v) { return along({0, 0, 0}, 1 / std::sqrt(dot(v, v)), v); };
    const V eye = {13.6, 7.7, 11.8}, oc = along(eye, -1, {centre[0], centre[1], centre[2]});
    const V forward = unit(along({0, -2, -5}, -1, eye)), side = unit({-forward[2], 0, forward[0]});
    const V up = unit({side[1] * forward[2] - side[2] * forward[1],
                       side[2] * forward[0] - side[0] * forward[2],
                       side[0] * forward[1] - side[1] * forward[0]});
    float angle = 0;
    for (long i = 1; i < ticks; ++i)
        angle += 0.01f;
    const V light = unit({std::cos(angle) * 15.0, 40.0, std::sin(angle) * 15.0});
    const int w = picture.width, h = picture.height;
    const double tanHalf = std::tan(22.5 * M_PI / 180.0), aspect = double(w) / h;
    // Sums of N.L (l) and paper (p) for the correlation, and both in 32 bins of N.L.
    double n = 0, sl = 0, sp = 0, sll = 0, spp = 0, slp = 0;
    std::vector<double> total(32, 0), count(32, 0);
    for (int y = 4; y + 4 < h; ++y)
        for (int x = 4; x + 4 < w; ++x)
        {
            long sum = 0, onModel = 0;
            for (int dy = -4; dy <= 4; ++dy)
                for (int dx = -4; dx <= 4; ++dx)
                {
                    sum += Grey(picture, x + dx, y + dy);
                    onModel += mask[static_cast<size_t>(y + dy) * w + x + dx];
                }
            const double px = (2.0 * (x + 0.5) / w - 1.0) * tanHalf * aspect,
                         py = (1.0 - 2.0 * (y + 0.5) / h) * tanHalf;
            const V ray = unit(along(along(forward, px, side), py, up));
            const double b = dot(oc, ray), disc = b * b - dot(oc, oc) + radius * radius;
            if (onModel != 81 || disc < 0)
                continue;
            const V normal = along({0, 0, 0}, 1 / radius, along(oc, -b - std::sqrt(disc), ray));
            const double l = std::max(0.0, dot(normal, light)), p = sum / (81.0 * 255.0);
            n += 1, sl += l, sp += p, sll += l * l, spp += p * p, slp += l * p;
            total[std::min(31, int(l * 32))] += p, ++count[std::min(31, int(l * 32))];
        }
    const double vl = n * sll - sl * sl, vp = n * spp - sp * sp;
    ToneFit fit{vl > 0 && vp > 0 ? (n * slp - sl * sp) / std::sqrt(vl * vp) : 0, 0, long(n)};
    // A step: a bin of 20 samples or more 1/128 lighter than those before.
    double lightest = -1;
    for (int i = 0; i < 32; ++i)
        if (count[i] >= 20 && total[i] / count[i] >= lightest + 1.0 / 128)
            ++fit.steps, lightest = total[i] / count[i];
    return fit;
}

// Shaders.ini drawing the model solid black (the stage's constant colour in
// place of the texture) and the outline never (it fails the depth test).
inline std::string InkMaskMaterials(std::string shaders)
{
    auto set = [&](const std::string& section, const std::string& key, const std::string& value)
    {
        size_t at = shaders.find("[" + section + "]");
        if (at == std::string::npos)
            return;
        size_t end = shaders.find("\n[", at + 1), line = shaders.find("\n" + key + "=", at);
        if (line != std::string::npos && (end == std::string::npos || line < end))
            shaders.replace(line + 1, shaders.find('\n', line + 1) - line - 1, key + "=" + value);
        else
            shaders.insert(shaders.find('\n', at) + 1, key + "=" + value + "\n");
    };
    set("Hatching - TU0", "source_rgb0", "GL_CONSTANT");
    set("Hatching - TU0", "combine_rgb", "GL_REPLACE");
    set("Outline", "depthfunc", "GL_NEVER");
    return shaders;
}

} // namespace testsupport
