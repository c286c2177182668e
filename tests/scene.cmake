# The scene without GL (unit); drawn on a real GL context, model files, and
# tessimo-import's output where the tool is built (gl).
tessimo_test(scene_test LABEL unit SOURCES scene_test.cpp LIBS tessimo_scene)
tessimo_test(scene_gl_test LABEL gl SOURCES scene_gl_test.cpp LIBS tessimo_engine)
if(TARGET tessimo-import)
  target_compile_definitions(scene_gl_test PRIVATE TESSIMO_IMPORT=1)
  add_dependencies(scene_gl_test tessimo-import tessimo_data)
endif()
