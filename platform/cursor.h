// The mouse cursor: a show counter, warping and the position in screen
// coordinates.
#pragma once

// Adds 1 (show) or takes 1 away (hide); the cursor is visible while the
// count is 0 or more. Returns the new count.
int ShowCursor(bool show);
// Moves the cursor. Where the video driver cannot warp (offscreen), the
// position is only remembered for GetCursorPos. False without video.
bool SetCursorPos(int x, int y);
bool GetCursorPos(int* x, int* y);
