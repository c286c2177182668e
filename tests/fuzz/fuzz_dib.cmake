# The bitmap decoder on arbitrary bytes.
tessimo_fuzzer(fuzz_dib SOURCES fuzz_dib.cpp LIBS tessimo_resources)
