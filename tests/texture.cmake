# Textures: the bitmap decoder alone (unit), and the loaders on a real GL
# context (gl).
tessimo_test(texture_image_test LABEL unit
  SOURCES texture_image_test.cpp
  LIBS tessimo_resources)
tessimo_test(texture_test LABEL gl
  SOURCES texture_test.cpp
  LIBS tessimo_resources)
