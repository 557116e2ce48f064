// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/NetInstallPlan.h"
#include "netupgrade/NetMarkerFile.h"
#include "package/NetImage.h"
#include "platform/Platform.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

namespace netupgrade {

class NetArchive;

/** The callbacks of an install. One that is not set is not called. */
struct NetReport
{
    /** One line for the console. */
    std::function<void(const QString &line)> text;
    /** The last line of a failed install; passed to `text` when this is not set. */
    std::function<void(const QString &line)> lastLine;
    /** A list whose first element is a key: ("NETVERSION", version). */
    std::function<void(const QStringList &list)> keyed;
    /** Percent of the whole install, rising. */
    std::function<void(double percent)> progress;
};

/**
 * Installs the network module's own firmware: the archive's digest is compared with the header's,
 * then the archive is unpacked over the root file system by shell commands. Everything runs in the
 * calling thread and takes as long as the commands and the disk take. The commands' exit statuses
 * are ignored, and so are failures of a sync, except for a line in the log.
 */
class NetInstaller
{
public:
    NetInstaller(const platform::Platform &platform, NetReport report);

    /**
     * Installs a NET image from a package: writes the archive piece by piece, then as install() for
     * NetInstallVariant::Package. False when the archive cannot be created or its digest is wrong;
     * a version file that cannot be written does not count as a failure. False without a message,
     * and without an archive, when the image cannot be read to its end.
     */
    bool installImage(bytes::ByteSource &image);

    /** Installs the archive that is on disk. False when its digest is not the header's; then only
     *  the digest command was run. */
    bool install(NetInstallVariant variant, const package::NetImage &header);

    /** Performs the steps that follow the marker's state. The archive is not looked at, and removed
     *  only if `removesArchive`. */
    void complete(const NetMarker &marker, bool removesArchive);

    /** Reboots the module. Returns before it goes down. */
    void rebootModule();

private:
    bool storeArchive(NetArchive &archive, bytes::ByteSource &image);
    void perform(const NetInstallStep &step);
    bool mark(NetMarker::State state);
    void unpack(const QString &command);
    void syncFileSystem(const QString &path);
    void writeVersion(const QString &successLine);
    void say(const QString &line);
    void sayLast(const QString &line);
    QString command(const QString &pattern) const;

    platform::Paths m_paths;
    platform::Shell m_shell;
    platform::OperatingSystem m_system;
    std::chrono::milliseconds m_betweenSyncs;
    NetMarkerFile m_markerFile;
    NetReport m_report;
    /** The install of the steps that are performed. */
    NetMarker m_marker;
};

} // namespace netupgrade
