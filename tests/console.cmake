# The console of the real program under Xvfb, typed into with xdotool.
tessimo_test(console_window_test LABEL window TIMEOUT 400
  SOURCES console_window_test.cpp
  LIBS PNG::PNG X11)
add_dependencies(console_window_test tessimo2 tessimo_data)
