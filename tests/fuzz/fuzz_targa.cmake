# The Targa reader on arbitrary files, through FileBuffer.
tessimo_fuzzer(fuzz_targa SOURCES fuzz_targa.cpp ${CMAKE_SOURCE_DIR}/resources/targa_image.cpp
  LIBS tessimo_archive)
