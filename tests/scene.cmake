# The scene: the object base and the geometry on the CPU (unit), and the
# scene drawn on a real GL context, the model file and tessimo-import (gl).
tessimo_test(scene_object_test LABEL unit
  SOURCES scene_object_test.cpp
  LIBS tessimo_scene)
tessimo_test(scene_geometry_test LABEL unit
  SOURCES scene_geometry_test.cpp
  LIBS tessimo_scene)
tessimo_test(scene_gl_test LABEL gl
  SOURCES scene_gl_test.cpp
  LIBS tessimo_engine)
if(TARGET tessimo-import)
  tessimo_test(scene_import_test LABEL gl
    SOURCES scene_import_test.cpp
    LIBS tessimo_engine PkgConfig::ASSIMP)
  add_dependencies(scene_import_test tessimo-import tessimo_data)
endif()
