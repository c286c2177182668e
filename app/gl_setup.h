// The GL state the engine starts every context with, and its projection.
#pragma once

#include <cstdint>

// Logs the driver's strings and sets the GL defaults. Called at start-up and
// after each display mode switch (a new context starts from GL's defaults).
bool InitGL();
// Viewport and a 45 degree perspective; a height of 0 becomes 1. The values
// are kept for GetPerspective.
void SetPerspective(int32_t width, int32_t height, float nearPlane, float farPlane);
// The values of the last SetPerspective: width, height (after the
// correction), near and far.
void GetPerspective(float* width, float* height, float* nearPlane, float* farPlane);
// Whether `name` is a whole word of a blank-separated extension list.
bool ExtensionListContains(const char* list, const char* name);
