// SPDX-License-Identifier: Apache-2.0
#include "fwm/Words.h"

#include "protocol/ChipTypes.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>

namespace chip = protocol::chip;
using package::ImageEntry;
using package::RecordKey;

namespace {

constexpr int offsetDigits = 8;
constexpr int hexadecimal = 16;

bool isLetter(quint8 code)
{
    return (code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z');
}

} // namespace

QString offsetText(qint64 offset)
{
    return QStringLiteral("0x%1").arg(offset, offsetDigits, hexadecimal, QLatin1Char('0'));
}

QString versionText(const RecordKey &key)
{
    return QStringLiteral("%1.%2.%3").arg(key.ver1).arg(key.ver2).arg(key.ver3);
}

QString specialityText(quint8 code)
{
    if (isLetter(code))
        return {QLatin1Char(char(code))};
    return code == 0 ? QString() : QString::number(code);
}

QString keyText(const RecordKey &key)
{
    QString type = QStringLiteral("chip type %1").arg(key.chipType);
    if (chip::isFpga(key.chipType))
        return type;
    const QString speciality = specialityText(key.speciality);
    return type + QStringLiteral(", MCU type %1, PCB version %2, speciality %3")
                      .arg(key.mcuType)
                      .arg(key.pcbVersion)
                      .arg(speciality.isEmpty() ? QStringLiteral("none") : speciality);
}

bool isNetVersion(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("\\A[0-9]\\.[0-9]{2}\\z"));
    return pattern.match(text).hasMatch();
}

QString placeText(const ImageEntry &entry)
{
    return QStringLiteral("chips[%1].mcus[%2].pcbs[%3]")
        .arg(entry.chipIndex)
        .arg(entry.mcuIndex)
        .arg(entry.pcbIndex);
}

QString valueText(const QJsonValue &value)
{
    constexpr int longest = 60;
    if (value.isUndefined())
        return QStringLiteral("missing");
    if (value.isObject())
        return QStringLiteral("an object");
    if (value.isArray())
        return QStringLiteral("a list");
    QByteArray json = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    json = json.mid(1, json.size() - 2);
    const QString text = QString::fromUtf8(json);
    return text.size() > longest ? text.left(longest) + QStringLiteral("...") : text;
}

bool isDecimal(const QString &text, int least, int most)
{
    static const QRegularExpression pattern(QStringLiteral("\\A[0-9]{1,9}\\z"));
    return pattern.match(text).hasMatch() && text.toInt() >= least && text.toInt() <= most;
}

QString decimalText(int least, int most)
{
    return QStringLiteral("a decimal number from \"%1\" to \"%2\", as a string")
        .arg(least)
        .arg(most);
}

QString bytesText(qint64 count)
{
    return count == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(count);
}

QString imageCountText(int count)
{
    return count == 1 ? QStringLiteral("1 image") : QStringLiteral("%1 images").arg(count);
}

QString tableText(const QVector<QStringList> &rows)
{
    QVector<int> widths;
    for (const QStringList &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (int column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths.at(column), int(row.at(column).size()));
    }
    QString text;
    for (const QStringList &row : rows) {
        QString line;
        for (int column = 0; column < row.size(); ++column)
            line += row.at(column).leftJustified(widths.at(column) + 2);
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        text += line + QLatin1Char('\n');
    }
    return text;
}
