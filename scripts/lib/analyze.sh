# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# Static analysis of every C++ file, for the steps that do it. Findings are printed.

. scripts/lib/packages.sh
. scripts/lib/build.sh

tree=build/analysis
production="src tools bench cmake"
# Checks of performance do not apply to tests, which run once.
clazy_in_tests="level1,no-detaching-temporary,no-non-pod-global-static,no-range-loop-detach"
clazy_in_tests="$clazy_in_tests,no-range-loop-reference,no-use-static-qregularexpression"

# Prints the project's files of the build tree below the given folders, one per line.
compiled_files() {
    sed -n 's/^ *"file": "\(.*\)",*$/\1/p' "$tree/compile_commands.json" |
        grep -E "^$PWD/($(echo "$*" | tr ' ' '|'))/" | sort -u
}

# in_parts FOLDERS COMMAND...: runs the command over the files below these folders, some at a time
# on every processor; shows the findings and fails if there are any.
in_parts() {
    folders=$1
    shift
    log="$tree/$1-${folders%% *}.log"
    files=$(compiled_files "$folders")
    [ -n "$files" ] || { echo "$1: there is nothing to check in $folders" >&2 && return 1; }
    echo "$files" | xargs -n 4 -P "$(nproc)" "$@" >"$log" 2>&1 && status=0 || status=$?
    if grep -E "(warning|error): " "$log" | sort -u | grep . || [ "$status" -ne 0 ]; then
        echo "$1: everything is in $log" >&2
        return 1
    fi
}

clang_tidy() {
    in_parts "$production tests" clang-tidy --quiet -p "$tree"
}

clazy() {
    in_parts "$production" clazy-standalone -p "$tree" --checks=level1 && found=0 || found=1
    in_parts tests clazy-standalone -p "$tree" --checks="$clazy_in_tests" || found=1
    [ "$found" -eq 0 ]
}

# Installs the packages of the analysis and configures a tree in which each file is compiled alone.
# It is not built: the tests include the output of moc from the release tree.
prepare() {
    # shellcheck disable=SC2086  # lists of words on purpose
    install_packages $BUILD_PACKAGES $ANALYSIS_PACKAGES
    { build release && configure analysis; } >"$tree.log" 2>&1 || { cat "$tree.log" && exit 1; }
    (cd build/release && find . -name '*.moc' -path '*_autogen/include/*' -print0 |
        tar -c --null -T -) | tar -x -C "$tree"
}
