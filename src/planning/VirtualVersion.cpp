// SPDX-License-Identifier: Apache-2.0
#include "planning/VirtualVersion.h"

namespace planning {

quint8 virtualVersionByte(const QString &release)
{
    const int number = release.section(QLatin1Char('.'), -1).toInt();
    return number >= 1 && number <= 255 ? quint8(number) : quint8{0};
}

std::optional<quint8> virtualVersionAfter(bool hasWritten, const QString &release)
{
    if (!hasWritten || release.isEmpty())
        return std::nullopt;
    return virtualVersionByte(release);
}

} // namespace planning
