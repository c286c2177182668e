# Vectors, matrices and constants (part of the application shell library).
if(NOT TARGET tessimo_app_for_tests)
  include(${CMAKE_CURRENT_LIST_DIR}/app.cmake)
endif()
tessimo_test(math_test LABEL unit
  SOURCES math_test.cpp
  LIBS tessimo_app_for_tests)
