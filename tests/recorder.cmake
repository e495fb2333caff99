# The recorder, the replay and the dissector, as programs and with the library in its host. With
# SEM_CAPTURES set, the test makes the captures and the texts in tests/captures anew.
qt_test(tst_recorder capture Qt5::Widgets Qt5::Network)
target_sources(tst_recorder PRIVATE pluginfixture.h)
target_compile_definitions(tst_recorder PRIVATE
    RECORDER_FILE="$<TARGET_FILE:microscope-recorder>"
    DISSECTOR_FILE="${CMAKE_SOURCE_DIR}/wireshark/microscope.lua"
    CAPTURES="${CMAKE_SOURCE_DIR}/tests/captures/")
add_dependencies(tst_recorder microscope-recorder)
