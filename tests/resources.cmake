# Resources: the bitmap decoder, the token table, the definition reader, the
# vertex program's error line and tessimo-font's textures (unit); on a real GL
# context in engine_gl_test.
find_path(TESSIMO_GL_HEADER_DIR GL/glext.h)
tessimo_test(resources_test LABEL unit SOURCES resources_test.cpp LIBS tessimo_resources)
target_compile_definitions(resources_test PRIVATE TESSIMO_GL_HEADERS="${TESSIMO_GL_HEADER_DIR}/GL")
add_dependencies(resources_test tessimo_data)
