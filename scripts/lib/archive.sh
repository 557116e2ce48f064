# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# Where this machine gets Debian from, for the scripts that make another Debian.

# The archive that this machine installs Debian from: the suite's main one alone, for the security
# archive's index can be out of step for foreign architectures.
debian_archive() {
    archive=$(apt-get indextargets --format "\$(REPO_URI)" 'Created-By: Packages' \
        'Origin: Debian' "Release: $1" 'Component: main' | head -n 1)
    if [ -z "$archive" ]; then
        echo "apt knows no archive of Debian $1 here; is an apt-get update due?" >&2
        return 1
    fi
    echo "$archive"
}

# How this machine reaches that archive, a proxy for example, in apt's own words.
archive_options() {
    apt-config dump Acquire | grep -E '^Acquire::(http|https|ftp|Check-|Retries)' || true
}
