# SPDX-License-Identifier: Apache-2.0
# The Debian packages, which cpack makes in the build folder.

# The libraries are listed here, so that the packages can be built for another machine, whose
# libraries dpkg-shlibdeps does not know. A test compares the list with its native output. The
# versions are those of Debian 12, where the programs are tested.
set(common_libraries "libc6 (>= 2.36), libgcc-s1 (>= 12), libqt5core5a (>= 5.15.8), \
libqt5network5 (>= 5.15.8), libstdc++6 (>= 12), libdeflate0 (>= 1.14), libsodium23 (>= 1.0.18), \
zlib1g (>= 1:1.2.13)")
set(agent_libraries "${common_libraries}, libqt5serialport5 (>= 5.15.8)")
set(tools_libraries "${common_libraries}, libedit2 (>= 3.1), libqt5serialport5 (>= 5.15.8)")
set(web_libraries "${common_libraries}, libmicrohttpd12 (>= 0.9.75)")

# debian_architecture(VARIABLE): Debian's name of the machine that the compiler builds for.
function(debian_architecture variable)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpmachine OUTPUT_VARIABLE machine
        OUTPUT_STRIP_TRAILING_WHITESPACE)
    foreach(pair x86_64-.*=amd64 aarch64-.*=arm64 arm-.*-gnueabihf=armhf i[3-6]86-.*=i386)
        string(REPLACE "=" ";" pair ${pair})
        list(GET pair 0 pattern)
        list(GET pair 1 architecture)
        if(machine MATCHES "^${pattern}$")
            set(${variable} ${architecture} PARENT_SCOPE)
            return()
        endif()
    endforeach()
    message(WARNING "packages: Debian's name for ${machine} is not known here")
    set(${variable} ${machine} PARENT_SCOPE)
endfunction()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME upgrade-agent)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The upgrade-agent maintainers <maintainers@upgrade-agent.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON) # /etc is outside of the prefix
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL agent tools web ansible doc)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
debian_architecture(CPACK_DEBIAN_PACKAGE_ARCHITECTURE)

set(CPACK_DEBIAN_AGENT_PACKAGE_NAME upgrade-agent)
set(CPACK_DEBIAN_AGENT_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_AGENT_PACKAGE_DEPENDS
    "${agent_libraries}, adduser, bzip2, mount, sudo, systemd-sysv")
set(CPACK_DEBIAN_AGENT_PACKAGE_SUGGESTS "nftables, upgrade-agent-doc, upgrade-agent-tools")
set(CPACK_DEBIAN_AGENT_DESCRIPTION "firmware upgrades of an audio-video (HDMI) device
A headless agent on a device's network module. It takes short text commands
over TCP port 35353 and writes firmware packages into the microcontrollers and
FPGAs of the device over a serial line, block by block. It can also upgrade
the module that it runs on, read and write the product information of each
 microcontroller, and turn an EDID dump into a report.")
foreach(script conffiles postinst prerm postrm)
    list(APPEND CPACK_DEBIAN_AGENT_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/agent/${script})
endforeach()

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME upgrade-agent-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${tools_libraries}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "bzip2, openssh-client")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "upgrade-agent-doc")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "companion programs of the firmware upgrade agent
fwm builds, shows, checks and compares firmware packages. upgrade-console is
the client of the agent: it upgrades devices with a live view, for people and
for scripts. device-simulator plays a device, faults included, so that all can
be tried without one. device-check tests a device against the protocol.
edid-report shows what the agent reports of a display.")

set(CPACK_DEBIAN_WEB_PACKAGE_NAME upgrade-agent-web)
set(CPACK_DEBIAN_WEB_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_WEB_PACKAGE_DEPENDS "${web_libraries}, adduser, upgrade-agent")
set(CPACK_DEBIAN_WEB_PACKAGE_SUGGESTS "upgrade-agent-doc")
set(CPACK_DEBIAN_WEB_DESCRIPTION "web server of the firmware upgrade agent
A client of the agent on the same network module that serves the state of the
module and of an upgrade over HTTP, takes new packages, starts upgrades and
sends their progress to any number of viewers. It listens on the loopback
address, and elsewhere only with a password and TLS or a proxy.")
foreach(script postinst prerm postrm)
    list(APPEND CPACK_DEBIAN_WEB_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/web/${script})
endforeach()

set(CPACK_DEBIAN_ANSIBLE_PACKAGE_NAME ansible-collection-upgrade-agent)
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_DEPENDS "ansible-core (>= 2.14), upgrade-agent-tools")
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_SUGGESTS "upgrade-agent-doc")
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/ansible/prerm)
set(CPACK_DEBIAN_ANSIBLE_DESCRIPTION "firmware upgrades of many devices with Ansible
The collection upgrade_agent.fleet: modules that put a package on the network
module of an audio-video (HDMI) device, upgrade the device and report its
state, a role that installs the agent, playbooks for a rollout in waves, and a
report of it.")

set(CPACK_DEBIAN_DOC_PACKAGE_NAME upgrade-agent-doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_DESCRIPTION "documentation of the firmware upgrade agent
The formats and protocols, every message with its meaning and what to do, the
upgrade of the network module itself, and a tutorial that needs no device.")
include(CPack)
