# The engine on a real GL context (gl).
tessimo_test(engine_gl_test LABEL gl SOURCES engine_gl_test.cpp LIBS tessimo_demo)
