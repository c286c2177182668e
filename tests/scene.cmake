# The scene: the object, the vertex pool and the mesh operations on the CPU
# (unit); on a real GL context in engine_gl_test.
tessimo_test(scene_test LABEL unit
  SOURCES scene_test.cpp
  LIBS tessimo_scene)
