# The hatching: drawing, stroke rules, the generation and tessimo-tam (unit),
# and the art map built into a real 3D texture and read back (gl).
tessimo_test(hatching_test LABEL unit
  SOURCES hatching_test.cpp
  LIBS tessimo_hatching PNG::PNG OpenSSL::Crypto)
add_dependencies(hatching_test tessimo-tam)
tessimo_test(hatching_gl_test LABEL gl
  SOURCES hatching_gl_test.cpp
  LIBS tessimo_engine OpenGL::GL)
