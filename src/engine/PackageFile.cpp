// SPDX-License-Identifier: Apache-2.0
#include "engine/PackageFile.h"

#include "platform/Log.h"

#include <QFile>

QString packagePath(const QString &fileName)
{
    const QLatin1String scheme("file:///");
    return fileName.startsWith(scheme) ? fileName.mid(scheme.size()) : fileName;
}

PackageCheck openPackage(FileSource &file, const QString &path)
{
    if (!QFile::exists(path)) {
        qCDebug(logEngine) << "file not exist!!";
        return PackageCheck::Missing;
    }
    if (file.open())
        return PackageCheck::NotChecked;
    qCDebug(logEngine) << "Faild to open file";
    return PackageCheck::Unreadable;
}

PackageCheck packageVerdict(const PackageChecksum &checksum)
{
    qCDebug(logEngine) << "fileHeadMD5:" << checksum.stored << "checkMD5:" << checksum.computed;
    return checksum.matches() ? PackageCheck::Right : PackageCheck::Wrong;
}

void warnOfReadError(int error)
{
    const QString reason =
        error == 0 ? QStringLiteral("no more bytes come") : qt_error_string(error);
    qCWarning(logEngine).noquote()
        << "cannot read the package:" << QStringLiteral("%1 (errno %2)").arg(reason).arg(error);
}
