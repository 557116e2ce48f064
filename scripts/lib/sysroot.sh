# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# The board's libraries and headers, from Debian, for cross compilers and emulators.

. scripts/lib/archive.sh

# What a cross build needs of the packages that a build here needs: headers and libraries.
sysroot_packages() {
    printf '%s\n' libc6-dev "$@" | grep -e '-dev$' | sort -u | paste -s -d ,
}

# Nothing but headers and libraries: an emulator looks for every file in here first, so a /tmp or a
# /usr/bin would hide the machine's own.
unpack_libraries() {
    tar -x --no-same-owner -C "$1" --exclude=./bin --exclude=./sbin --exclude=./dev --exclude=./etc \
        --exclude=./tmp --exclude=./var --exclude=./usr/bin --exclude=./usr/sbin \
        --exclude=./usr/share/doc --exclude=./usr/share/locale --exclude=./usr/share/man
}

# A link to /lib/x means the sysroot's.
make_links_relative() {
    find "$1" -type l -lname '/*' | while read -r link; do
        ln -sfnr "$1$(readlink "$link")" "$link"
    done
}

# Qt's package files name the tools that run while building; those are this machine's.
use_own_qt_tools() {
    for tool in "$1"/usr/lib/qt5/bin/* "$1"/usr/lib/*/qt5/bin/*; do
        own=/usr/lib/qt5/bin/${tool##*/}
        if [ -x "$own" ]; then
            ln -sfn "$own" "$tool"
        fi
    done
}

# make_sysroot ARCHITECTURE PACKAGE...: makes build/sysroot-ARCHITECTURE, or leaves the one that
# was made from the same packages.
make_sysroot() {
    root=$PWD/build/sysroot-$1
    wanted=$(shift && sysroot_packages "$@")
    made_from "$root/complete" "$wanted" && return 0
    suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
    archive=$(debian_archive "$suite")
    echo "Making the sysroot of $1 (some 100 MB to fetch)."
    rm -rf "$root"
    mkdir -p "$root"
    archive_options >"$root.apt"
    mmdebstrap --quiet --variant=extract --architectures="$1" --include="$wanted" \
        --aptopt="$root.apt" --format=tar "$suite" "$root.tar" "deb $archive $suite main"
    unpack_libraries "$root" <"$root.tar"
    rm "$root.tar" "$root.apt"
    make_links_relative "$root"
    use_own_qt_tools "$root"
    echo "$wanted" >"$root/complete"
}
