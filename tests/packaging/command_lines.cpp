// SPDX-License-Identifier: Apache-2.0
// Prints every command line that the agent may run, one a line: every kind of install is carried
// out with a shell that only writes down.
#include "netupgrade/NetInstaller.h"
#include "support/InstallFolder.h"

#include <QTemporaryDir>

#include <cstdio>

namespace net = package::net;
using netupgrade::NetInstaller;
using netupgrade::NetInstallVariant;
using package::NetImage;
using platform::Platform;

namespace {

void writeDown(const QString &command)
{
    std::puts(qPrintable(command));
}

} // namespace

int main()
{
    const QTemporaryDir folder;
    NetImage header;
    header.version = "1.23";
    header.md5Text = QByteArray(net::md5Size, '0');

    Platform platform;
    const QString archive = platform.paths.netArchive;
    useInstallFolder(platform, folder.path());
    platform.paths.netArchive = archive;
    platform.shell.run = writeDown;
    platform.shell.readFirst = [&header](const QString &command, int) {
        writeDown(command);
        return header.md5Text;
    };

    NetInstaller installer(platform, {});
    for (const auto variant :
         {NetInstallVariant::Package, NetInstallVariant::Quiet, NetInstallVariant::Blocks}) {
        if (!installer.install(variant, header))
            return 1;
    }
    installer.rebootModule();
    return 0;
}
