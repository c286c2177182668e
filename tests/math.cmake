# Vectors, matrices and constants (part of the application shell library).
tessimo_test(math_test LABEL unit
  SOURCES math_test.cpp
  LIBS tessimo_app)
