# The engine core on a real GL context.
tessimo_test(engine_test LABEL gl
  SOURCES engine_test.cpp
  LIBS tessimo_demo)
