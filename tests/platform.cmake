# The platform layer without GL.
tessimo_test(platform_test LABEL unit
  SOURCES platform_test.cpp
  LIBS tessimo_platform)
