# install_compressed(FILE DESTINATION COMPONENT): as Debian wants manual pages and changelogs.
find_program(GZIP gzip REQUIRED)
function(install_compressed file destination component)
    get_filename_component(name ${file} NAME)
    set(compressed ${CMAKE_CURRENT_BINARY_DIR}/${name}.gz)
    if(NOT TARGET compressed-${name})
        add_custom_command(OUTPUT ${compressed} DEPENDS ${file} VERBATIM
            COMMAND ${GZIP} -9nc ${file} > ${compressed})
        add_custom_target(compressed-${name} ALL DEPENDS ${compressed})
    endif()
    install(FILES ${compressed} COMPONENT ${component} DESTINATION ${destination})
endfunction()
