# Helpers shared by the subsystem CMakeLists.

# tessimo_library(NAME [EXCLUDE regex] DEPS...): a static library from every
# .cpp in the calling directory (less those matching EXCLUDE, for a folder
# that builds a second target from them), linked against DEPS.
function(tessimo_library name)
  cmake_parse_arguments(L "" "EXCLUDE" "" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(L_EXCLUDE)
    list(FILTER sources EXCLUDE REGEX "${L_EXCLUDE}")
  endif()
  add_library(${name} STATIC ${sources})
  target_link_libraries(${name} PUBLIC ${L_UNPARSED_ARGUMENTS})
endfunction()

# The folder the demo runs in: ini/ and data.rar.
set(TESSIMO_RUN_DIR ${CMAKE_BINARY_DIR}/run CACHE INTERNAL "")
