// GL entry points by name; needs a current context.
#pragma once

void* GetGLProcAddress(const char* name);
