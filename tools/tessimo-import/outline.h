// The outline mesh: the model's hull, drawn by the material "Outline".
//
// What the material's vertex program gets from each vertex:
//   position   the hull's vertex, all meshes welded by position (within a
//              ten thousandth of the model's size);
//   normal     the unit average of the normals of the triangles around it;
//   texcoord   s = the outline's width in pixels on a screen of 800 by
//              600, t = 0.
// It pushes each vertex out along its normal by s pixels on the screen,
// and the material culls front faces, so that only the rim of the pushed
// hull shows behind the model. The material needs a texture stage even
// if it draws with the vertex colour alone: the mesh sends its texture
// coordinates only to the units of its stages.
//
// The demo turns the first mesh of a file half a turn about y and no
// other: the outline, written last, carries the first mesh's part of the
// hull turned that way already. Pieces of the hull that are flat and open
// (a propeller disc of one side) are left out: pushing them only shifts
// them, and from behind they would show as a blot of ink.
#pragma once

#include "model.h"

#include <string>
#include <vector>

struct HullReport
{
    size_t nonManifold = 0; // edges of more than two triangles
    size_t unturned = 0;    // places whose normals cancel out
    size_t flatSheets = 0;  // flat open pieces left out
};

OutMesh BuildOutline(const std::vector<OutMesh>& meshes, float width, HullReport& report);
