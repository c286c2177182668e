# The console on arbitrary lines and key streams, with GL-free commands.
tessimo_fuzzer(fuzz_console SOURCES fuzz_console.cpp LIBS tessimo_console)
