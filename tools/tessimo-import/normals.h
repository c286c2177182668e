// Cleaning the triangles and computing the normals of a mesh.
#pragma once

#include "model.h"

struct Cleaned
{
    size_t degenerate = 0; // no area: corners at one place or on one line
    size_t duplicate = 0;  // the same corners in the same turn as another
};

// Leaves out the triangles that draw nothing of their own. A triangle
// and its reverse are both kept: together they are a two-sided sheet.
Cleaned CleanFaces(OutMesh& mesh);

// Unit normal of the triangle with corners a, b, c (counter-clockwise
// seen from the front), and twice its area; zero for a degenerate one.
float FaceNormal(const float* a, const float* b, const float* c, float* normal);

// Smooth normals with a crease: each corner averages, weighted by their
// angles at its vertex, the normals of the triangles around its position
// that turn by at most `creaseDegrees` from its own triangle. 0 gives
// flat faces. A corner whose normals cancel out (the two sides of a
// sheet) takes its triangle's own, and is marked in `cancelled` if given.
CornerNormals CreaseNormals(const OutMesh& mesh, float creaseDegrees,
                            std::vector<uint8_t>* cancelled = nullptr);
