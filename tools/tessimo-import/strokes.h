// Texture coordinates for the art map, whose strokes run along s.
#pragma once

#include "model.h"

#include <string>
#include <vector>

enum class PartKind
{
    Elongated, // s around the long axis, t along it
    Flat,      // s along the chord (across the short side), t along the span
    Other,     // box coordinates
    TooSmall,  // on a line, or far smaller than a repeat: box coordinates
};

const char* KindName(PartKind kind);

// A part: the triangles of one piece of the source that hang together.
struct Part
{
    std::string name;
    PartKind kind = PartKind::Other;
    size_t faces = 0;
    float spread[3] = {0.0f, 0.0f, 0.0f}; // standard deviations along the axes, largest first
    int turns = 0; // repeats around an elongated part; 0: folded, too thin for one
};

// Box coordinates: each triangle projected along the axis its face turns
// to most, one repeat every `size` units, so the texture is never
// stretched by more than sqrt(3) on a face.
CornerTexCoords BoxTexCoords(const OutMesh& mesh, float size);

// Coordinates that follow the form, one repeat every `size` units; the
// parts found are appended to `parts`.
CornerTexCoords FormTexCoords(const OutMesh& mesh, float size, std::vector<Part>& parts);
