# The console's keys, Execute and ring without GL (unit); the real program's
# console under Xvfb, typed into with xdotool (window).
tessimo_test(console_test LABEL unit SOURCES console_test.cpp LIBS tessimo_console)
tessimo_test(console_window_test LABEL window TIMEOUT 400
  SOURCES console_window_test.cpp
  LIBS PNG::PNG X11)
add_dependencies(console_window_test tessimo2 tessimo_data)
