# The real program under Xvfb: start, draw, the three ways to end, the log.
tessimo_test(program_run_test LABEL window TIMEOUT 300
  SOURCES program_run_test.cpp
  LIBS PkgConfig::SDL2 OpenGL::GL X11 Xtst)
add_dependencies(program_run_test tessimo2 tessimo_data)
