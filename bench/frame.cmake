# A frame of the demo against a minimal GL program drawing the same mesh.
add_executable(frame_bench frame_bench.cpp)
target_link_libraries(frame_bench PRIVATE tessimo_demo benchmark::benchmark)
add_dependencies(frame_bench tessimo_data)
target_compile_definitions(frame_bench PRIVATE TESSIMO_RUN_DIR="${TESSIMO_RUN_DIR}")
