// Pictures of what the demo draws, read from PNG files, and the tools
// started in a run folder.
#pragma once

#include <png.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "program_window.h"

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

// Starts command[0] with its arguments in `dir`, without sound and with
// message boxes on standard error; standard output and error go to
// dir/output.txt.
inline pid_t StartCommand(const std::string& dir, const std::vector<std::string>& command)
{
    pid_t pid = fork();
    if (pid == 0)
    {
        if (chdir(dir.c_str()) != 0)
            _exit(127);
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        setenv("TESSIMO_HEADLESS", "1", 1);
        if (FILE* out = freopen("output.txt", "w", stdout))
            dup2(fileno(out), 2);
        ExecCommand(command);
    }
    return pid;
}

} // namespace testsupport
