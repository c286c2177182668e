# The console: keys, Execute and the ring without GL.
tessimo_test(console_test LABEL unit
  SOURCES console_test.cpp
  LIBS tessimo_console)
