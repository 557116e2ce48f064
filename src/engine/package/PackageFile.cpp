// SPDX-License-Identifier: Apache-2.0
#include "engine/package/PackageFile.h"

#include "engine/report/EngineTexts.h"
#include "package/PackageHeader.h"
#include "package/PackageLayout.h"
#include "planning/RunRules.h"
#include "platform/Log.h"

#include <QFile>

using bytes::ByteSource;
using bytes::FileSource;
using package::currentFormVersion;
using package::PackageChecksum;
using planning::PackageForm;
using planning::packageForm;
using platform::logEngine;

namespace engine {

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
    switch (packageForm(currentFormVersion(package.read(0, package::headSize)))) {
    case PackageForm::Usable:
        return nullptr;
    case PackageForm::Unknown:
        return text::badVersion;
    case PackageForm::TooOld:
        return text::oldVersion;
    case PackageForm::NotAPackage:
        break;
    }
    return text::notAPackage;
}

} // namespace engine
