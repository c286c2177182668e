# The archive reader on arbitrary archives.
tessimo_fuzzer(fuzz_rar_extract SOURCES fuzz_rar_extract.cpp LIBS tessimo_archive)
