// SPDX-License-Identifier: Apache-2.0
#include "edid/DumpText.h"

#include "edid/EdidFacts.h"

#include <algorithm>
#include <array>

namespace edid {

namespace {

/** Below 0 for a character that is not a hexadecimal digit. */
int digitOf(QChar character)
{
    const ushort code = character.unicode();
    if (code >= '0' && code <= '9')
        return code - '0';
    const ushort lower = code | 0x20;
    return lower >= 'a' && lower <= 'f' && code < 0x80 ? lower - 'a' + 10 : -1;
}

/** The low byte of a number, 0 if it is not one. Nearly every field has two digits. */
int byteOf(const QChar *field, int length)
{
    if (length == 2) {
        const int high = digitOf(field[0]);
        const int low = digitOf(field[1]);
        if (high >= 0 && low >= 0)
            return high * 16 + low;
    }
    return QString(field, length).toInt(nullptr, 16) & 0xFF;
}

} // namespace

std::optional<QByteArray> bytesFromText(const QString &argument)
{
    const QChar separator = QLatin1Char(' ');
    const QString text = argument.trimmed();
    const QChar *const textEnd = text.constData() + text.size();
    const QChar *field = text.constData();
    std::array<char, dumpSize> bytes{};
    for (char &byte : bytes) {
        if (field > textEnd)
            return std::nullopt;
        const QChar *const fieldEnd = std::find(field, textEnd, separator);
        byte = char(byteOf(field, int(fieldEnd - field)));
        field = fieldEnd + 1;
    }
    return QByteArray(bytes.data(), int(bytes.size()));
}

} // namespace edid
