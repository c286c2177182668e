# The hatching demo: rendered headless through tessimo-shot (gl), and the
# real program in a window under Xvfb, read from the screen (window).
tessimo_test(demo_shot_test LABEL gl TIMEOUT 600
  SOURCES demo_shot_test.cpp
  LIBS PNG::PNG X11)
add_dependencies(demo_shot_test tessimo-shot tessimo-rar tessimo_data)
tessimo_test(demo_window_test LABEL window TIMEOUT 300
  SOURCES demo_window_test.cpp
  LIBS PNG::PNG X11 Xtst)
add_dependencies(demo_window_test tessimo2 tessimo_data)
