# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# The Debian archive of this machine, for the scripts that make a root folder from it.

# The URL of the archive that this machine uses. Only the suite's main archive, since the index of the
# security archive can be out of step for foreign architectures.
debian_archive() {
    archive=$(apt-get indextargets --format "\$(REPO_URI)" 'Created-By: Packages' \
        'Origin: Debian' "Release: $1" 'Component: main' | head -n 1)
    if [ -z "$archive" ]; then
        echo "apt has no archive of Debian $1; try apt-get update" >&2
        return 1
    fi
    echo "$archive"
}

# made_from MARK PACKAGES: whether the folder or file that this mark belongs to is complete and was made
# from the same packages. The mark is written last, and removed first.
made_from() {
    [ "$(cat "$1" 2>/dev/null)" = "$2" ]
}

# apt's options for the access to that archive, a proxy for example.
archive_options() {
    apt-config dump Acquire | grep -E '^Acquire::(http|https|ftp|Check-|Retries)' || true
}
