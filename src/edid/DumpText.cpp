// SPDX-License-Identifier: Apache-2.0
#include "edid/DumpText.h"

#include "edid/EdidFacts.h"

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
int byteOf(const QStringRef &field)
{
    if (field.size() == 2) {
        const int high = digitOf(field.at(0));
        const int low = digitOf(field.at(1));
        if (high >= 0 && low >= 0)
            return high * 16 + low;
    }
    return field.toInt(nullptr, 16) & 0xFF;
}

} // namespace

std::optional<QByteArray> bytesFromText(const QString &argument)
{
    constexpr QLatin1Char separator(' ');
    const QStringRef text = QStringRef(&argument).trimmed();
    std::array<char, dumpSize> bytes{};
    int start = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (start > text.size())
            return std::nullopt;
        int end = text.indexOf(separator, start);
        if (end < 0)
            end = text.size();
        bytes[i] = char(byteOf(text.mid(start, end - start)));
        start = end + 1;
    }
    return QByteArray(bytes.data(), int(bytes.size()));
}

} // namespace edid
