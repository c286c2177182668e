# The shell, its platform layer and the console (unit); the window, the real
# program and the art map's volume on the offscreen driver (gl).
tessimo_test(app_test LABEL unit SOURCES app_test.cpp LIBS tessimo_console)
tessimo_test(app_gl_test LABEL gl TIMEOUT 300 SOURCES app_gl_test.cpp LIBS tessimo_engine)
add_dependencies(app_gl_test tessimo2 tessimo_data)
