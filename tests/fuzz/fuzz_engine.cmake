# The real engine on SDL's offscreen GL context: console lines, key streams
# and the engine's deletions against the demo, on this tree's run folder.
# Its corpus replays like the sanitized demo run (tests/demo.cmake): the GL
# driver preloaded and what it keeps until exit suppressed.
tessimo_fuzzer(fuzz_engine SOURCES fuzz_engine.cpp LIBS tessimo_demo)
target_compile_definitions(fuzz_engine PRIVATE TESSIMO_RUN_DIR="${TESSIMO_RUN_DIR}")
add_dependencies(fuzz_engine tessimo_data)
set_tests_properties(fuzz_engine_corpus PROPERTIES
  ENVIRONMENT "LD_PRELOAD=${preload};SDL_AUDIODRIVER=dummy;UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1;ASAN_OPTIONS=detect_leaks=1;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/demo_lsan.supp:print_suppressions=0")
