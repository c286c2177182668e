// The render state both texture previews start from, through the engine's
// render-state cache: no shader, texture unit 0 with `enable` on (and
// `disable` off first, where it is not 0), the texture bound, no lighting,
// blending that replaces.
#pragma once

#include <GL/gl.h>

class Texture;

void PreparePreview(Texture* texture, GLenum enable, GLenum disable);
