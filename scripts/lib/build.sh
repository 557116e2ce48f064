# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# Building, for the scripts that need programs.

# Configures a preset. A build tree that was configured elsewhere is begun anew.
configure() {
    if command -v ccache >/dev/null; then
        export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    fi
    cmake --preset "$1" ||
        { echo "The build tree build/$1 does not fit; it is made anew." >&2 &&
            rm -rf "build/$1" && cmake --preset "$1"; }
}

# Builds a preset, or only the named targets of it: build release upgrade-agent
build() {
    preset=$1
    shift
    configure "$preset"
    cmake --build "build/$preset" -j "$(nproc)" ${1:+--target "$@"}
}
