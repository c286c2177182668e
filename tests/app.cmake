# The application shell: settings, window, input, the program itself.
tessimo_test(app_test LABEL unit
  SOURCES app_test.cpp
  LIBS tessimo_app)

tessimo_test(app_window_test LABEL gl
  SOURCES app_window_test.cpp
  LIBS tessimo_app)

# The real program on the offscreen driver.
tessimo_test(app_program_test LABEL gl TIMEOUT 300
  SOURCES app_program_test.cpp
  LIBS tessimo_platform)
add_dependencies(app_program_test tessimo2 tessimo_data)
