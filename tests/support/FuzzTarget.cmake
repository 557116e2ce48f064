# SPDX-License-Identifier: Apache-2.0
# agent_fuzz_target(NAME SOURCES ... SEEDS FOLDER... [MAX_LENGTH BYTES] [MUTANTS N] [LINK ...]): the
# program NAME_fuzz and the test of that name, which runs it over its seeds. With AGENT_FUZZ the
# program is a libFuzzer one, and the inputs that it makes up are at most MAX_LENGTH bytes long;
# otherwise it also runs over N mutants of each seed, the same ones every time.

add_custom_target(fuzz_targets)

function(agent_fuzz_target target)
    cmake_parse_arguments(ARG "" "MAX_LENGTH;MUTANTS" "SOURCES;SEEDS;LINK" ${ARGN})
    if(NOT ARG_MAX_LENGTH)
        set(ARG_MAX_LENGTH 4096)
    endif()
    if(NOT ARG_MUTANTS)
        set(ARG_MUTANTS 500)
    endif()
    list(TRANSFORM ARG_SEEDS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
    set(name ${target}_fuzz)
    add_executable(${name} ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_LINK} Qt${AGENT_QT}::Core agent_options)
    target_compile_definitions(${name} PRIVATE TEST_DATA_DIR="${CMAKE_CURRENT_SOURCE_DIR}/data")
    add_dependencies(fuzz_targets ${name})
    if(AGENT_FUZZ)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
        add_test(NAME ${name} COMMAND ${name} -runs=0 ${ARG_SEEDS})
    else()
        target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/FuzzMain.cpp)
        agent_test_options(${name})
        add_test(NAME ${name} COMMAND ${name} ${ARG_MUTANTS} ${ARG_SEEDS})
    endif()
    agent_time_limit(120 ${name})
    list(JOIN ARG_SEEDS "|" seeds)
    set_property(GLOBAL APPEND PROPERTY AGENT_FUZZ_TARGETS "${target}|${ARG_MAX_LENGTH}|${seeds}")
endfunction()

# What scripts/check fuzz reads: per line a target, its longest input and its seed folders.
function(agent_fuzz_list)
    get_property(targets GLOBAL PROPERTY AGENT_FUZZ_TARGETS)
    list(JOIN targets "\n" lines)
    file(WRITE ${CMAKE_BINARY_DIR}/fuzz-targets.txt "${lines}\n")
endfunction()
