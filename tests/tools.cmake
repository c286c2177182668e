# The command-line tools' shared conventions (unit: no GL is reached).
tessimo_test(tools_test LABEL unit SOURCES tools_test.cpp)
add_dependencies(tools_test tessimo-rar tessimo-tam tessimo-font tessimo-import tessimo-shot)
