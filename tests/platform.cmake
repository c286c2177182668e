# The platform layer without GL (with the settings file it reads).
tessimo_test(platform_test LABEL unit SOURCES platform_test.cpp LIBS tessimo_app)
