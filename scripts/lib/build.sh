# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# Building, for the scripts that need programs.

# Configures a preset, with further arguments for cmake. A build tree that does not fit is
# deleted and configured again.
configure() {
    preset=$1
    shift
    if command -v ccache >/dev/null; then
        export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    fi
    cmake --preset "$preset" "$@" ||
        { echo "The build tree build/$preset does not fit; it is deleted and configured again." >&2 &&
            rm -rf "build/$preset" && cmake --preset "$preset" "$@"; }
}

# Builds a preset, or only the named targets of it: build release upgrade-agent
build() {
    preset=$1
    shift
    configure "$preset"
    cmake --build "build/$preset" -j "$(nproc)" ${1:+--target "$@"}
}
