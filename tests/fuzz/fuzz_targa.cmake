# The Targa reader on arbitrary files, through FileBuffer.
tessimo_fuzzer(fuzz_targa SOURCES fuzz_targa.cpp LIBS tessimo_resources)
