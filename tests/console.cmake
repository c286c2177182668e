# The console: keys, Execute and the ring without GL.
tessimo_test(console_test LABEL unit
  SOURCES console_test.cpp
  LIBS tessimo_console)

# The console of the real program under Xvfb, typed into with xdotool.
tessimo_test(console_window_test LABEL window TIMEOUT 400
  SOURCES console_window_test.cpp
  LIBS PNG::PNG X11)
add_dependencies(console_window_test tessimo2 tessimo_data)
