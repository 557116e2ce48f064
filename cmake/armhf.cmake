# SPDX-License-Identifier: Apache-2.0
# 32-bit ARM (ARMv7 with hardware floating point), as Debian's armhf.
set(AGENT_ARCHITECTURE armhf)
set(AGENT_TRIPLET arm-linux-gnueabihf)
set(AGENT_EMULATOR qemu-arm-static)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
