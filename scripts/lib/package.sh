# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# Makes the Debian packages, for the scripts that need them.

# Prints one flag variable as Debian builds its own packages, everything hardened:
# debian_flags amd64 CXXFLAGS. Without debug information, which would be stripped anyway.
debian_flags() {
    DEB_HOST_ARCH=$1 DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_MAINT_STRIP=-g \
        dpkg-buildflags --get "$2"
}

# Makes the packages from the programs in a build folder, beside them, and checks them, unless nothing
# has changed since the last time. Informal remarks of lintian are shown with
# LINTIAN_OPTIONS=--display-info.
make_packages() {
    checked=$1/packages.checked
    if [ -e "$checked" ] && [ -z "${LINTIAN_OPTIONS:-}" ] && [ -z "$(find "$1/bin" [A-Z]* cmake \
        docs packaging src tools -newer "$checked" -print -quit)" ]; then
        return 0
    fi
    rm -rf "$checked" "$1"/*.deb "$1/_CPack_Packages"
    (cd "$1" && cpack)
    # shellcheck disable=SC2086  # a list of words on purpose
    lintian --allow-root --fail-on error,warning ${LINTIAN_OPTIONS:-} "$1"/*.deb
    touch "$checked"
}
