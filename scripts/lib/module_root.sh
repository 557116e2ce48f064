# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# The Debian of the virtual module, without the agent: a tar file of its root and its kernel.

. scripts/lib/archive.sh

# What a network module has besides the agent: systemd, sudo, SSH to operate it.
MODULE_ROOT_PACKAGES="adduser bzip2 dbus e2fsprogs iproute2 kmod mount openssh-server psmisc sudo systemd \
    systemd-sysv udev"

# The cloud kernel has NVMe, ext4 and the 8250 built in, and starts without an initrd. Its package is
# only unpacked: installed, it would make an initrd.
unpack_kernel() {
    cat <<'HOOK'
set -eu
cd "$1/.."
export APT_CONFIG="$MMDEBSTRAP_APT_CONFIG"
package=$(apt-cache depends "linux-image-cloud-$ARCHITECTURE" |
    sed -n 's/^ *Depends: \(linux-image-[0-9][^:]*\).*/\1/p' | head -n 1)
folder=$(mktemp -d)
(cd "$folder" && apt-get -q -o APT::Sandbox::User=root download "$package:$ARCHITECTURE")
dpkg-deb --fsys-tarfile "$folder"/*.deb |
    tar -x --keep-directory-symlink --exclude=./usr/share/doc -C "$1"
rm -r "$folder"
depmod -b "$1" "${package#linux-image-}"
rm -rf "$1"/var/cache/apt/archives/*.deb "$1"/usr/share/doc/* "$1"/usr/share/locale/*
HOOK
}

# make_module_root FOLDER ARCHITECTURE PACKAGE...: makes FOLDER/base.tar, or leaves the one that was
# made from the same packages.
make_module_root() {
    folder=$1
    architecture=$2
    shift 2
    # shellcheck disable=SC2086  # a list of words on purpose
    wanted=$(printf '%s\n' $MODULE_ROOT_PACKAGES "$@" | sort -u | paste -s -d ,)
    if [ "$(cat "$folder/base.packages" 2>/dev/null)" = "$wanted" ]; then
        return 0
    fi
    suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
    archive=$(debian_archive "$suite")
    echo "Making the root of the virtual module ($architecture, some 200 MB to fetch)."
    mkdir -p "$folder"
    rm -f "$folder/base.packages"
    archive_options >"$folder/base.apt"
    unpack_kernel >"$folder/unpack-kernel"
    ARCHITECTURE=$architecture mmdebstrap --quiet --variant=minbase --format=tar \
        --architectures="$architecture" --aptopt="$folder/base.apt" --include="$wanted" \
        --customize-hook="sh $folder/unpack-kernel \"\$1\"" \
        "$suite" "$folder/base.tar" "deb $archive $suite main"
    echo "$wanted" >"$folder/base.packages"
}
