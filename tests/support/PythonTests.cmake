# SPDX-License-Identifier: Apache-2.0
# Tests in Python. Each file runs as a module, from the project's folder; Python finds the modules of
# the harness from there.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# What every test gets in its environment.
set(AGENT_PYTHON_ENVIRONMENT
    "AGENT_PROGRAM=${AGENT_RUN_DIRECTORY}/upgrade-agent"
    "DEVICE_CHECK=${AGENT_RUN_DIRECTORY}/device-check"
    "DEVICE_SIMULATOR=${AGENT_RUN_DIRECTORY}/device-simulator"
    "FWM_PROGRAM=${AGENT_RUN_DIRECTORY}/fwm"
    "UPGRADE_CONSOLE=${AGENT_RUN_DIRECTORY}/upgrade-console"
    "EDID_DUMP=${PROJECT_SOURCE_DIR}/tests/edid/data/v4l-dell-p2415q-hdmi1.4.bin"
    "AGENT_SANITIZE=${AGENT_SANITIZE}")

# agent_python_module(VARIABLE FILE): the module of a file of the current folder.
function(agent_python_module variable file)
    file(RELATIVE_PATH module ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/${file})
    string(REGEX REPLACE "\\.py$" "" module ${module})
    string(REPLACE "/" "." module ${module})
    set(${variable} ${module} PARENT_SCOPE)
endfunction()

# agent_python_command(VARIABLE MODULE ...): the command that runs a module, with the arguments of the
# functions below; SANDBOX runs it in the sandbox, with these options.
function(agent_python_command variable module)
    if("SANDBOX" IN_LIST ARGN)
        cmake_parse_arguments(ARG "" "TIMEOUT" "SANDBOX;ENVIRONMENT;ARGUMENTS;FIRST" ${ARGN})
        set(${variable} ${PROJECT_SOURCE_DIR}/scripts/sandbox --bind ${CMAKE_BINARY_DIR}
            ${ARG_SANDBOX} -- python3 -B -m ${module} PARENT_SCOPE)
    else()
        set(${variable} ${Python3_EXECUTABLE} -B -m ${module} PARENT_SCOPE)
    endif()
endfunction()

# agent_python_test(NAME FILE [TIMEOUT seconds] [SANDBOX [option...]] [ENVIRONMENT ...]
# [ARGUMENTS ...]): one test that runs a file.
function(agent_python_test name file)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SANDBOX;ENVIRONMENT;ARGUMENTS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 60)
    endif()
    agent_python_module(module ${file})
    agent_python_command(command ${module} ${ARGN})
    add_test(NAME ${name} COMMAND ${command} ${ARG_ARGUMENTS}
        WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "${AGENT_PYTHON_ENVIRONMENT};${ARG_ENVIRONMENT}")
    agent_time_limit(${ARG_TIMEOUT} ${name})
endfunction()

# agent_python_cases(PREFIX FILE TIMEOUT seconds [SANDBOX [option...]] [FIRST case...]): a test, and a
# sandbox, for each test function of a file. ctest asks Python for them whenever it starts, so the
# list cannot be out of date. The cases after FIRST start before other tests.
function(agent_python_cases prefix file)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SANDBOX;FIRST" ${ARGN})
    agent_python_module(module ${file})
    agent_python_command(command ${module} ${ARGN})
    math(EXPR limit "${ARG_TIMEOUT} * ${AGENT_TIME_FACTOR} * 5")
    list(TRANSFORM ARG_FIRST PREPEND ${prefix}_)
    set_property(GLOBAL APPEND PROPERTY AGENT_PYTHON_MODULES ${module})
    set_property(GLOBAL APPEND_STRING PROPERTY AGENT_PYTHON_CASES
"set(${module}.prefix \"${prefix}\")
set(${module}.command \"${command}\")
set(${module}.seconds \"${ARG_TIMEOUT}\")
set(${module}.limit \"${limit}\")
set(${module}.first \"${ARG_FIRST}\")
")
endfunction()

# agent_list_python_cases(): makes ctest read the lists; once, after all folders.
function(agent_list_python_cases)
    get_property(modules GLOBAL PROPERTY AGENT_PYTHON_MODULES)
    get_property(cases GLOBAL PROPERTY AGENT_PYTHON_CASES)
    set(file ${CMAKE_CURRENT_BINARY_DIR}/python_cases.cmake)
    file(GENERATE OUTPUT ${file} CONTENT
"set(root \"${PROJECT_SOURCE_DIR}\")
set(python \"${Python3_EXECUTABLE}\")
set(environment \"${AGENT_PYTHON_ENVIRONMENT}\")
set(modules \"${modules}\")
${cases}include(\"${PROJECT_SOURCE_DIR}/tests/support/PythonCases.cmake\")
")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${file})
endfunction()
