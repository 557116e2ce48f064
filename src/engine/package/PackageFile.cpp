// SPDX-License-Identifier: Apache-2.0
#include "engine/package/PackageFile.h"

#include "engine/report/EngineTexts.h"
#include "package/PackageHeader.h"
#include "package/PackageLayout.h"
#include "platform/Log.h"

#include <QFile>

using bytes::ByteSource;
using bytes::FileSource;
using package::currentFormVersion;
using package::PackageChecksum;

namespace engine {

namespace {

/** Versions below are none that was ever built; those up to the next can be listed only. */
constexpr int oldestKnownVersion = 2;
constexpr int oldestUpgradableVersion = 6;

} // namespace

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

const char *checkProblem(PackageCheck check)
{
    switch (check) {
    case PackageCheck::Right:
        qCDebug(logEngine) << "checkFWMmd5 OK!!";
        return nullptr;
    case PackageCheck::Wrong:
        qCDebug(logEngine) << "checkFWMmd5 error!!";
        return text::errorChecksum;
    case PackageCheck::Unreadable:
        return text::errorOpen;
    case PackageCheck::NotChecked:
    case PackageCheck::Missing:
        break;
    }
    return text::errorMissing;
}

const char *versionProblem(ByteSource &package)
{
    const std::optional<int> version = currentFormVersion(package.read(0, package::headSize));
    if (!version)
        return text::notAPackage;
    if (*version < oldestKnownVersion)
        return text::badVersion;
    return *version < oldestUpgradableVersion ? text::oldVersion : nullptr;
}

} // namespace engine
