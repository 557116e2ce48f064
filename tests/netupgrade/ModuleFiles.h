// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/NetInstallPlan.h"
#include "package/NetImage.h"
#include "support/InstallFolder.h"
#include "support/NetFrames.h"

#include <QFile>
#include <QMetaType>
#include <QTemporaryDir>

Q_DECLARE_METATYPE(netupgrade::NetInstallVariant)

/** The settings of a module whose files are in a temporary folder. */
struct ModuleFiles
{
    ModuleFiles() { useInstallFolder(platform, folder.path()); }

    /** A file's bytes, or "no file". */
    static QByteArray stored(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    static void put(const QString &path, const QByteArray &bytes)
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(path));
    }

    QByteArray storedArchive() const { return stored(platform.paths.netArchive); }
    QByteArray storedVersion() const { return stored(platform.paths.netVersion); }
    void putArchive(const QByteArray &bytes) const { put(platform.paths.netArchive, bytes); }
    void putVersion(const QByteArray &bytes) const { put(platform.paths.netVersion, bytes); }

    /** Lines with the folder of a module in place of the temporary one. */
    QStringList portable(QStringList lines) const
    {
        return lines.replaceInStrings(folder.path(), "/data");
    }

    QTemporaryDir folder;
    platform::Platform platform;
};

/** The header of an image of version 1.23 with this archive. */
inline package::NetImage imageHeader(const QByteArray &archive)
{
    return package::parseNetImage(netframes::header(archive));
}
