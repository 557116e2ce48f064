// SPDX-License-Identifier: Apache-2.0
#include "client/UpgradeRows.h"

#include "planning/TypeAndIndexTable.h"
#include "protocol/ConsoleTexts.h"

#include <QMap>

#include <algorithm>

namespace consoletext = protocol::consoletext;
namespace field = package::field;
using package::PackageDescription;

namespace client {

namespace {

constexpr int rowFields = field::chipIndex + 1;

QString packageVersion(const QStringList &entry)
{
    return QStringList(entry.mid(field::ver1, 3)).join(QLatin1Char('.'));
}

/** What the package has for a chip type, and for a name where that is listed. Empty where only the
 *  MCU's own answer decides between several images. */
QString versionFor(const QString &name, int chipType, const QStringList &list)
{
    QStringList sameType;
    QStringList sameName;
    for (const QString &line : list) {
        const QStringList entry = line.split(QLatin1Char(','));
        if (entry.value(field::chipType).toInt() != chipType)
            continue;
        sameType += packageVersion(entry);
        if (entry.value(field::name) == name)
            sameName += packageVersion(entry);
    }
    QStringList &versions = sameName.isEmpty() ? sameType : sameName;
    versions.removeDuplicates();
    return versions.size() == 1 ? versions.first() : QString();
}

bool isPlain(QChar character)
{
    return character.unicode() >= 0x20 && character.unicode() < 0x7F;
}

/** A word that would turn the line into another request, at any position. */
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

/** Replaces the characters of a name that a request cannot contain; the name is only shown. */
QString sendable(const QString &name)
{
    QString plain = name;
    for (QChar &character : plain) {
        if (!isPlain(character) || character == QLatin1Char(',') || character == QLatin1Char('|'))
            character = QLatin1Char('_');
    }
    return plain.trimmed().isEmpty() || holdsARequest(plain) ? QStringLiteral("CHIP") : plain;
}

void appendRow(UpgradeRows &result, const PackageRow &row, const QStringList &list)
{
    result.mcus.append(
        {row.name, row.chipType, row.chipIndex, versionFor(row.name, row.chipType, list)});
}

/** The agent removes blanks from a name. */
QString asNamed(const WantedMcu &mcu)
{
    return sendable(mcu.name).remove(QLatin1Char(' '));
}

/** A name of several rows is sent with chip type and chip index. */
void fillRequest(UpgradeRows &result)
{
    QMap<QString, int> counts;
    for (const WantedMcu &mcu : qAsConst(result.mcus))
        ++counts[asNamed(mcu)];
    for (WantedMcu &mcu : result.mcus) {
        const QString apart = QStringLiteral("(%1.%2)").arg(mcu.chipType).arg(mcu.chipIndex);
        mcu.wireName = sendable(mcu.name) + (counts.value(asNamed(mcu)) > 1 ? apart : QString());
        result.rows +=
            QStringLiteral("%1,%2,%3").arg(mcu.wireName).arg(mcu.chipType).arg(mcu.chipIndex);
    }
}

void refuse(UpgradeRows &result, const QString &error)
{
    if (!result.error.isEmpty())
        return;
    result.error = error;
    result.cause = ProblemId::NotInPackage;
}

void appendNamed(UpgradeRows &result, const QString &name, const PackageDescription &package)
{
    const int before = result.mcus.size();
    const QVector<PackageRow> all = rowsOf(package, Numbering::FromZero);
    for (const PackageRow &row : all) {
        const QString withIndex = QStringLiteral("%1[%2]").arg(name).arg(row.chipIndex);
        if (row.name == name || row.name == withIndex)
            appendRow(result, row, package.firmwareList);
    }
    if (result.mcus.size() == before)
        refuse(result,
               QStringLiteral("it has nothing named '%1'; 'list' shows what it has").arg(name));
}

void appendChosen(UpgradeRows &result, const QStringList &fields, const PackageDescription &package)
{
    const int chipType = fields.value(field::chipType).toInt();
    const QVector<PackageRow> images = rowsOf(package, Numbering::Quantity);
    const bool isKnown = std::any_of(images.begin(), images.end(), [=](const PackageRow &image) {
        return image.chipType == chipType;
    });
    if (!isKnown)
        refuse(result, QStringLiteral("it has nothing for chip type %1 of '%2'")
                           .arg(chipType)
                           .arg(fields.join(QLatin1Char(','))));
    result.mcus.append({fields.value(field::name), chipType, fields.value(field::chipIndex).toInt(),
                        versionFor(fields.value(field::name), chipType, package.firmwareList)});
}

} // namespace

QString rowProblem(const QString &row)
{
    if (row.trimmed().isEmpty())
        return QStringLiteral("a row is empty");
    if (!std::all_of(row.begin(), row.end(), isPlain) || row.contains(consoletext::separator) ||
        holdsARequest(row))
        return QStringLiteral("the agent cannot be sent the row '%1'").arg(row);
    const QStringList fields = row.split(QLatin1Char(','));
    if (fields.size() == 1)
        return {};
    if (fields.size() != rowFields || !isNumber(fields.at(field::chipType)) ||
        !isNumber(fields.at(field::chipIndex)))
        return QStringLiteral("'%1' is not a row; write NAME,CHIP-TYPE,CHIP-INDEX or a name")
            .arg(row);
    return {};
}

UpgradeRows packageRows(const PackageDescription &package)
{
    UpgradeRows result;
    const QVector<PackageRow> all = rowsOf(package, Numbering::FromZero);
    for (const PackageRow &row : all)
        appendRow(result, row, package.firmwareList);
    fillRequest(result);
    return result;
}

UpgradeRows requestedRows(const PackageDescription &package)
{
    UpgradeRows result;
    const QVector<PackageRow> images = rowsOf(package, Numbering::Quantity);
    for (int i = 0; i < images.size(); ++i) {
        const PackageRow &image = images.at(i);
        const QStringList entry = package.firmwareList.at(i).split(QLatin1Char(','));
        result.mcus.append({image.name, image.chipType, image.chipIndex, packageVersion(entry)});
    }
    return result;
}

UpgradeRows chosenRows(const QStringList &chosen, const PackageDescription &package)
{
    UpgradeRows result;
    for (const QString &row : chosen) {
        const QStringList fields = row.split(QLatin1Char(','));
        if (fields.size() == 1)
            appendNamed(result, row, package);
        else
            appendChosen(result, fields, package);
    }
    fillRequest(result);
    return result;
}

} // namespace client
