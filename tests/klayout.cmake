# Everything together: a skewed wafer under the simulated microscope, aligned within KLayout.
add_library(crossfinder STATIC crossfinder.h crossfinder.cpp)
target_link_libraries(crossfinder PUBLIC Qt5::Gui)
target_include_directories(crossfinder PUBLIC ${CMAKE_SOURCE_DIR})

execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libasan.so
    OUTPUT_VARIABLE asanRuntime OUTPUT_STRIP_TRAILING_WHITESPACE)

# KLayout itself is not built with the sanitizers: their runtime has to be there before it, and what
# it leaks is its own.
if(SEM_SANITIZE)
    set(environment SEM_PRELOAD=${asanRuntime} SEM_LIMIT=880
        ASAN_OPTIONS=detect_leaks=0:verify_asan_link_order=0)
endif()

# klayout_test(NAME libraries...): builds NAME.cpp into a library that is run within KLayout.
function(klayout_test name)
    add_library(${name} MODULE ${name}.cpp)
    target_link_libraries(${name} PRIVATE Qt5::Test Qt5::Widgets ${ARGN})
    set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_compile_definitions(${name} PRIVATE
        SAMPLE_LAYOUT="${CMAKE_SOURCE_DIR}/examples/sample-chip.gds")
    add_dependencies(${name} sembridge)
    add_test(NAME ${name}
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/klayout.sh ${CMAKE_BINARY_DIR}/klayout-package
            $<TARGET_FILE:${name}>
        WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    set_tests_properties(${name} PROPERTIES TIMEOUT 900 ENVIRONMENT "${environment}")
endfunction()
klayout_test(tst_klayout hosting microscope crossfinder)

add_test(NAME ending COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/ending.sh
    $<TARGET_FILE:microscope-simulator> ${CMAKE_BINARY_DIR}/klayout-package)
set_tests_properties(ending PROPERTIES TIMEOUT 300 ENVIRONMENT "${environment}")
