# Materials: the definition reader, the token table, the vertex program's
# error line and tessimo-font's textures (unit), and the registries, shader
# application, vertex programs and screen text on a real GL context (gl).
find_path(TESSIMO_GL_HEADER_DIR GL/glext.h)
tessimo_test(materials_test LABEL unit
  SOURCES materials_test.cpp
  LIBS tessimo_resources)
target_compile_definitions(materials_test PRIVATE
  TESSIMO_GL_HEADERS="${TESSIMO_GL_HEADER_DIR}/GL")
add_dependencies(materials_test tessimo_data)
tessimo_test(materials_gl_test LABEL gl
  SOURCES materials_gl_test.cpp
  LIBS tessimo_engine)
