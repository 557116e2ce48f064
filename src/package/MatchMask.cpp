// SPDX-License-Identifier: Apache-2.0
#include "package/MatchMask.h"

#include <QStringList>

#include <algorithm>

namespace package {

MatchMask::MatchMask() : MatchMask(anyVersion()) {}

MatchMask::MatchMask(const QString &text) : m_text(text)
{
    const QStringList flags = text.split(QLatin1Char(','));
    const int count = std::min(int(flags.size()), fieldCount);
    for (int field = 0; field < count; ++field)
        m_enabled[size_t(field)] = flags.at(field) == QLatin1String("1");
}

MatchMask MatchMask::anyVersion()
{
    return MatchMask(QStringLiteral("0,1,0,1,1,1,0,0,0,0,0"));
}

MatchMask MatchMask::newerVersion()
{
    return MatchMask(QStringLiteral("0,1,0,1,1,1,1,1,1,0,0"));
}

bool MatchMask::enables(int field) const
{
    return field >= 0 && field < fieldCount && m_enabled[size_t(field)];
}

} // namespace package
