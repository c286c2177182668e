# The command-line tools' shared conventions: help, argument errors, failed
# runs, outputs that are devices, links or inputs (unit: no GL is reached).
tessimo_test(tools_test LABEL unit
  SOURCES tools_test.cpp)
foreach(tool tessimo-rar tessimo-tam tessimo-font tessimo-import tessimo-shot)
  if(TARGET ${tool})
    add_dependencies(tools_test ${tool})
  endif()
endforeach()
