# The settings reader on arbitrary INI text.
tessimo_fuzzer(fuzz_profile SOURCES fuzz_profile.cpp LIBS tessimo_platform)
