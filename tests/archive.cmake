# Archive access: file buffer, RAR reader and writer.
tessimo_test(archive_test LABEL unit SOURCES archive_test.cpp LIBS tessimo_archive)
