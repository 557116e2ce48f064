# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# Builds the virtual module, for the scripts that boot it.

. scripts/lib/packages.sh
. scripts/lib/throw_away_root.sh

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
    made_from "$folder/base.packages" "$wanted" && return 0
    suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
    archive=$(debian_archive "$suite")
    echo "Making the root of the virtual module ($architecture, some 200 MB to fetch)."
    mkdir -p "$folder"
    rm -f "$folder/base.packages"
    archive_options >"$folder/base.apt"
    unpack_kernel >"$folder/unpack-kernel"
    # In a user namespace no device file can be made; the root gets its own when it boots.
    skipped=
    [ "$architecture" = "$(dpkg --print-architecture)" ] ||
        skipped="--mode=root --skip=output/mknod,output/dev"
    # shellcheck disable=SC2086  # a list of words on purpose
    ARCHITECTURE=$architecture python3 -B -m scripts.lib.emulated "$architecture" \
        mmdebstrap --quiet --variant=minbase --format=tar $skipped \
        --architectures="$architecture" --aptopt="$folder/base.apt" --include="$wanted" \
        --customize-hook="sh $folder/unpack-kernel \"\$1\"" \
        "$suite" "$folder/base.tar" "deb $archive $suite main"
    echo "$wanted" >"$folder/base.packages"
}

# build_module ARCHITECTURE: installs what is missing and builds the packages, the root and the disks,
# each only if something in it has changed. Sets what tests.vm expects in its environment.
build_module() {
    if [ "$(id -u)" -ne 0 ]; then
        echo "The root file system of the module can be made by root only." >&2
        return 2
    fi
    # shellcheck disable=SC2086  # a list of words on purpose
    install_packages bzip2 $MODULE_VM_PACKAGES
    # Two of these at a time would write the same files.
    mkdir -p build/module-vm
    exec 9>build/module-vm/lock
    flock -n 9 || { echo "Waiting until another module is built." >&2 && flock 9; }
    scripts/package
    packages=build/package
    if [ "$1" != "$(dpkg --print-architecture)" ]; then
        install_packages arch-test qemu-user-static
        scripts/cross-build "$1" --no-tests
        packages=build/$1
    fi
    MODULE_PACKAGE=$(ls "$packages"/upgrade-agent_*.deb)
    export MODULE_PACKAGE MODULE_ARCHITECTURE="$1" MODULE_IMAGE="$PWD/build/module-vm/$1"
    export MODULE_PROGRAMS="$PWD/build/package/bin"
    # shellcheck disable=SC2046  # a list of words on purpose
    make_module_root "$MODULE_IMAGE" "$1" $(needed_packages "$MODULE_PACKAGE")
    python3 -B -m scripts.lib.emulated "$1" \
        python3 -B -m tests.vm.image "$MODULE_IMAGE" "$MODULE_PACKAGE"
    exec 9>&-
}
