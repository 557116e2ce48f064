// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/UpgradeRows.h"

#include "planning/TypeAndIndexTable.h"
#include "protocol/ConsoleTexts.h"

#include <algorithm>

namespace {

constexpr int rowFields = field::chipIndex + 1;

QString packageVersion(const QStringList &entry)
{
    return QStringList(entry.mid(field::ver1, 3)).join(QLatin1Char('.'));
}

/** What the package has for a chip type and name; the name counts only where it is listed. */
QString versionFor(const QStringList &row, const QStringList &list)
{
    QString sameType;
    for (const QString &line : list) {
        const QStringList entry = line.split(QLatin1Char(','));
        if (entry.value(field::chipType) != row.value(field::chipType))
            continue;
        if (entry.value(field::name) == row.value(field::name))
            return packageVersion(entry);
        // Two images of one type: only the MCU's own answer decides between them.
        sameType = sameType.isEmpty() ? packageVersion(entry) : QStringLiteral("-");
    }
    return sameType == QLatin1String("-") ? QString() : sameType;
}

/** A word that would make another request of the line, wherever in the line it stands. */
bool holdsARequest(const QString &row)
{
    const QLatin1String words[] = {consoletext::heartbeat, consoletext::getFirmwareList,
                                   consoletext::parseEdid};
    const QString asSeen = QString(row).remove(QLatin1Char(' '));
    return std::any_of(std::begin(words), std::end(words),
                       [&](QLatin1String word) { return asSeen.contains(word); });
}

bool isNumber(const QString &text)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok && value >= 0 && value <= 255;
}

void appendRow(UpgradeRows &result, const QString &row, const QString &version)
{
    const QStringList fields = row.split(QLatin1Char(','));
    // The agent takes every blank out of the rows that it is sent.
    const QString name = fields.value(field::name).remove(QLatin1Char(' '));
    result.rows += row;
    result.mcus.append({name, fields.value(field::chipType).toInt(), version});
}

void appendNamed(UpgradeRows &result, const QString &name, const QStringList &list)
{
    const int before = result.rows.size();
    for (const QString &line : list) {
        const QStringList entry = line.split(QLatin1Char(','));
        if (entry.value(field::name) == name)
            appendRow(result, QStringList(entry.mid(0, rowFields)).join(QLatin1Char(',')),
                      packageVersion(entry));
    }
    if (result.rows.size() == before)
        result.error =
            QStringLiteral("the package has nothing named '%1'; 'list' shows what it has")
                .arg(name);
}

} // namespace

QString rowProblem(const QString &row)
{
    const bool isPlain = std::all_of(row.begin(), row.end(), [](QChar character) {
        return character.unicode() >= 0x20 && character.unicode() < 0x7F;
    });
    if (row.trimmed().isEmpty())
        return QStringLiteral("a row is empty");
    if (!isPlain || row.contains(consoletext::separator) || holdsARequest(row))
        return QStringLiteral("the agent cannot be sent the row '%1'").arg(row);
    const QStringList fields = row.split(QLatin1Char(','));
    if (fields.size() == 1)
        return {};
    if (fields.size() != rowFields || !isNumber(fields.at(field::chipType)) ||
        !isNumber(fields.at(field::chipIndex)))
        return QStringLiteral("'%1' is no row; write NAME,CHIP-TYPE,CHIP-INDEX or a name").arg(row);
    return {};
}

UpgradeRows allRows(const QStringList &list)
{
    UpgradeRows result;
    for (const QString &line : list) {
        const QStringList entry = line.split(QLatin1Char(','));
        result.mcus.append({entry.value(field::name), entry.value(field::chipType).toInt(),
                            packageVersion(entry)});
    }
    return result;
}

UpgradeRows chosenRows(const QStringList &chosen, const QStringList &list)
{
    UpgradeRows result;
    for (const QString &row : chosen) {
        const QStringList fields = row.split(QLatin1Char(','));
        if (fields.size() == 1)
            appendNamed(result, row, list);
        else
            appendRow(result, row, versionFor(fields, list));
    }
    return result;
}
