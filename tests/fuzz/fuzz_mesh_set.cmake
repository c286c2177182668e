# The model file reader on arbitrary bytes, from memory.
tessimo_fuzzer(fuzz_mesh_set SOURCES fuzz_mesh_set.cpp LIBS tessimo_scene)
