# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh disable=SC2034
# The Debian packages that the project needs, and their installation.

# To build the programs.
BUILD_PACKAGES="cmake ninja-build g++ qtbase5-dev libqt5serialport5-dev libdeflate-dev libsodium-dev \
    zlib1g-dev libcli11-dev libedit-dev libmicrohttpd-dev nlohmann-json3-dev"
# To build with Qt 6 instead of Qt 5.
QT6_PACKAGES="qt6-base-dev qt6-serialport-dev"
# To run the tests and the demonstration.
RUN_PACKAGES="python3 bubblewrap"
TEST_PACKAGES="edid-decode bzip2 e2fsprogs minisign mold openssh-client openssh-sftp-server openssl \
    python3-jsonschema srecord"
# To make the Debian packages and to check what is in them.
PACKAGE_PACKAGES="dpkg-dev gzip lintian man-db sudo nftables iproute2 systemd"
# To install the Debian packages into a throw-away root.
INSTALL_PACKAGES="mmdebstrap"
# To boot a module in a virtual machine.
MODULE_VM_PACKAGES="mmdebstrap e2fsprogs kmod lz4 openssh-client openssh-sftp-server \
    qemu-system-x86 qemu-system-arm"
# To record and replay the writes of a module in a virtual machine.
POWER_CUTS_PACKAGES="busybox-static cpio"
# To simulate a fleet of modules; libwrap0 is for sshd, which scripts/lib/fleet.sh unpacks.
FLEET_PACKAGES="ansible-core iproute2 libwrap0 minisign openssh-client openssh-sftp-server"
# To measure.
BENCH_PACKAGES="edid-decode redis-server lrzsz minisign"
# A browser and Selenium, which is there for Debian's own Python only.
BROWSER_PACKAGES="chromium chromium-driver python3-selenium fonts-dejavu-core"
FUZZ_PACKAGES="clang llvm"
LINT_PACKAGES="clang-format shellcheck codespell cppcheck black flake8 mypy \
    python3-jsonschema"
# ansible-test is part of ansible-core; the others are its checkers.
FLEET_LINT_PACKAGES="git ansible-core ansible-lint pylint python3-voluptuous python3-venv \
    python3-yaml yamllint shellcheck"
# valgrind starts only with the symbols of the C library.
MEMCHECK_PACKAGES="valgrind libc6-dbg"
ANALYSIS_PACKAGES="clang-tidy clazy"
COVERAGE_PACKAGES="gcovr"
# Headers for the hand-overs between threads that are announced to ThreadSanitizer.
TSAN_PACKAGES="qtbase5-private-dev"
# To build for the board and to run the result.
CROSS_PACKAGES="mmdebstrap g++-arm-linux-gnueabihf g++-aarch64-linux-gnu qemu-user-static"

# Prints those of the given packages that are not installed.
missing_packages() {
    for package in "$@"; do
        state=$(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null) || state=
        [ "${state#ii}" != "$state" ] || echo "$package"
    done
}

# Installs only missing packages; uses no network if there are none.
install_packages() {
    if ! command -v dpkg-query >/dev/null; then
        echo "This is not Debian. Install the equivalents of these packages:" >&2
        echo "  $*" >&2
        return 0
    fi
    missing=$(missing_packages "$@" | tr '\n' ' ')
    [ -n "$missing" ] || return 0
    echo "Installing: $missing"
    as_root=
    if [ "$(id -u)" -ne 0 ]; then
        as_root=sudo
        if ! command -v sudo >/dev/null; then
            echo "These packages are missing: $missing" >&2
            echo "Install them as root: apt-get update && apt-get install $missing" >&2
            return 1
        fi
    fi
    # shellcheck disable=SC2086  # a list of words on purpose
    if ! { $as_root apt-get update -q &&
        DEBIAN_FRONTEND=noninteractive $as_root apt-get install -q -y --no-install-recommends \
            $missing; }; then
        echo "These packages are missing and could not be installed: $missing" >&2
        return 1
    fi
}
