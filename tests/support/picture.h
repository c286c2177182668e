// Pictures of what the demo draws, read from PNG files.
#pragma once

#include <png.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace testsupport
{

// An RGB picture, top row first.
struct Picture
{
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;

    const uint8_t* At(int x, int y) const { return &rgb[(static_cast<size_t>(y) * width + x) * 3]; }
    // Mean of the three components over a box, 0 (ink) to 255 (paper).
    double MeanLevel(int x0, int y0, int x1, int y1) const
    {
        double sum = 0;
        long n = 0;
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x, ++n)
                sum += (At(x, y)[0] + At(x, y)[1] + At(x, y)[2]) / 3.0;
        return n ? sum / n : 0;
    }
};

inline bool ReadPng(const std::string& path, Picture* picture)
{
    png_image image;
    memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str()))
        return false;
    image.format = PNG_FORMAT_RGB;
    picture->width = int(image.width), picture->height = int(image.height);
    picture->rgb.resize(PNG_IMAGE_SIZE(image));
    return png_image_finish_read(&image, nullptr, picture->rgb.data(), 0, nullptr) != 0;
}

} // namespace testsupport
