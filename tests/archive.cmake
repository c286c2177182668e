# Archive access: file buffer, RAR reader and writer, the tessimo-rar tool.
tessimo_test(archive_test LABEL unit SOURCES archive_test.cpp LIBS tessimo_archive)
add_dependencies(archive_test tessimo-rar)
