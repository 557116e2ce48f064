# SPDX-License-Identifier: Apache-2.0
# Manual pages, changelogs and completions, in the form in which Debian installs them.
find_program(GZIP_PROGRAM gzip)
if(NOT GZIP_PROGRAM)
    message(FATAL_ERROR "gzip is missing")
endif()
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    message(FATAL_ERROR "The completions come from the programs themselves: "
        "CMAKE_CROSSCOMPILING_EMULATOR must say how those run here, qemu-arm for example.")
endif()

# compress(NAME SOURCE RESULT): the file SOURCE as RESULT.gz, the same bytes every time.
function(compress name source result)
    add_custom_command(OUTPUT ${result}.gz
        COMMAND ${GZIP_PROGRAM} -9nc ${source} > ${result}.gz
        DEPENDS ${source} VERBATIM)
    add_custom_target(${name} ALL DEPENDS ${result}.gz)
endfunction()

# install_manual(COMPONENT SECTION NAME)
function(install_manual component section name)
    set(page ${name}.${section})
    compress(manual-${name} ${PROJECT_SOURCE_DIR}/docs/man/${page} ${CMAKE_CURRENT_BINARY_DIR}/${page})
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${page}.gz
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()

# install_completion(COMPONENT PROGRAM): the program's own output. CMake runs a program for another
# machine in the emulator.
function(install_completion component program)
    set(script ${CMAKE_CURRENT_BINARY_DIR}/completions/${program})
    add_custom_command(OUTPUT ${script}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/completions
        COMMAND ${program} --bash-completion > ${script}
        DEPENDS ${program} VERBATIM)
    add_custom_target(completion-${program} ALL DEPENDS ${script})
    install(FILES ${script} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT ${component})
endfunction()

# install_package_documents(COMPONENT PACKAGE): the files that every Debian package has.
function(install_package_documents component package)
    set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package})
    install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/copyright DESTINATION ${folder}
        COMPONENT ${component})
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz DESTINATION ${folder}
        COMPONENT ${component})
endfunction()
compress(changelog ${CMAKE_CURRENT_SOURCE_DIR}/changelog ${CMAKE_CURRENT_BINARY_DIR}/changelog)
