# The art map generated on the CPU, and tessimo-tam's digests and pictures.
tessimo_test(tam_test LABEL unit SOURCES tam_test.cpp LIBS tessimo_tam PNG::PNG OpenSSL::Crypto)
add_dependencies(tam_test tessimo-tam)
