# SPDX-License-Identifier: Apache-2.0
# The kinds of targets of the project.

set(AGENT_SANITIZE "" CACHE STRING "Sanitizers to build with, as the compiler's -fsanitize takes them")
option(AGENT_COVERAGE "Count which lines and branches are run" OFF)
option(AGENT_FUZZ "Build the fuzz targets with libFuzzer (clang only)" OFF)

add_library(agent_options INTERFACE)
target_compile_options(agent_options INTERFACE -Wall -Wextra -Werror)
target_compile_definitions(agent_options INTERFACE QT_NO_CAST_TO_ASCII QT_DEPRECATED_WARNINGS)
# A program needs only the shared libraries that its own code uses.
target_link_options(agent_options INTERFACE -Wl,--as-needed)
# The programs as they ship are compiled for size: beside a serial line, their memory counts for more
# than their instructions.
target_compile_options(agent_options INTERFACE
    "$<$<CONFIG:Release>:-Os;-ffunction-sections;-fdata-sections>")
target_link_options(agent_options INTERFACE $<$<CONFIG:Release>:-Wl,--gc-sections>)
if(AGENT_SANITIZE)
    target_compile_options(agent_options INTERFACE
        -fsanitize=${AGENT_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(agent_options INTERFACE -fsanitize=${AGENT_SANITIZE})
    # Into programs, not into libraries.
    add_library(agent_sanitizers OBJECT ${CMAKE_CURRENT_LIST_DIR}/sanitizers/Defaults.cpp)
    if(AGENT_SANITIZE MATCHES thread)
        if(NOT AGENT_QT EQUAL 5)
            message(FATAL_ERROR "ThreadSanitizer needs Qt 5, whose handovers are annotated")
        endif()
        target_sources(agent_sanitizers PRIVATE ${CMAKE_CURRENT_LIST_DIR}/sanitizers/Handovers.cpp)
        target_include_directories(agent_sanitizers PRIVATE ${Qt5Core_PRIVATE_INCLUDE_DIRS})
    endif()
    target_link_libraries(agent_sanitizers PRIVATE Qt${AGENT_QT}::Core)
    target_sources(agent_options INTERFACE
        "$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:$<TARGET_OBJECTS:agent_sanitizers>>")
endif()
if(AGENT_COVERAGE)
    target_compile_options(agent_options INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(agent_options INTERFACE --coverage)
endif()
if(AGENT_FUZZ)
    # All code is instrumented; only the fuzz targets have a fuzzer's main().
    target_compile_options(agent_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# agent_library(NAME SOURCES ... [LINK ...]): a static library whose headers are included as
# "folder/Header.h" from src/.
function(agent_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC Qt${AGENT_QT}::Core ${ARG_LINK} PRIVATE agent_options)
    if(AGENT_SANITIZE)
        target_link_options(${name} PUBLIC -fsanitize=${AGENT_SANITIZE})
    endif()
endfunction()

# agent_find_library(TARGET HEADER LIBRARY PACKAGE): a target for a library that has no CMake package
# in every distribution. PACKAGE is Debian's.
function(agent_find_library target header library package)
    find_path(${target}_INCLUDE_DIR ${header})
    find_library(${target}_LIBRARY ${library})
    if(NOT ${target}_INCLUDE_DIR OR NOT ${target}_LIBRARY)
        message(FATAL_ERROR
            "lib${library} is missing; on Debian: apt-get install ${package}")
    endif()
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${${target}_INCLUDE_DIR})
    target_link_libraries(${target} INTERFACE ${${target}_LIBRARY})
endfunction()

# Where tests find every program: the built ones or, when they are for another processor, scripts
# that run them in the emulator.
if(CMAKE_CROSSCOMPILING_EMULATOR)
    set(AGENT_RUN_DIRECTORY ${CMAKE_BINARY_DIR}/emulated)
else()
    set(AGENT_RUN_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
endif()

function(agent_emulated_program name)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    file(GENERATE OUTPUT ${AGENT_RUN_DIRECTORY}/${name}
        CONTENT "#!/bin/sh\nexec ${emulator} $<TARGET_FILE:${name}> \"$@\"\n"
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ WORLD_READ
            GROUP_EXECUTE WORLD_EXECUTE)
endfunction()

# agent_program(NAME SOURCES ... [LINK ...])
function(agent_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINK} agent_options)
    if(CMAKE_CROSSCOMPILING_EMULATOR)
        agent_emulated_program(${name})
    endif()
endfunction()

# agent_command_line(SOURCE...): sources that include CLI11. Its templates make half of what a tool is
# compiled from, and run once, so they are optimized less.
function(agent_command_line)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS $<$<CONFIG:Release>:-O1>)
endfunction()

# agent_time_limit(SECONDS TEST...): what a test may take on a machine with nothing else to do. ctest
# ends it after five times as long, so that none can hang the suite and none fails because the
# machine is busy. An emulated processor is slower, and so is a program with a sanitizer. Tests that
# may take longest start first.
set(AGENT_TIME_FACTOR 1 CACHE STRING "How much more time a test may take")
function(agent_time_limit seconds)
    math(EXPR limit "${seconds} * ${AGENT_TIME_FACTOR} * 5")
    set_tests_properties(${ARGN} PROPERTIES TIMEOUT ${limit} COST ${seconds})
endfunction()

# agent_first(TEST...): tests that take a minute or much of a processor. They start before all others,
# so that those that only wait run beside them, and the suite does not end with one of them alone.
function(agent_first)
    set_tests_properties(${ARGN} PROPERTIES COST 1000)
endfunction()

# A test program is compiled without optimization, whatever the libraries that it tests are compiled
# with: compiling it takes longer than running it. Where the sources of a library are compiled
# together, the headers of Qt Test are precompiled. A fast linker is used where there is one.
find_program(AGENT_TEST_LINKER mold)
function(agent_test_options name)
    target_link_libraries(${name} PRIVATE Qt${AGENT_QT}::Test Qt${AGENT_QT}::Network agent_options)
    target_compile_options(${name} PRIVATE -O0)
    if(AGENT_TEST_LINKER AND NOT CMAKE_CROSSCOMPILING)
        target_link_options(${name} PRIVATE -fuse-ld=mold)
    endif()
    # Qt 6 defines the names of the target's folders, with which the headers of another do not fit.
    if(NOT CMAKE_UNITY_BUILD OR NOT AGENT_QT EQUAL 5)
        return()
    endif()
    if(NOT TARGET agent_test_headers)
        set(empty ${CMAKE_BINARY_DIR}/agent_test_headers.cpp)
        file(GENERATE OUTPUT ${empty} CONTENT "")
        add_library(agent_test_headers STATIC ${empty})
        set_target_properties(agent_test_headers PROPERTIES AUTOMOC OFF)
        target_link_libraries(agent_test_headers PRIVATE Qt${AGENT_QT}::Test Qt${AGENT_QT}::Network agent_options)
        target_compile_options(agent_test_headers PRIVATE -O0)
        target_precompile_headers(agent_test_headers PRIVATE <QtTest>)
    endif()
    target_precompile_headers(${name} REUSE_FROM agent_test_headers)
    # Empty for a test, which includes its moc file.
    set_source_files_properties(
        ${CMAKE_CURRENT_BINARY_DIR}/${name}_autogen/mocs_compilation.cpp
        PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
endfunction()

# agent_tests(FOLDER TOPICS TOPIC... [SOURCES ...] [LINK ...]): the program FOLDER_tests of the test
# classes tst_TOPIC.cpp, and for each of them the test FOLDER_TOPIC. Where sources are compiled
# together, a few together: all processors have work, and a change compiles a part only.
function(agent_tests folder)
    cmake_parse_arguments(ARG "" "" "TOPICS;SOURCES;LINK" ${ARGN})
    set(name ${folder}_tests)
    set(sources ${ARG_TOPICS})
    list(TRANSFORM sources REPLACE "(.+)" "tst_\\1.cpp")
    add_executable(${name}
        ${sources} ${ARG_SOURCES} ${PROJECT_SOURCE_DIR}/tests/support/TestMain.cpp)
    set_target_properties(${name} PROPERTIES UNITY_BUILD_BATCH_SIZE 8)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${ARG_LINK})
    agent_test_options(${name})
    target_compile_definitions(${name} PRIVATE TEST_DATA_DIR="${CMAKE_CURRENT_SOURCE_DIR}/data")
    if(CMAKE_CROSSCOMPILING_EMULATOR)
        target_compile_definitions(${name} PRIVATE AGENT_EMULATED)
    endif()
    foreach(topic IN LISTS ARG_TOPICS)
        add_test(NAME ${folder}_${topic} COMMAND ${name} ${topic})
        agent_time_limit(120 ${folder}_${topic})
    endforeach()
endfunction()
