# The scene drawn on a real GL context, model files, and tessimo-import's
# output read back where the tool is built (gl); its CPU side: resources_test.
tessimo_test(scene_gl_test LABEL gl
  SOURCES scene_gl_test.cpp
  LIBS tessimo_engine)
if(TARGET tessimo-import)
  target_compile_definitions(scene_gl_test PRIVATE TESSIMO_IMPORT=1)
  add_dependencies(scene_gl_test tessimo-import tessimo_data)
endif()
