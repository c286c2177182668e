# Textures: the bitmap decoder alone, and the loaders on a real GL context.
# The decoder suite compiles the decoder in, so it needs neither GL nor the
# rest of the resources library.
tessimo_test(texture_image_test LABEL unit
  SOURCES texture_image_test.cpp
    ${CMAKE_SOURCE_DIR}/resources/dib_image.cpp)
tessimo_test(texture_test LABEL gl
  SOURCES texture_test.cpp
  LIBS tessimo_resources tessimo_archive tessimo_platform)
