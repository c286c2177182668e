# Helpers shared by the subsystem CMakeLists.

# tessimo_library(NAME [EXCLUDE regex] DEPS...): a static library from every
# .cpp in the calling directory (less those matching EXCLUDE), linked against
# DEPS. A directory without sources yet gives an INTERFACE target, so that
# dependents can name it before it has code.
function(tessimo_library name)
  cmake_parse_arguments(L "" "EXCLUDE" "" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(L_EXCLUDE AND sources)
    list(FILTER sources EXCLUDE REGEX "${L_EXCLUDE}")
  endif()
  if(sources)
    add_library(${name} STATIC ${sources})
    target_link_libraries(${name} PUBLIC ${L_UNPARSED_ARGUMENTS})
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE ${L_UNPARSED_ARGUMENTS})
  endif()
endfunction()

# The folder the demo runs in: ini/ and data.rar.
set(TESSIMO_RUN_DIR ${CMAKE_BINARY_DIR}/run CACHE INTERNAL "")
