// SPDX-License-Identifier: Apache-2.0
#include "planning/RunRules.h"

#include "planning/UpgradeMode.h"

namespace field = package::field;
using package::MatchMask;

namespace planning {

namespace {

/** No package with a lower version was ever built. */
constexpr int oldestKnownVersion = 2;
constexpr int oldestUpgradableVersion = 6;

} // namespace

PackageForm packageForm(const std::optional<int> &version)
{
    if (!version)
        return PackageForm::NotAPackage;
    if (*version < oldestKnownVersion)
        return PackageForm::Unknown;
    return *version < oldestUpgradableVersion ? PackageForm::TooOld : PackageForm::Usable;
}

MatchMask maskOf(int upgradeMode)
{
    return upgradeMode == upgradeMode::newerOnly ? MatchMask::newerVersion()
                                                 : MatchMask::anyVersion();
}

bool comparesModel(int upgradeMode)
{
    return upgradeMode == upgradeMode::newerOnly;
}

QString modelName(QByteArray sent)
{
    while (sent.endsWith('\0'))
        sent.chop(1);
    return QString::fromUtf8(sent.constData(), sent.size());
}

bool silenceEndsRun(const TypeAndIndexTable &rows, int line)
{
    return rows.isMainMcu(line);
}

bool recordEndsRun(const TypeAndIndexTable &rows, int line, bool recordIsValid)
{
    return rows.isMainMcu(line) && !recordIsValid;
}

bool goesFirst(const TypeAndIndexTable &rows, int line)
{
    return rows.isMainMcu(line) && rows.value(line, field::bootcodeFlag) != QLatin1String("0");
}

} // namespace planning
