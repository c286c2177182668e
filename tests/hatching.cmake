# The art map built into a real 3D texture and read back (gl).
tessimo_test(hatching_gl_test LABEL gl SOURCES hatching_gl_test.cpp LIBS tessimo_engine)
