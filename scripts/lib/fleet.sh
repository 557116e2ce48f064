# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=sh
# What a fleet of simulated modules needs.

FLEET_FOLDER=build/fleet
COLLECTION=ansible/ansible_collections/upgrade_agent/fleet

# Installs missing packages. The package of sshd is only unpacked, since its installation would start
# a server on this machine.
prepare_fleet() {
    # shellcheck disable=SC2086  # lists of words on purpose
    install_packages $RUN_PACKAGES $FLEET_PACKAGES
    mkdir -p "$FLEET_FOLDER"
    (
        # Another script may do the same now.
        flock 9
        [ -x /usr/sbin/sshd ] || unpack_sshd
        install_collection
    ) 9>"$FLEET_FOLDER/lock"
}

unpack_sshd() {
    unpacked=$FLEET_FOLDER/openssh-server
    [ ! -x "$unpacked/usr/sbin/sshd" ] || return 0
    rm -rf "$unpacked" "$unpacked.new"
    mkdir -p "$unpacked.new"
    (cd "$unpacked.new" && apt-get download -q openssh-server)
    dpkg-deb -x "$unpacked.new"/openssh-server_*.deb "$unpacked.new"
    mv "$unpacked.new" "$unpacked"
}

# Builds the Ansible collection and installs it from the archive, unless it is there already.
install_collection() {
    state=$(find "$COLLECTION" -type f ! -name '*.pyc' -exec sha256sum {} + | sort | sha256sum)
    [ "$(cat "$FLEET_FOLDER/collection.state" 2>/dev/null)" != "$state" ] || return 0
    (
        export LC_ALL=C.UTF-8 ANSIBLE_HOME="$PWD/$FLEET_FOLDER/ansible"
        export ANSIBLE_COLLECTIONS_PATH="$PWD/$FLEET_FOLDER/collections"
        cd "$FLEET_FOLDER"
        rm -rf archive collections collection.state
        ansible-galaxy collection build --output-path archive "../../$COLLECTION"
        ansible-galaxy collection install --offline -p collections archive/*.tar.gz
    ) >"$FLEET_FOLDER/collection.log" 2>&1 ||
        { cat "$FLEET_FOLDER/collection.log" >&2 && return 1; }
    echo "$state" >"$FLEET_FOLDER/collection.state"
}
