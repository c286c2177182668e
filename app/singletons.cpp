// The process-wide singletons, built by static initialisers before the
// program entry runs, in this order (one translation unit fixes it).
#include "app/input.h"
#include "app/window.h"

#include <new>

Window* g_window = new (std::nothrow) Window;
Input* g_input = new (std::nothrow) Input;
Mouse* g_mouse = new (std::nothrow) Mouse;
