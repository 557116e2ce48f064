// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QVector>

namespace netupgrade {

/** Who installs NET firmware. */
enum class NetInstallVariant {
    /** An item of a package upgrade: every step is reported, the run continues afterwards. */
    Package,
    /** An image that the device sent: only progress is reported, the module reboots afterwards. */
    Quiet,
    /** A package sent block by block by the console. */
    Blocks,
};

/** One action of an install. */
struct NetInstallStep
{
    enum class Kind {
        Say,
        SaySuccess,
        Progress,
        Run,
        /** The marker is written: from here on the agent completes an interrupted install. */
        MarkUnpacking,
        /** Runs the command, then syncs the root file system. */
        Unpack,
        MarkUnpacked,
        RemoveArchive,
        /** Syncs the folder of the archive. */
        SyncRemoval,
        WriteVersion,
        RemoveMarker,
        AnnounceVersion,
    };

    Kind kind = Kind::Say;
    /** Say: the line. Run, Unpack, RemoveArchive: the command, with %1 for the archive.
     *  WriteVersion: the line after success, may be empty. */
    QString text;
    /** Progress only. */
    int percent = 0;
};

/** What happens once the archive is on disk. */
struct NetInstallPlan
{
    /** The line when the digest differs, which ends the install. Empty for none. */
    QString digestWrong;
    QVector<NetInstallStep> steps;
};

const NetInstallPlan &netInstallPlan(NetInstallVariant variant);

namespace netcommand {

inline QString digest()
{
    return QStringLiteral("sudo md5sum %1");
}
inline QString remountWritable()
{
    return QStringLiteral("sudo mount -o remount rw /");
}
inline QString unpack()
{
    return QStringLiteral("sudo tar -C / -xf %1");
}
inline QString removeArchive()
{
    return QStringLiteral("sudo rm %1");
}
inline QString remountReadOnly()
{
    return QStringLiteral("sudo mount -o remount ro /");
}
inline QString sync()
{
    return QStringLiteral("sync");
}
inline QString reboot()
{
    return QStringLiteral("sudo reboot");
}

} // namespace netcommand

} // namespace netupgrade
