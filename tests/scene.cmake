# The scene object base, built with the math it rests on.
if(NOT TARGET tessimo_app_for_tests)
  include(${CMAKE_CURRENT_LIST_DIR}/app.cmake)
endif()
tessimo_test(scene_object_test LABEL unit
  SOURCES scene_object_test.cpp ${CMAKE_SOURCE_DIR}/scene/scene_object.cpp
  LIBS tessimo_app_for_tests)
