# A microscope that misbehaves, a network that fails, settings that rot, hosts that do as they please.
qt_test(tst_faults pluginfixture microscope)
foreach(test tst_endurance tst_settings tst_hostbehaviour)
    if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${test}.cpp)
        qt_test(${test} pluginfixture)
        add_dependencies(${test} backgroundSEM)
    endif()
endforeach()
add_dependencies(tst_faults backgroundSEM)
