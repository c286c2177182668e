# The scene objects.
tessimo_test(scene_object_test LABEL unit
  SOURCES scene_object_test.cpp
  LIBS tessimo_scene)
