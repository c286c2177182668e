# Packs the source assets (everything under data/ but ini/ and the build
# files) and the textures made at build time into ${TESSIMO_RUN_DIR}/data.rar:
# solid, enciphered with the demo's password, entry names relative to data/
# with backslashes ("Ini\Shaders.ini"). Other assets made at build time, such
# as the airplane "tsm\avion.tsm" (model.cmake), come in through
# pack_generated ("file=entry" each) and pack_generated_depends.
file(GLOB_RECURSE pack_files CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}
  ${CMAKE_CURRENT_SOURCE_DIR}/*)
list(FILTER pack_files EXCLUDE REGEX "^ini/")
list(FILTER pack_files EXCLUDE REGEX "(^|/)CMakeLists\\.txt$")
list(FILTER pack_files EXCLUDE REGEX "\\.cmake$")
list(SORT pack_files)

set(pack_args)
set(pack_depends)
foreach(f ${pack_files})
  string(REPLACE "/" "\\" entry "${f}")
  list(APPEND pack_args "${CMAKE_CURRENT_SOURCE_DIR}/${f}=${entry}")
  list(APPEND pack_depends ${CMAKE_CURRENT_SOURCE_DIR}/${f})
endforeach()

# Textures of our own making: the screen font's glyphs (FreeType, DejaVu Sans
# Mono) and the pattern of a stage that names no map. The bold face, because
# the 16-texel cells are drawn on 12-pixel quads: its strokes keep their ink
# at that scale, where the regular ones fade to grey.
set(generated_dir ${CMAKE_CURRENT_BINARY_DIR}/generated)
if(TARGET tessimo-font)
  find_file(TESSIMO_FONT_FACE DejaVuSansMono-Bold.ttf
    PATHS /usr/share/fonts/truetype/dejavu /usr/share/fonts/dejavu NO_DEFAULT_PATH)
  if(TESSIMO_FONT_FACE)
    add_custom_command(OUTPUT ${generated_dir}/Font.tga
      COMMAND ${CMAKE_COMMAND} -E make_directory ${generated_dir}
      COMMAND tessimo-font glyphs ${TESSIMO_FONT_FACE} ${generated_dir}/Font.tga
      DEPENDS tessimo-font ${TESSIMO_FONT_FACE}
      COMMENT "Rendering the screen font"
      VERBATIM)
    list(APPEND pack_args "${generated_dir}/Font.tga=tga\\Font.tga")
    list(APPEND pack_depends ${generated_dir}/Font.tga)
  else()
    message(WARNING "DejaVu Sans Mono not found (fonts-dejavu-core): data.rar gets no font")
  endif()
  add_custom_command(OUTPUT ${generated_dir}/Default.tga
    COMMAND ${CMAKE_COMMAND} -E make_directory ${generated_dir}
    COMMAND tessimo-font default ${generated_dir}/Default.tga
    DEPENDS tessimo-font
    COMMENT "Making the default texture"
    VERBATIM)
  list(APPEND pack_args "${generated_dir}/Default.tga=tga\\Default.tga")
  list(APPEND pack_depends ${generated_dir}/Default.tga)
endif()

list(APPEND pack_args ${pack_generated})
list(APPEND pack_depends ${pack_generated_depends})

if(pack_args AND TARGET tessimo-rar)
  add_custom_command(OUTPUT ${TESSIMO_RUN_DIR}/data.rar
    COMMAND ${CMAKE_COMMAND} -E make_directory ${TESSIMO_RUN_DIR}
    COMMAND tessimo-rar create ${TESSIMO_RUN_DIR}/data.rar --password mirodune --solid ${pack_args}
    DEPENDS tessimo-rar ${pack_depends}
    COMMENT "Packing data.rar"
    VERBATIM)
  add_custom_target(tessimo_data_rar ALL DEPENDS ${TESSIMO_RUN_DIR}/data.rar)
  add_dependencies(tessimo_data tessimo_data_rar)
endif()
