// Text for the developer: written to standard error.
#pragma once

void OutputDebugString(const char* text);
