# SPDX-License-Identifier: Apache-2.0
# 64-bit ARM, as Debian's arm64.
set(AGENT_ARCHITECTURE arm64)
set(AGENT_TRIPLET aarch64-linux-gnu)
set(AGENT_EMULATOR qemu-aarch64-static)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
