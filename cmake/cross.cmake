# SPDX-License-Identifier: Apache-2.0
# The common part of the toolchain files. They set AGENT_ARCHITECTURE (as Debian names it),
# AGENT_TRIPLET and AGENT_EMULATOR; scripts/cross-build makes the sysroot.
set(CMAKE_SYSTEM_NAME Linux)

get_filename_component(AGENT_SYSROOT
    ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-${AGENT_ARCHITECTURE} ABSOLUTE)
if(NOT EXISTS ${AGENT_SYSROOT}/complete)
    message(FATAL_ERROR "There is no sysroot; scripts/cross-build ${AGENT_ARCHITECTURE} makes it.")
endif()
set(CMAKE_SYSROOT ${AGENT_SYSROOT})

set(CMAKE_C_COMPILER ${AGENT_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${AGENT_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${AGENT_TRIPLET})

# Programs that run during the build are the build machine's, everything else is the target's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Runs the built programs here; the kernel needs no binfmt_misc entry.
find_program(AGENT_EMULATOR_PROGRAM ${AGENT_EMULATOR} REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${AGENT_EMULATOR_PROGRAM} -L ${AGENT_SYSROOT})
