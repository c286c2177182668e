// The integer line of Bresenham, shared by plain lines and brush strokes.
#pragma once

#include <cstdint>
#include <utility>

// Walks from (x1, y1) to (x2, y2), both ends included, one pixel per step
// of the long axis. Differences are signed 32-bit values and coordinates
// compare unsigned. A line with dx below dy is steep (one pixel per row);
// otherwise, the diagonal included, it is shallow (one per column). The
// ends are swapped so that the walk runs toward the larger coordinate of
// the long axis.
//
// visit(x, y, i, n, steep) sees every pixel: i is -1 for the first one and
// then counts the steps from 0; n is the length of the long axis.
template <typename Visit>
inline void WalkLine(uint32_t x1, uint32_t y1, uint32_t x2, uint32_t y2, Visit visit)
{
    int32_t dx = static_cast<int32_t>(x2 - x1);
    int32_t dy = static_cast<int32_t>(y2 - y1);
    dx = dx < 0 ? -dx : dx;
    dy = dy < 0 ? -dy : dy;
    bool steep = dx < dy;
    if (steep)
    {
        // Walk the rows: exchange the axes, walk as shallow, exchange back.
        std::swap(x1, y1);
        std::swap(x2, y2);
        std::swap(dx, dy);
    }
    if (x1 > x2)
    {
        std::swap(x1, x2);
        std::swap(y1, y2);
    }
    int32_t step = y1 < y2 ? 1 : -1;
    int32_t error = 2 * dy - dx;
    uint32_t y = y1;
    if (steep)
        visit(y1, x1, -1, static_cast<uint32_t>(dx), true);
    else
        visit(x1, y1, -1, static_cast<uint32_t>(dx), false);
    int32_t i = 0;
    for (uint32_t x = x1 + 1; x <= x2; ++x, ++i)
    {
        if (error >= 0)
        {
            y += step;
            error += 2 * (dy - dx);
        }
        else
            error += 2 * dy;
        if (steep)
            visit(y, x, i, static_cast<uint32_t>(dx), true);
        else
            visit(x, y, i, static_cast<uint32_t>(dx), false);
    }
}
