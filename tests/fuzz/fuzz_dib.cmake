# The bitmap decoder on arbitrary bytes.
tessimo_fuzzer(fuzz_dib SOURCES fuzz_dib.cpp ${CMAKE_SOURCE_DIR}/resources/dib_image.cpp)
