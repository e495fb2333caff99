# Tests of the library: its classes one by one, and the loaded library as a host sees it, with a
# microscope, a network, settings and a user that do as they please.
qt_test(tst_link semlink)
qt_test(tst_reception semlink)
foreach(name tst_library tst_plugin tst_placement tst_alignment tst_settings tst_hostbehaviour
        tst_endurance)
    qt_test(${name} Qt5::Widgets Qt5::Network)
    target_sources(${name} PRIVATE pluginfixture.h)
endforeach()
# The alignment icons lie among the host's resources.
target_sources(tst_alignment PRIVATE ${CMAKE_SOURCE_DIR}/hosting/resources.qrc)
target_compile_definitions(tst_plugin PRIVATE SEM_SUPPORT_ADDRESS="${SEM_SUPPORT_ADDRESS}")
