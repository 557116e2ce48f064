// SPDX-License-Identifier: Apache-2.0
#include "fwm/PlanPrinter.h"

#include "fwm/Words.h"
#include "planning/VersionRule.h"
#include "protocol/ChipTypes.h"

#include <QJsonArray>

namespace chip = protocol::chip;
namespace field = package::field;
using planning::compareVersions;
using planning::Decision;
using planning::PlannedRow;
using planning::RunPlan;
using planning::versionOf;
using planning::VersionOrder;
using Fate = planning::PlannedRow::Fate;

namespace {

const char *fieldName(int index)
{
    switch (index) {
    case field::mcuType:
        return "MCU type";
    case field::pcbVersion:
        return "PCB version";
    case field::speciality:
        return "speciality";
    case field::bootcodeFlag:
        return "bootcode flag";
    default:
        return "version";
    }
}

/** "mcu_type", the member that has the field in other documents. */
QString fieldId(int index)
{
    return QString::fromLatin1(fieldName(index))
        .toLower()
        .replace(QLatin1Char(' '), QLatin1Char('_'));
}

/** Whether the row fails because the device does not have the chip. */
bool failsUnanswered(const PlannedRow &row, RowResult result)
{
    return row.isSilent && result == RowResult::Failed;
}

const char *verdictName(const PlannedRow &row, RowResult result)
{
    if (failsUnanswered(row, result))
        return "no-answer";
    switch (row.fate) {
    case Fate::NotReached:
        return "not-reached";
    case Fate::Written:
        return "send";
    case Fate::NotWritten:
    case Fate::NoImage:
        return "no-image";
    case Fate::NotNewer:
        return "not-newer";
    case Fate::NoMatch:
        return "no-match";
    case Fate::NoFirmware:
        return "no-firmware";
    case Fate::NotHandled:
    case Fate::BadRow:
        break;
    }
    return "bad-row";
}

const char *resultName(RowResult result)
{
    constexpr const char *names[] = {"updated", "up-to-date", "package-older",
                                     "no-fit",  "failed",     "not-reached"};
    return names[int(result)];
}

bool isForModule(const PlannedRow &row)
{
    return row.image && row.image->key.chipType == chip::networkModule;
}

QStringList entryFields(const QStringList &list, int index)
{
    return list.value(index).split(QLatin1Char(','));
}

QString rejectionText(const PlannedRow &row, const Decision::Rejection &rejection,
                      const QStringList &list)
{
    const QStringList entry = entryFields(list, rejection.entry);
    return QStringLiteral("entry %1 '%2': %3 %4, the chip has %5")
        .arg(QString::number(rejection.entry), entry.value(field::name),
             QLatin1String(fieldName(rejection.field)), entry.value(rejection.field),
             row.fields.value(rejection.field));
}

/** Why a decided row gets an image or not, except for the reasons of the firmware list. */
QString imageReason(const PlannedRow &row)
{
    switch (row.fate) {
    case Fate::Written:
        return row.decision.line.isEmpty()
                   ? QStringLiteral("The chip matches; this mode sends every version.")
                   : QString();
    case Fate::NotWritten:
        return isForModule(row)
                   ? QStringLiteral("Its MD5 does not match: the network module refuses it.")
                   : QStringLiteral("No chip takes an image of less than 256 bytes as complete.");
    case Fate::NoImage:
        return QStringLiteral(
            "The description names an image that the package lacks, or one that is too long.");
    case Fate::NoFirmware:
        return QStringLiteral("The package has nothing for this chip type.");
    default:
        return {};
    }
}

QStringList reasons(const PlannedRow &row, RowResult result, const QStringList &list)
{
    if (failsUnanswered(row, result))
        return {QStringLiteral("The device has no chip of type %1 with index %2.")
                    .arg(row.fields.value(field::chipType), row.fields.value(field::chipIndex))};
    QStringList lines;
    if (row.goesFirst)
        lines.append(QStringLiteral(
            "The main MCU runs its bootcode: it has its turn before all other chips."));
    for (const Decision::Rejection &rejection : row.decision.rejections)
        lines.append(rejectionText(row, rejection, list));
    for (const QString &line : {row.decision.line, imageReason(row)}) {
        if (!line.isEmpty())
            lines.append(line);
    }
    return lines;
}

QJsonArray rejectionsJson(const PlannedRow &row, const QStringList &list)
{
    QJsonArray rejected;
    for (const Decision::Rejection &rejection : row.decision.rejections) {
        const QStringList entry = entryFields(list, rejection.entry);
        rejected.append(QJsonObject{
            {QStringLiteral("entry"), rejection.entry},
            {QStringLiteral("name"), entry.value(field::name)},
            {QStringLiteral("field"), fieldId(rejection.field)},
            {QStringLiteral("entry_value"), entry.value(rejection.field)},
            {QStringLiteral("chip_value"), row.fields.value(rejection.field)},
        });
    }
    return rejected;
}

/** The text after the name of the chip. */
QString headOf(const PlannedRow &row, RowResult result)
{
    if (failsUnanswered(row, result))
        return QStringLiteral("no answer");
    if (!row.image)
        return row.fate == Fate::NoImage ? QStringLiteral("no image")
                                         : QStringLiteral("leave as it is");
    const QString verb = isForModule(row) ? QStringLiteral("install") : QStringLiteral("send");
    const QString what = QStringLiteral("version %1, %2 bytes at %3")
                             .arg(versionText(row.image->key), QString::number(row.image->length),
                                  offsetText(row.image->imageOffset));
    return row.fate == Fate::Written ? verb + QLatin1Char(' ') + what
                                     : QStringLiteral("fail with ") + what;
}

} // namespace

RowResult resultOf(const PlannedRow &row, RunPlan::End end, const QStringList &firmwareList)
{
    switch (row.fate) {
    case Fate::Written:
        return RowResult::Updated;
    case Fate::NotNewer: {
        const QStringList entry = entryFields(firmwareList, row.decision.entry);
        const VersionOrder order = compareVersions(versionOf(entry), versionOf(row.fields));
        return order == VersionOrder::Equal ? RowResult::Current : RowResult::PackageOlder;
    }
    case Fate::NoMatch:
        return row.isSilent ? RowResult::Failed : RowResult::NoFit;
    case Fate::NoFirmware:
        return RowResult::NoFit;
    case Fate::NotReached: {
        // Of these only the silence of the main MCU is a failure of the row.
        const bool isCause = end == RunPlan::End::MainSilent && row.isSilent &&
                             row.fields.value(field::chipType).toInt() == chip::mainMcu;
        return isCause ? RowResult::Failed : RowResult::NotReached;
    }
    default:
        return RowResult::Failed;
    }
}

QString rowName(const PlannedRow &row)
{
    return QStringList(row.fields.mid(0, field::chipIndex + 1)).join(QLatin1Char(','));
}

QJsonObject rowJson(const PlannedRow &row, RowResult result, const QStringList &firmwareList)
{
    const QStringList fields = row.fields.mid(0, field::countWithVersions);
    QJsonObject json{
        {QStringLiteral("row"), fields.join(QLatin1Char(','))},
        {QStringLiteral("name"), row.fields.value(field::name)},
        {QStringLiteral("verdict"), QLatin1String(verdictName(row, result))},
        {QStringLiteral("result"), QLatin1String(resultName(result))},
        {QStringLiteral("goes_first"), row.goesFirst},
        {QStringLiteral("reasons"), QJsonArray::fromStringList(reasons(row, result, firmwareList))},
        {QStringLiteral("rejected"), rejectionsJson(row, firmwareList)}};
    if (row.decision.entry >= 0)
        json.insert(QStringLiteral("entry"), row.decision.entry);
    if (row.image && !failsUnanswered(row, result)) {
        json.insert(QStringLiteral("image"),
                    QJsonObject{{QStringLiteral("offset"), row.image->imageOffset},
                                {QStringLiteral("size"), row.image->length},
                                {QStringLiteral("version"), versionText(row.image->key)}});
    }
    return json;
}

QString rowText(const PlannedRow &row, RowResult result, const QStringList &firmwareList)
{
    QString text = printable(row.fields.value(field::name)) + QLatin1String(": ") +
                   headOf(row, result) + QLatin1Char('\n');
    const QStringList why = reasons(row, result, firmwareList);
    for (const QString &reason : why)
        text += QLatin1String("    ") + printable(reason) + QLatin1Char('\n');
    return text;
}
