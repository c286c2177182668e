# Resources and the scene's CPU side: the bitmap decoder, the token table, the
# definition reader, the vertex program's error line, tessimo-font's textures,
# the vertex pool and mesh operations (unit); texture loads, shaders,
# registries, vertex programs and screen text on a real GL context (gl).
find_path(TESSIMO_GL_HEADER_DIR GL/glext.h)
tessimo_test(resources_test LABEL unit SOURCES resources_test.cpp LIBS tessimo_scene)
target_compile_definitions(resources_test PRIVATE TESSIMO_GL_HEADERS="${TESSIMO_GL_HEADER_DIR}/GL")
add_dependencies(resources_test tessimo_data)
