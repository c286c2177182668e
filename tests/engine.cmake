# The engine on a real GL context, and tessimo-import's output where the tool is built (gl).
tessimo_test(engine_gl_test LABEL gl SOURCES engine_gl_test.cpp LIBS tessimo_demo)
if(TARGET tessimo-import)
  target_compile_definitions(engine_gl_test PRIVATE TESSIMO_IMPORT=1)
  add_dependencies(engine_gl_test tessimo-import tessimo_data)
endif()
