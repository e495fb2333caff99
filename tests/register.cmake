# Everything together: a skewed wafer under the simulated microscope, aligned in the real host.
qt_test(tst_register viewer microscope crossfinder)
add_library(crossfinder STATIC crossfinder.h crossfinder.cpp)
target_link_libraries(crossfinder PUBLIC Qt5::Gui)
target_include_directories(crossfinder PUBLIC ${CMAKE_SOURCE_DIR})
target_sources(tst_register PRIVATE ${CMAKE_SOURCE_DIR}/hosting/resources.qrc)
