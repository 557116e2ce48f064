// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LogLine.h"

#include <algorithm>

namespace monitoring {

namespace {

constexpr ushort firstPrintable = 0x20;
constexpr ushort lastPrintable = 0x7e;
constexpr int secondsDecimals = 1;
constexpr double millisecondsPerSecond = 1000;

bool isPrintable(QChar character)
{
    return character.unicode() >= firstPrintable && character.unicode() <= lastPrintable;
}

bool isPlain(QChar character)
{
    static const QString special = QStringLiteral(" \"=\\");
    return isPrintable(character) && !special.contains(character);
}

QString escaped(QChar character)
{
    switch (character.unicode()) {
    case '"':
        return QStringLiteral("\\\"");
    case '\\':
        return QStringLiteral("\\\\");
    case '\n':
        return QStringLiteral("\\n");
    case '\r':
        return QStringLiteral("\\r");
    case '\t':
        return QStringLiteral("\\t");
    default:
        break;
    }
    if (isPrintable(character))
        return character;
    return QStringLiteral("\\u%1").arg(character.unicode(), 4, 16, QLatin1Char('0'));
}

QString quoted(const QString &value)
{
    QString text(QLatin1Char('"'));
    for (const QChar character : value)
        text += escaped(character);
    return text + QLatin1Char('"');
}

QString cut(const QString &value)
{
    if (value.size() <= LogLine::longestValue)
        return value;
    return value.left(LogLine::longestValue) + QLatin1String("...");
}

} // namespace

LogLine::LogLine(const char *event) : m_text(QLatin1String("event=") + QLatin1String(event)) {}

LogLine &LogLine::add(const char *key, const QString &value)
{
    const bool plain = !value.isEmpty() && std::all_of(value.begin(), value.end(), isPlain);
    return addPlain(key, plain ? cut(value) : quoted(cut(value)));
}

LogLine &LogLine::add(const char *key, qint64 value)
{
    return addPlain(key, QString::number(value));
}

LogLine &LogLine::addIfAny(const char *key, const QString &value)
{
    return value.isEmpty() ? *this : add(key, value);
}

LogLine &LogLine::addSeconds(const char *key, qint64 milliseconds)
{
    const double seconds = double(milliseconds) / millisecondsPerSecond;
    return addPlain(key, QString::number(seconds, 'f', secondsDecimals));
}

LogLine &LogLine::addPlain(const char *key, const QString &value)
{
    m_text += QLatin1Char(' ') + QLatin1String(key) + QLatin1Char('=') + value;
    return *this;
}

} // namespace monitoring
