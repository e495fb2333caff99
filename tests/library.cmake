# Tests of the library: its classes one by one, and the loaded library as a host sees it, with a
# microscope, a network, settings and a user that do as they please.
add_library(fakemicroscope STATIC fakemicroscope.h fakemicroscope.cpp)
target_include_directories(fakemicroscope PUBLIC ${CMAKE_SOURCE_DIR})
target_link_libraries(fakemicroscope PUBLIC Qt5::Network)

add_library(pluginfixture STATIC pluginfixture.h pluginfixture.cpp)
target_link_libraries(pluginfixture PUBLIC fakemicroscope Qt5::Widgets)
target_compile_definitions(pluginfixture PRIVATE LIBRARY_FILE="$<TARGET_FILE:backgroundSEM>")

qt_test(tst_link semlink fakemicroscope)
qt_test(tst_reception semlink fakemicroscope)
foreach(name tst_library tst_plugin tst_placement tst_alignment tst_settings tst_hostbehaviour
        tst_endurance)
    qt_test(${name} pluginfixture)
endforeach()
# The alignment icons lie among the host's resources.
target_sources(tst_alignment PRIVATE ${CMAKE_SOURCE_DIR}/hosting/resources.qrc)
target_compile_definitions(tst_plugin PRIVATE SEM_SUPPORT_ADDRESS="${SEM_SUPPORT_ADDRESS}")
