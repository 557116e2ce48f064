# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# A browser in the sandbox, with the programs of build/release.

# install_axe_core FOLDER: the release and the hash in tests/browser/package-lock.json. Debian has no
# package of it.
install_axe_core() {
    AXE_CORE=$PWD/$1/node_modules/axe-core/axe.min.js
    export AXE_CORE
    mkdir -p "$1"
    if ! cmp -s tests/browser/package-lock.json "$1/package-lock.json" || [ ! -f "$AXE_CORE" ]; then
        command -v npm >/dev/null || install_packages npm
        cp tests/browser/package.json tests/browser/package-lock.json "$1"
        npm ci --prefix "$1" --ignore-scripts --no-audit --no-fund
    fi
}

# in_browser_sandbox [OPTION]... -- ARGUMENT...: Debian's Python in the sandbox, with a serial line
# and a folder for keys.
in_browser_sandbox() {
    bin=$PWD/build/release/bin
    options=
    while [ "$1" != -- ]; do
        options="$options $1"
        shift
    done
    shift
    # shellcheck disable=SC2086  # a list of words on purpose
    AGENT_PROGRAM=$bin/upgrade-agent DEVICE_SIMULATOR=$bin/device-simulator \
        UPGRADE_WEB=$bin/upgrade-web \
        scripts/sandbox --pty --keys $options -- /usr/bin/python3 -B "$@"
}
