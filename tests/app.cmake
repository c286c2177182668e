# The application shell, built from its sources for the suites, so that
# they need no more than the platform.
if(NOT TARGET tessimo_app_for_tests)
  file(GLOB app_test_sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/app/*.cpp)
  list(FILTER app_test_sources EXCLUDE REGEX "/main\\.cpp$")
  add_library(tessimo_app_for_tests STATIC ${app_test_sources})
  target_link_libraries(tessimo_app_for_tests PUBLIC tessimo_platform)
endif()

tessimo_test(app_test LABEL unit
  SOURCES app_test.cpp
  LIBS tessimo_app_for_tests)

if(TARGET OpenGL::GLU)
  set(app_test_glu OpenGL::GLU)
else()
  set(app_test_glu GLU)
endif()
tessimo_test(app_window_test LABEL gl
  SOURCES app_window_test.cpp
  LIBS tessimo_app_for_tests OpenGL::GL ${app_test_glu})

# The real program on the offscreen driver.
if(TARGET tessimo2)
  tessimo_test(app_program_test LABEL gl TIMEOUT 300
    SOURCES app_program_test.cpp
    LIBS tessimo_platform)
  add_dependencies(app_program_test tessimo2 tessimo_data)
endif()
