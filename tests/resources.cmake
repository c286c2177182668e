# Resources without GL: the bitmap decoder, the token table, the definition
# reader, the vertex program's error line, tessimo-font's textures (unit);
# textures, shaders, registries, vertex programs and screen text (gl).
find_path(TESSIMO_GL_HEADER_DIR GL/glext.h)
tessimo_test(resources_test LABEL unit SOURCES resources_test.cpp LIBS tessimo_resources)
target_compile_definitions(resources_test PRIVATE TESSIMO_GL_HEADERS="${TESSIMO_GL_HEADER_DIR}/GL")
add_dependencies(resources_test tessimo_data)
tessimo_test(resources_gl_test LABEL gl SOURCES resources_gl_test.cpp LIBS tessimo_engine)
