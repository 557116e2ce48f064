// SPDX-License-Identifier: Apache-2.0
#include "planning/VersionRule.h"

#include "planning/TypeAndIndexTable.h"

namespace field = package::field;

namespace planning {

Version versionOf(const QStringList &fields)
{
    Version version{};
    for (int i = 0; i < int(version.size()); ++i)
        version[size_t(i)] = fields.value(field::ver1 + i).toInt();
    return version;
}

QString versionText(const QStringList &fields)
{
    QStringList numbers = fields.mid(field::ver1, int(Version().size()));
    numbers.removeAll(QString());
    return numbers.join(QLatin1Char('.'));
}

VersionOrder compareVersions(const Version &package, const Version &running)
{
    if (package == running)
        return VersionOrder::Equal;
    return package > running ? VersionOrder::Greater : VersionOrder::Less;
}

} // namespace planning
