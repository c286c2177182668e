# The demo's airplane, "tsm\avion.tsm": imported at build time from the
# sport plane of the crrcsim-data package (a low-wing aerobatics trainer,
# GPL-2, in AC3D format) and packed into data.rar with the other assets.
# Nothing of the package is kept in the repository.
#
# One mesh, since the demo turns the first mesh of the file half a turn
# about y: the model is turned the other way here, so that the nose comes
# towards the camera. Centred, with its longest side (the wing span) 22
# units, placed where the demo's camera looks (0, -2, -5): the camera at
# (13.6, 7.7, 11.8) with 45 degrees of view then sees the plane fill the
# frame in three-quarter view. The translucent propeller disc is left out;
# the material is "Hatching". The importer's defaults draw it in ink: smooth
# normals within a crease, strokes that follow the form of each part (one
# repeat of the art map every 6 units), and a second mesh, the outline, on
# the material "Outline", carrying the half turn already. The vertex pool
# holds 1 MiB at 32 bytes a vertex: 32000 vertices in all, outline
# included, leave room for the alignment of the arrays.
set(TESSIMO_AIRPLANE_SOURCE /usr/share/games/crrcsim/objects/sport.ac CACHE FILEPATH
  "The AC3D model imported as tsm\\avion.tsm")
set(model_output ${CMAKE_CURRENT_BINARY_DIR}/avion.tsm)
if(TARGET tessimo-import AND EXISTS ${TESSIMO_AIRPLANE_SOURCE})
  add_custom_command(OUTPUT ${model_output}
    COMMAND tessimo-import --merge all --rotate 0,180,0 --center --fit 22 --position 0,-2,-5
      --material Hatching --exclude prop_mat --max-vertices 32000
      ${TESSIMO_AIRPLANE_SOURCE} ${model_output}
    DEPENDS tessimo-import ${TESSIMO_AIRPLANE_SOURCE}
    COMMENT "Importing the airplane into avion.tsm"
    VERBATIM)
  # Generated assets for the packer: file=entry, and what they depend on.
  list(APPEND pack_generated "${model_output}=tsm\\avion.tsm")
  list(APPEND pack_generated_depends ${model_output})
else()
  message(WARNING "No airplane for data.rar: install crrcsim-data (scripts/setup)")
endif()
