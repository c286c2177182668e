# Archive extraction against zlib's inflate, and our writer's size against
# zlib at level 9, on one generated mixed corpus.
if(TARGET ZLIB::ZLIB)
  add_executable(archive_bench archive_bench.cpp)
  target_link_libraries(archive_bench PRIVATE tessimo_archive ZLIB::ZLIB benchmark::benchmark)
  target_compile_definitions(archive_bench PRIVATE
    TESSIMO_SOURCE_DIR="${CMAKE_SOURCE_DIR}" TESSIMO_BINARY_DIR="${CMAKE_BINARY_DIR}")
endif()
