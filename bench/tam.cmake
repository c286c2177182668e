# Tonal art map generation: the quick form against the reference form.
add_executable(tam_bench tam_bench.cpp)
target_link_libraries(tam_bench PRIVATE tessimo_tam benchmark::benchmark)
