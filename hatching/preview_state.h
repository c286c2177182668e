// The render state both texture previews start from, through the engine's
// render-state cache: no shader, texture unit 0 with `enable` on (and
// `disable` off first, where it is not 0), the texture bound, no lighting,
// blending that replaces.
#pragma once

#include <cstdint>

class Texture;

// Returns the index of the texture unit in use.
uint32_t PreparePreview(Texture* texture, uint32_t enable, uint32_t disable);
