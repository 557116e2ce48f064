# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# A separate Debian in a folder, to install packages into. It is Debian's minimal variant, not this
# machine's files: only there a missing dependency of a package is found.

. scripts/lib/archive.sh

# The packages that the given package files depend on, without each other.
needed_packages() {
    own=$(for package in "$@"; do dpkg-deb -f "$package" Package; done)
    for package in "$@"; do
        dpkg-deb -f "$package" Depends | tr ',' '\n' | sed 's/ *(.*//; s/^ *//'
    done | grep . | grep -vxF "$own" | sort -u | tr '\n' ' '
}

# make_throw_away_root FOLDER PACKAGE...: a fresh root with these Debian packages in it. The
# downloaded files are kept next to it, so the second time needs no network.
make_throw_away_root() {
    root=$1
    shift
    wanted=$*
    if ! made_from "$root.packages" "$wanted"; then
        suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
        archive=$(debian_archive "$suite")
        rm -f "$root.packages"
        archive_options >"$root.apt"
        mmdebstrap --quiet --variant=minbase --aptopt="$root.apt" --format=tar \
            --include="$(echo "$wanted" | tr ' ' ',')" "$suite" "$root.tar" \
            "deb $archive $suite main"
        echo "$wanted" >"$root.packages"
    fi
    rm -rf "$root"
    mkdir -p "$root"
    tar -x --numeric-owner --xattrs -C "$root" --exclude='./dev/*' -f "$root.tar"
}
