# The example for a host's writer, as the program that it is.
qt_test(tst_minimalhost Qt5::Gui)
target_compile_definitions(tst_minimalhost PRIVATE HOST_FILE="$<TARGET_FILE:minimal-host>"
    SOURCE_FOLDER="${CMAKE_SOURCE_DIR}")
add_dependencies(tst_minimalhost minimal-host)
