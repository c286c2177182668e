// How well a picture of the demo reads as ink: measures over a grey picture
// (0 ink, 255 paper) and a mask of the model's pixels, which a second shot
// with the model drawn solid black gives (InkMaskMaterials).
//
//   crisp    the share of the model's pixels that are clear ink (< 64) or
//            clear paper (> 192)
//   outline  the share of the silhouette's pixels (model pixels beside a
//            paper pixel) with ink (< 128) within 2 pixels
//   band     the ink drawn outside the model within 4 pixels of it, in
//            pixels for each silhouette pixel: the outline's width
//   stray    ink pixels outside the model farther than 4 pixels from it
//            (the overlay's rows left out)
//   tone     on a sphere: the correlation of the paper left in a 9 by 9
//            window with the Lambert term N.L (clamped at 0), computed from
//            the demo's camera and light, and the number of steps of tone
//            from dark to light over 32 bins of N.L
//
// Header only, so that the suites and the measuring program share it.
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
    int width = 0;
    int height = 0;
    std::vector<uint8_t> level; // top row first

    uint8_t At(int x, int y) const { return level[static_cast<size_t>(y) * width + x]; }
};

// The mean of the three components of an RGB picture, top row first.
inline GreyPicture ToGrey(int width, int height, const std::vector<uint8_t>& rgb)
{
    GreyPicture grey;
    grey.width = width;
    grey.height = height;
    grey.level.resize(static_cast<size_t>(width) * height);
    for (size_t i = 0; i < grey.level.size(); ++i)
        grey.level[i] = static_cast<uint8_t>((rgb[3 * i] + rgb[3 * i + 1] + rgb[3 * i + 2]) / 3);
    return grey;
}

// The model's pixels: those the solid black shot inked, but for the rows of
// the statistics overlay (y 528 to 599 whatever the window's size).
inline std::vector<bool> ModelMask(const GreyPicture& solid)
{
    std::vector<bool> mask(solid.level.size());
    for (size_t i = 0; i < mask.size(); ++i)
    {
        size_t y = i / solid.width;
        mask[i] = solid.level[i] < 128 && (y < 528 || y >= 600);
    }
    return mask;
}

inline double CrispShare(const GreyPicture& picture, const std::vector<bool>& mask)
{
    long inside = 0, clear = 0;
    for (size_t i = 0; i < mask.size(); ++i)
    {
        if (!mask[i])
            continue;
        ++inside;
        uint8_t v = picture.level[i];
        if (v < 64 || v > 192)
            ++clear;
    }
    return inside ? static_cast<double>(clear) / inside : 0;
}

inline double OutlineInkedShare(const GreyPicture& picture, const std::vector<bool>& mask,
                                int radius = 2)
{
    int w = picture.width, h = picture.height;
    auto in = [&](int x, int y)
    { return x >= 0 && y >= 0 && x < w && y < h && mask[static_cast<size_t>(y) * w + x]; };
    long edge = 0, inked = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            if (!in(x, y) || (in(x - 1, y) && in(x + 1, y) && in(x, y - 1) && in(x, y + 1)))
                continue;
            ++edge;
            bool found = false;
            for (int dy = -radius; dy <= radius && !found; ++dy)
                for (int dx = -radius; dx <= radius && !found; ++dx)
                {
                    int u = x + dx, v = y + dy;
                    found = dx * dx + dy * dy <= radius * radius && u >= 0 && v >= 0 && u < w &&
                            v < h && picture.At(u, v) < 128;
                }
            if (found)
                ++inked;
        }
    return edge ? static_cast<double>(inked) / edge : 0;
}

struct OutlineBand
{
    double width = 0; // ink pixels beside the model for each silhouette pixel
    long stray = 0;   // ink pixels farther away
};

inline OutlineBand MeasureOutlineBand(const GreyPicture& picture, const std::vector<bool>& mask)
{
    int w = picture.width, h = picture.height;
    auto in = [&](int x, int y)
    { return x >= 0 && y >= 0 && x < w && y < h && mask[static_cast<size_t>(y) * w + x]; };
    long edge = 0, band = 0;
    OutlineBand result;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            if (in(x, y))
            {
                edge += !(in(x - 1, y) && in(x + 1, y) && in(x, y - 1) && in(x, y + 1));
                continue;
            }
            if (picture.At(x, y) >= 128 || (y >= 528 && y < 600))
                continue;
            bool near = false;
            for (int dy = -4; dy <= 4 && !near; ++dy)
                for (int dx = -4; dx <= 4 && !near; ++dx)
                    near = in(x + dx, y + dy);
            if (near)
                ++band;
            else
                ++result.stray;
        }
    result.width = edge ? static_cast<double>(band) / edge : 0;
    return result;
}

// The light's direction after `ticks` updates: the demo's sweep of 0.01 a
// tick, summed in single precision as the demo sums it, on a circle of
// radius 15 at the height 40, normalised.
inline void LightDirection(long ticks, double out[3])
{
    float angle = 0;
    for (long i = 1; i < ticks; ++i)
        angle += 0.01f;
    double v[3] = {std::cos(angle) * 15.0, 40.0, std::sin(angle) * 15.0};
    double l = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    for (int i = 0; i < 3; ++i)
        out[i] = v[i] / l;
}

struct ToneFit
{
    double correlation = 0; // paper in the window against N.L
    int steps = 0;          // tones from dark to light
    long samples = 0;
};

// A sphere of `radius` at `centre`, seen by the demo's camera (eye (13.6,
// 7.7, 11.8) towards (0, -2, -5), 45 degrees of vertical view) and lit by
// its light after `ticks`: each pixel whose 9 by 9 window lies on the
// sphere (model pixels only, so the outline stays out) gives one sample.
inline ToneFit SphereTone(const GreyPicture& picture, const std::vector<bool>& mask, long ticks,
                          const double centre[3], double radius)
{
    const double eye[3] = {13.6, 7.7, 11.8};
    const double target[3] = {0, -2, -5};
    auto normalise = [](double v[3])
    {
        double l = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        for (int i = 0; i < 3; ++i)
            v[i] /= l;
    };
    auto cross = [](const double a[3], const double b[3], double out[3])
    {
        out[0] = a[1] * b[2] - a[2] * b[1];
        out[1] = a[2] * b[0] - a[0] * b[2];
        out[2] = a[0] * b[1] - a[1] * b[0];
    };
    double forward[3] = {target[0] - eye[0], target[1] - eye[1], target[2] - eye[2]};
    normalise(forward);
    const double worldUp[3] = {0, 1, 0};
    double side[3], up[3];
    cross(forward, worldUp, side);
    normalise(side);
    cross(side, forward, up);
    double light[3];
    LightDirection(ticks, light);

    int w = picture.width, h = picture.height;
    double tanHalf = std::tan(22.5 * M_PI / 180.0);
    double aspect = static_cast<double>(w) / h;
    // Integral of the mask, to test a whole window at once.
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
            long covered = sum[(y + 5) * (w + 1) + x + 5] - sum[(y - 4) * (w + 1) + x + 5] -
                           sum[(y + 5) * (w + 1) + x - 4] + sum[(y - 4) * (w + 1) + x - 4];
            if (covered != 81)
                continue;
            double px = (2.0 * (x + 0.5) / w - 1.0) * tanHalf * aspect;
            double py = (1.0 - 2.0 * (y + 0.5) / h) * tanHalf;
            double ray[3];
            for (int i = 0; i < 3; ++i)
                ray[i] = forward[i] + px * side[i] + py * up[i];
            normalise(ray);
            double oc[3] = {eye[0] - centre[0], eye[1] - centre[1], eye[2] - centre[2]};
            double b = oc[0] * ray[0] + oc[1] * ray[1] + oc[2] * ray[2];
            double c = oc[0] * oc[0] + oc[1] * oc[1] + oc[2] * oc[2] - radius * radius;
            double disc = b * b - c;
            if (disc < 0)
                continue;
            double t = -b - std::sqrt(disc);
            double n[3];
            for (int i = 0; i < 3; ++i)
                n[i] = (oc[i] + t * ray[i]) / radius;
            double nl = n[0] * light[0] + n[1] * light[1] + n[2] * light[2];
            long total = 0;
            for (int dy = -4; dy <= 4; ++dy)
                for (int dx = -4; dx <= 4; ++dx)
                    total += picture.At(x + dx, y + dy);
            lambert.push_back(std::max(0.0, nl));
            paper.push_back(total / (81.0 * 255.0));
        }
    ToneFit fit;
    fit.samples = static_cast<long>(lambert.size());
    if (lambert.size() < 2)
        return fit;
    double ml = 0, mp = 0;
    for (size_t i = 0; i < lambert.size(); ++i)
    {
        ml += lambert[i];
        mp += paper[i];
    }
    ml /= lambert.size();
    mp /= paper.size();
    double sll = 0, spp = 0, slp = 0;
    for (size_t i = 0; i < lambert.size(); ++i)
    {
        sll += (lambert[i] - ml) * (lambert[i] - ml);
        spp += (paper[i] - mp) * (paper[i] - mp);
        slp += (lambert[i] - ml) * (paper[i] - mp);
    }
    fit.correlation = sll > 0 && spp > 0 ? slp / std::sqrt(sll * spp) : 0;

    // Steps: over 32 bins of N.L from 0 to 1, each bin whose mean paper
    // lies at least 1/128 above every darker bin counted so far.
    const int bins = 32;
    std::vector<double> total(bins, 0);
    std::vector<long> count(bins, 0);
    for (size_t i = 0; i < lambert.size(); ++i)
    {
        int bin = std::min(bins - 1, static_cast<int>(lambert[i] * bins));
        total[bin] += paper[i];
        ++count[bin];
    }
    double lightest = -1;
    for (int i = 0; i < bins; ++i)
    {
        if (count[i] < 20)
            continue;
        double mean = total[i] / count[i];
        if (mean >= lightest + 1.0 / 128)
        {
            ++fit.steps;
            lightest = mean;
        }
    }
    return fit;
}

// The materials of a run folder's Shaders.ini made to draw the model solid
// black and leave its outline out: the shot that gives ModelMask. The
// Hatching stage replaces the texture with the stage's constant colour
// (black unless set), and the outline never passes the depth test.
inline std::string InkMaskMaterials(std::string shaders)
{
    auto set =
        [&shaders](const std::string& section, const std::string& key, const std::string& value)
    {
        size_t at = shaders.find("[" + section + "]");
        if (at == std::string::npos)
            return;
        size_t end = shaders.find("\n[", at + 1);
        size_t line = shaders.find("\n" + key + "=", at);
        if (line != std::string::npos && (end == std::string::npos || line < end))
        {
            size_t stop = shaders.find('\n', line + 1);
            shaders.replace(line + 1, stop - line - 1, key + "=" + value);
        }
        else
            shaders.insert(shaders.find('\n', at) + 1, key + "=" + value + "\n");
    };
    set("Hatching - TU0", "source_rgb0", "GL_CONSTANT");
    set("Hatching - TU0", "combine_rgb", "GL_REPLACE");
    set("Outline", "depthfunc", "GL_NEVER");
    return shaders;
}

} // namespace testsupport
