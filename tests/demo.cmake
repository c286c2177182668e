# The hatching demo: rendered headless through tessimo-shot and run in this
# process (gl), and the real program in a window under Xvfb (window).
tessimo_test(demo_gl_test LABEL gl TIMEOUT 600 LIBS tessimo_demo PNG::PNG X11
  SOURCES demo_gl_test.cpp demo_gl_test_deletion.cpp)
add_dependencies(demo_gl_test tessimo-shot tessimo-rar tessimo-import tessimo_data)
# The ink measures of one picture, for scripts/measure.
add_executable(ink_measure ink_measure.cpp)
target_link_libraries(ink_measure PRIVATE PNG::PNG X11)
tessimo_test(demo_window_test LABEL window TIMEOUT 300
  SOURCES demo_window_test.cpp
  LIBS PNG::PNG X11 Xtst)
add_dependencies(demo_window_test tessimo2 tessimo_data)

# In the sanitizer tree (scripts/build --fuzz): the real demo for a few ticks
# under ASan, LSan and UBSan. Leaks that the GL driver, LLVM and the window
# system keep until exit are suppressed (demo_lsan.supp), ours are not; the
# driver and Mesa's EGL are preloaded so that the report can name them.
if(TESSIMO_SANITIZE)
  find_file(TESSIMO_SWRAST_DRI swrast_dri.so
    PATHS /usr/lib/x86_64-linux-gnu/dri /usr/lib64/dri /usr/lib/dri NO_DEFAULT_PATH)
  find_library(TESSIMO_EGL_MESA NAMES libEGL_mesa.so.0 EGL_mesa)
  set(preload)
  foreach(lib ${TESSIMO_SWRAST_DRI} ${TESSIMO_EGL_MESA})
    if(lib)
      list(APPEND preload ${lib})
    endif()
  endforeach()
  string(REPLACE ";" ":" preload "${preload}")
  add_custom_target(tessimo_sanitized_programs DEPENDS tessimo-shot)
  add_dependencies(tessimo_sanitized_programs tessimo-shot tessimo_data)
  add_test(NAME demo_shot_sanitized
    COMMAND sh -c "rm -rf sanitized && mkdir sanitized && cp -r '${TESSIMO_RUN_DIR}/ini' '${TESSIMO_RUN_DIR}/data.rar' sanitized/ && '$<TARGET_FILE:tessimo-shot>' --run sanitized --ticks 10 --size 320x240 --output shot.png"
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
  set_tests_properties(demo_shot_sanitized PROPERTIES LABELS sanitize TIMEOUT 600
    ENVIRONMENT "LD_PRELOAD=${preload};SDL_AUDIODRIVER=dummy;UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1;ASAN_OPTIONS=detect_leaks=1;LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_SOURCE_DIR}/demo_lsan.supp:print_suppressions=0")
endif()
tessimo_test(demo_program_window_test LABEL window TIMEOUT 300
  SOURCES demo_program_window_test.cpp
  LIBS PkgConfig::SDL2 OpenGL::GL PNG::PNG X11 Xtst)
add_dependencies(demo_program_window_test tessimo2 tessimo_data)
