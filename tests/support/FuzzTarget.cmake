# SPDX-License-Identifier: Apache-2.0
# agent_fuzz_target(NAME SOURCES ... SEEDS FOLDER [LINK ...]): an ordinary test that runs the target
# over its seeds; with AGENT_FUZZER a libFuzzer program instead (needs clang).

option(AGENT_FUZZER "Link the fuzz targets with libFuzzer" OFF)

function(agent_fuzz_target name)
    cmake_parse_arguments(ARG "" "SEEDS" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_LINK} agent_options)
    if(AGENT_FUZZER)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    else()
        target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/FuzzMain.cpp)
        add_test(NAME ${name} COMMAND ${name} ${CMAKE_CURRENT_SOURCE_DIR}/${ARG_SEEDS})
        set_tests_properties(${name} PROPERTIES TIMEOUT 120)
    endif()
endfunction()
