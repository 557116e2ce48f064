// SPDX-License-Identifier: Apache-2.0
#include "edid/DumpText.h"

#include "edid/EdidFacts.h"

#include <QStringList>

namespace edid {

std::optional<QByteArray> bytesFromText(const QString &argument)
{
    const QStringList fields = argument.trimmed().split(QLatin1Char(' '));
    if (fields.size() < int(dumpSize))
        return std::nullopt;

    QByteArray bytes;
    for (int i = 0; i < int(dumpSize); ++i)
        bytes.append(char(fields.at(i).toInt(nullptr, 16) & 0xFF));
    return bytes;
}

} // namespace edid
