# The application shell without GL (unit); the window on a real GL context
# and the real program on the offscreen driver (gl).
tessimo_test(app_test LABEL unit SOURCES app_test.cpp LIBS tessimo_app)
tessimo_test(app_gl_test LABEL gl TIMEOUT 300 SOURCES app_gl_test.cpp LIBS tessimo_app)
add_dependencies(app_gl_test tessimo2 tessimo_data)
