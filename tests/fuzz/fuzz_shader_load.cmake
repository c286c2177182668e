# The shader definition reader on arbitrary definitions and token tables.
tessimo_fuzzer(fuzz_shader_load SOURCES fuzz_shader_load.cpp LIBS tessimo_resources)
