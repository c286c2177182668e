# Packs the source assets (everything under data/ but ini/ and the build
# files) into ${TESSIMO_RUN_DIR}/data.rar: solid, enciphered with the demo's
# password, entry names relative to data/ with backslashes ("tsm\avion.tsm").
file(GLOB_RECURSE pack_files CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}
  ${CMAKE_CURRENT_SOURCE_DIR}/*)
list(FILTER pack_files EXCLUDE REGEX "^ini/")
list(FILTER pack_files EXCLUDE REGEX "(^|/)CMakeLists\\.txt$")
list(FILTER pack_files EXCLUDE REGEX "\\.cmake$")
list(SORT pack_files)

if(pack_files AND TARGET tessimo-rar)
  set(pack_args)
  set(pack_depends)
  foreach(f ${pack_files})
    string(REPLACE "/" "\\" entry "${f}")
    list(APPEND pack_args "${CMAKE_CURRENT_SOURCE_DIR}/${f}=${entry}")
    list(APPEND pack_depends ${CMAKE_CURRENT_SOURCE_DIR}/${f})
  endforeach()
  add_custom_command(OUTPUT ${TESSIMO_RUN_DIR}/data.rar
    COMMAND ${CMAKE_COMMAND} -E make_directory ${TESSIMO_RUN_DIR}
    COMMAND tessimo-rar create ${TESSIMO_RUN_DIR}/data.rar --password mirodune --solid ${pack_args}
    DEPENDS tessimo-rar ${pack_depends}
    COMMENT "Packing data.rar"
    VERBATIM)
  add_custom_target(tessimo_data_rar ALL DEPENDS ${TESSIMO_RUN_DIR}/data.rar)
  add_dependencies(tessimo_data tessimo_data_rar)
endif()
