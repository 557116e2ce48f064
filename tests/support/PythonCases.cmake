# SPDX-License-Identifier: Apache-2.0
# Run by ctest: adds a test for each case of the Python files in `modules`. If one of them cannot be
# loaded, ctest runs nothing and fails.
cmake_policy(VERSION 3.16)
execute_process(
    COMMAND env ${environment} ${python} -B -m tests.harness.cases ${modules}
    WORKING_DIRECTORY ${root}
    RESULT_VARIABLE status OUTPUT_VARIABLE lines ERROR_VARIABLE errors)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "The cases of the Python tests cannot be listed: ${status}\n${errors}")
endif()

# Each line is: MODULE CLASS.test_CASE
string(REGEX MATCHALL "[^\n]+" lines "${lines}")
set(names)
set(modules_with_cases)
foreach(line IN LISTS lines)
    string(REGEX MATCH "^([^ ]+) ([^ ]+\\.test_(.+))$" line "${line}")
    set(module ${CMAKE_MATCH_1})
    set(case ${CMAKE_MATCH_2})
    set(name ${${module}.prefix}_${CMAKE_MATCH_3})
    if(name IN_LIST names)
        message(FATAL_ERROR "Two cases have the name ${name}; one is ${case} in ${module}.")
    endif()
    list(APPEND names ${name})
    list(APPEND modules_with_cases ${module})
    set(cost ${${module}.seconds})
    if(name IN_LIST ${module}.first)
        set(cost 1000)
    endif()
    add_test(${name} ${${module}.command} ${case})
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "${environment}" WORKING_DIRECTORY "${root}"
        TIMEOUT ${${module}.limit} COST ${cost})
endforeach()

foreach(module IN LISTS modules)
    if(NOT module IN_LIST modules_with_cases)
        message(FATAL_ERROR "${module} has no test function.")
    endif()
    foreach(name IN LISTS ${module}.first)
        if(NOT name IN_LIST names)
            message(FATAL_ERROR "There is no case ${name}, which is to start first.")
        endif()
    endforeach()
endforeach()
