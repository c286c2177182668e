#include "app/input.h"

#include <cstring>

#include "platform/cursor.h"

Input::Input()
{
    memset(keys, 0, sizeof keys);
}

Input::~Input() = default;

void Mouse::SetPosition(int32_t x_, int32_t y_)
{
    SetCursorPos(x_, y_);
}

void Mouse::Read()
{
    int px = x, py = y;
    if (GetCursorPos(&px, &py))
        x = px, y = py;
}
