# Tests of the library: its classes one by one, and the loaded library as a host sees it.
add_library(fakemicroscope STATIC fakemicroscope.h fakemicroscope.cpp)
target_include_directories(fakemicroscope PUBLIC ${CMAKE_SOURCE_DIR})
target_link_libraries(fakemicroscope PUBLIC Qt5::Network)

add_library(pluginfixture STATIC pluginfixture.h pluginfixture.cpp)
target_link_libraries(pluginfixture PUBLIC fakemicroscope Qt5::Widgets)

qt_test(tst_link semlink fakemicroscope)
qt_test(tst_reception semlink fakemicroscope)
qt_test(tst_framestore semlink fakemicroscope)
qt_test(tst_panel panel)
qt_test(tst_geometry geometry)
qt_test(tst_library pluginfixture)
qt_test(tst_plugin pluginfixture)
qt_test(tst_alignment pluginfixture)
# The alignment icons lie among the host's resources.
target_sources(tst_alignment PRIVATE ${CMAKE_SOURCE_DIR}/hosting/resources.qrc)
target_compile_definitions(tst_panel PRIVATE SEM_SUPPORT_ADDRESS="${SEM_SUPPORT_ADDRESS}")
