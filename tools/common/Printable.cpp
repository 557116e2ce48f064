// SPDX-License-Identifier: Apache-2.0
#include "common/Printable.h"

namespace {

QString codeOf(QChar character)
{
    constexpr int hexadecimal = 16;
    constexpr int digits = 4;
    return QStringLiteral("\\u%1").arg(character.unicode(), digits, hexadecimal, QLatin1Char('0'));
}

} // namespace

QString printable(const QString &text)
{
    QString safe;
    for (int i = 0; i < text.size(); ++i) {
        const QChar first = text.at(i);
        const QChar second = i + 1 < text.size() ? text.at(i + 1) : QChar();
        if (first.isHighSurrogate() && second.isLowSurrogate()) {
            const bool isSafe = QChar::isPrint(QChar::surrogateToUcs4(first, second));
            safe += isSafe ? text.mid(i, 2) : codeOf(first) + codeOf(second);
            ++i;
        } else {
            safe += first.isPrint() ? QString(first) : codeOf(first);
        }
    }
    return safe;
}
