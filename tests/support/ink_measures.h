// How well a picture of the demo reads as ink: measures over a grey picture
// (0 ink, 255 paper) and a mask of the model's pixels, which a second shot
// with the model drawn solid black gives (InkMaskMaterials). Header only,
// so that the suites and the measuring program share it.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace testsupport
{

struct GreyPicture
{
    int width = 0, height = 0;
    std::vector<uint8_t> level; // top row first

    uint8_t At(int x, int y) const { return level[static_cast<size_t>(y) * width + x]; }
};

// The mean of the three components of an RGB picture, top row first.
inline GreyPicture ToGrey(int width, int height, const std::vector<uint8_t>& rgb)
{
    GreyPicture grey{width, height, std::vector<uint8_t>(static_cast<size_t>(width) * height)};
    for (size_t i = 0; i < grey.level.size(); ++i)
        grey.level[i] = static_cast<uint8_t>((rgb[3 * i] + rgb[3 * i + 1] + rgb[3 * i + 2]) / 3);
    return grey;
}

// The statistics overlay's rows (whatever the window's size).
inline bool OverlayRow(int y)
{
    return y >= 528 && y < 600;
}

// The model's pixels: those the solid black shot inked, but the overlay.
inline std::vector<bool> ModelMask(const GreyPicture& solid)
{
    std::vector<bool> mask(solid.level.size());
    for (size_t i = 0; i < mask.size(); ++i)
        mask[i] = solid.level[i] < 128 && !OverlayRow(int(i / solid.width));
    return mask;
}

struct InkMeasures
{
    double crisp = 0;   // model pixels that are clear ink (< 64) or clear paper (> 192)
    double outline = 0; // silhouette pixels (model beside paper) with ink (< 128) within 2
    double band = 0;    // ink outside the model within 4 pixels, a silhouette pixel: its width
    long stray = 0;     // ink pixels farther from the model (the overlay left out)
};

inline InkMeasures MeasureInk(const GreyPicture& picture, const std::vector<bool>& mask)
{
    const int w = picture.width, h = picture.height;
    auto in = [&](int x, int y)
    { return x >= 0 && y >= 0 && x < w && y < h && mask[static_cast<size_t>(y) * w + x]; };
    auto near = [&](int x, int y, int radius, bool ink)
    {
        for (int dy = -radius; dy <= radius; ++dy)
            for (int dx = -radius; dx <= radius; ++dx)
                if (ink ? dx * dx + dy * dy <= radius * radius && x + dx >= 0 && y + dy >= 0 &&
                              x + dx < w && y + dy < h && picture.At(x + dx, y + dy) < 128
                        : in(x + dx, y + dy))
                    return true;
        return false;
    };
    long inside = 0, clear = 0, edge = 0, inked = 0, band = 0;
    InkMeasures m;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            uint8_t v = picture.At(x, y);
            if (in(x, y))
            {
                ++inside;
                clear += v < 64 || v > 192;
                if (in(x - 1, y) && in(x + 1, y) && in(x, y - 1) && in(x, y + 1))
                    continue;
                ++edge;
                inked += near(x, y, 2, true);
            }
            else if (v < 128 && !OverlayRow(y))
                ++(near(x, y, 4, false) ? band : m.stray);
        }
    m.crisp = inside ? double(clear) / inside : 0;
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

// A sphere of `radius` at `centre`, seen by the demo's camera (eye (13.6,
// 7.7, 11.8) towards (0, -2, -5), 45 degrees of vertical view) and lit by
// its light after `ticks` (a sweep of 0.01 a tick, summed in single
// precision as the demo sums it, on a circle of radius 15 at the height
// 40): the correlation of the paper left in each 9 by 9 window that lies
// on the sphere with the Lambert term N.L (clamped at 0), and the steps of
// tone over 32 bins of N.L.
inline ToneFit SphereTone(const GreyPicture& picture, const std::vector<bool>& mask, long ticks,
                          const double centre[3], double radius)
{
    auto unit = [](double x, double y, double z)
    {
        double l = std::sqrt(x * x + y * y + z * z);
        return std::vector<double>{x / l, y / l, z / l};
    };
    auto dot = [](const std::vector<double>& a, const std::vector<double>& b)
    { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; };
    const double eye[3] = {13.6, 7.7, 11.8};
    auto forward = unit(-eye[0], -2 - eye[1], -5 - eye[2]);
    auto side = unit(-forward[2], 0, forward[0]); // forward x (0, 1, 0)
    auto up = unit(side[1] * forward[2] - side[2] * forward[1],
                   side[2] * forward[0] - side[0] * forward[2],
                   side[0] * forward[1] - side[1] * forward[0]);
    float angle = 0;
    for (long i = 1; i < ticks; ++i)
        angle += 0.01f;
    auto light = unit(std::cos(angle) * 15.0, 40.0, std::sin(angle) * 15.0);

    const int w = picture.width, h = picture.height;
    const double tanHalf = std::tan(22.5 * M_PI / 180.0), aspect = double(w) / h;
    // The mask's integral, to test a whole window at once.
    std::vector<long> sum(static_cast<size_t>(w + 1) * (h + 1), 0);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            sum[(y + 1) * (w + 1) + x + 1] = mask[static_cast<size_t>(y) * w + x] +
                                             sum[y * (w + 1) + x + 1] + sum[(y + 1) * (w + 1) + x] -
                                             sum[y * (w + 1) + x];
    std::vector<double> lambert, paper;
    for (int y = 4; y + 4 < h; ++y)
        for (int x = 4; x + 4 < w; ++x)
        {
            if (sum[(y + 5) * (w + 1) + x + 5] - sum[(y - 4) * (w + 1) + x + 5] -
                    sum[(y + 5) * (w + 1) + x - 4] + sum[(y - 4) * (w + 1) + x - 4] !=
                81)
                continue;
            double px = (2.0 * (x + 0.5) / w - 1.0) * tanHalf * aspect;
            double py = (1.0 - 2.0 * (y + 0.5) / h) * tanHalf;
            auto ray =
                unit(forward[0] + px * side[0] + py * up[0], forward[1] + px * side[1] + py * up[1],
                     forward[2] + px * side[2] + py * up[2]);
            std::vector<double> oc = {eye[0] - centre[0], eye[1] - centre[1], eye[2] - centre[2]};
            double b = dot(oc, ray), disc = b * b - dot(oc, oc) + radius * radius;
            if (disc < 0)
                continue;
            double t = -b - std::sqrt(disc);
            std::vector<double> n = {(oc[0] + t * ray[0]) / radius, (oc[1] + t * ray[1]) / radius,
                                     (oc[2] + t * ray[2]) / radius};
            long total = 0;
            for (int dy = -4; dy <= 4; ++dy)
                for (int dx = -4; dx <= 4; ++dx)
                    total += picture.At(x + dx, y + dy);
            lambert.push_back(std::max(0.0, dot(n, light)));
            paper.push_back(total / (81.0 * 255.0));
        }
    ToneFit fit;
    fit.samples = static_cast<long>(lambert.size());
    if (lambert.size() < 2)
        return fit;
    double ml = 0, mp = 0, sll = 0, spp = 0, slp = 0;
    for (size_t i = 0; i < lambert.size(); ++i)
    {
        ml += lambert[i] / lambert.size();
        mp += paper[i] / paper.size();
    }
    for (size_t i = 0; i < lambert.size(); ++i)
    {
        sll += (lambert[i] - ml) * (lambert[i] - ml);
        spp += (paper[i] - mp) * (paper[i] - mp);
        slp += (lambert[i] - ml) * (paper[i] - mp);
    }
    fit.correlation = sll > 0 && spp > 0 ? slp / std::sqrt(sll * spp) : 0;
    // A step: a bin (of 20 samples or more) whose mean paper lies at least
    // 1/128 above every darker bin counted so far.
    std::vector<double> total(32, 0);
    std::vector<long> count(32, 0);
    for (size_t i = 0; i < lambert.size(); ++i)
    {
        int bin = std::min(31, static_cast<int>(lambert[i] * 32));
        total[bin] += paper[i];
        ++count[bin];
    }
    double lightest = -1;
    for (int i = 0; i < 32; ++i)
        if (count[i] >= 20 && total[i] / count[i] >= lightest + 1.0 / 128)
        {
            ++fit.steps;
            lightest = total[i] / count[i];
        }
    return fit;
}

// A run folder's Shaders.ini made to draw the model solid black and leave
// its outline out: the Hatching stage replaces the texture with the
// stage's constant colour (black unless set), and the outline never passes
// the depth test.
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
