# Tonal art map generation: the quick form against the reference form.
add_executable(tam_bench tam_bench.cpp)
target_link_libraries(tam_bench PRIVATE tessimo_tam benchmark::benchmark)

# tessimo-tam --digest against a minimal plain C generator of the same
# volume, as whole processes: CPU time, max RSS and their ratios.
add_executable(tam_peer tam_peer.c)
set_target_properties(tam_peer PROPERTIES C_STANDARD 11)
target_link_libraries(tam_peer PRIVATE OpenSSL::Crypto)
add_executable(tam_process_bench tam_process_bench.cpp)
add_dependencies(tam_process_bench tam_peer tessimo-tam)
target_compile_definitions(tam_process_bench PRIVATE
  TESSIMO_TAM_TOOL="$<TARGET_FILE:tessimo-tam>" TESSIMO_TAM_PEER="$<TARGET_FILE:tam_peer>")
