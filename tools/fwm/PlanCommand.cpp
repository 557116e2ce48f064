// SPDX-License-Identifier: Apache-2.0
// The dry run: what an upgrade would send, by the engine's own rules.
#include "bytes/FileSource.h"
#include "fwm/Commands.h"
#include "fwm/OpenPackage.h"
#include "fwm/PlanRows.h"
#include "fwm/Words.h"
#include "planning/RunPlan.h"
#include "planning/TypeAndIndexTable.h"
#include "planning/UpgradeMode.h"

#include <QJsonArray>

namespace field = package::field;
namespace upgradeMode = planning::upgradeMode;
using package::MatchMask;
using package::PackageDescription;
using planning::Decision;
using planning::PlannedRow;
using planning::planRun;

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

QString verdictName(const PlannedRow &row)
{
    switch (row.decision.verdict) {
    case Decision::Verdict::Send:
        return row.image ? QStringLiteral("send") : QStringLiteral("no-image");
    case Decision::Verdict::NotNewer:
        return QStringLiteral("not-newer");
    case Decision::Verdict::NoMatch:
        return QStringLiteral("no-match");
    case Decision::Verdict::NoFirmware:
        break;
    }
    return QStringLiteral("no-firmware");
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

QStringList reasons(const PlannedRow &row, const QStringList &list)
{
    QStringList lines;
    for (const Decision::Rejection &rejection : row.decision.rejections)
        lines.append(rejectionText(row, rejection, list));
    if (!row.decision.line.isEmpty())
        lines.append(row.decision.line);
    if (row.decision.verdict == Decision::Verdict::NoFirmware)
        lines.append(QStringLiteral("The package has nothing for this chip type."));
    if (row.imageIsMissing)
        lines.append(QStringLiteral("The description names an image that the package lacks."));
    if (row.image && row.decision.line.isEmpty())
        lines.append(QStringLiteral("The chip matches; this mode sends every version."));
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
            {QStringLiteral("field"), QLatin1String(fieldName(rejection.field))},
            {QStringLiteral("entry_value"), entry.value(rejection.field)},
            {QStringLiteral("chip_value"), row.fields.value(rejection.field)},
        });
    }
    return rejected;
}

QJsonObject rowJson(const PlannedRow &row, const QStringList &list)
{
    QJsonObject json{{QStringLiteral("row"), row.fields.join(QLatin1Char(','))},
                     {QStringLiteral("name"), row.fields.value(field::name)},
                     {QStringLiteral("verdict"), verdictName(row)},
                     {QStringLiteral("reasons"), QJsonArray::fromStringList(reasons(row, list))},
                     {QStringLiteral("rejected"), rejectionsJson(row, list)}};
    if (row.decision.entry >= 0)
        json.insert(QStringLiteral("entry"), row.decision.entry);
    if (row.image) {
        json.insert(QStringLiteral("image"),
                    QJsonObject{{QStringLiteral("offset"), row.image->imageOffset},
                                {QStringLiteral("size"), row.image->length},
                                {QStringLiteral("version"), versionText(row.image->key)}});
    }
    return json;
}

QString rowText(const PlannedRow &row, const QStringList &list)
{
    QString text = printable(row.fields.value(field::name));
    if (row.image) {
        text += QStringLiteral(": send version %1, %2 bytes at %3\n")
                    .arg(versionText(row.image->key), QString::number(row.image->length),
                         offsetText(row.image->imageOffset));
    } else {
        text += QStringLiteral(": leave as it is\n");
    }
    const QStringList why = reasons(row, list);
    for (const QString &reason : why)
        text += QLatin1String("    ") + printable(reason) + QLatin1Char('\n');
    return text;
}

/** Why the run would not get as far as the first row. */
QString obstacleOf(const PlanRows &rows, const QString &model, int mode)
{
    if (mode == upgradeMode::newerOnly && rows.model && *rows.model != model) {
        return QStringLiteral("The package is for model '%1' and the device is '%2': the run "
                              "stops before anything is sent.")
            .arg(printable(model), printable(*rows.model));
    }
    return rows.obstacle;
}

PlanRows rowsOfPlan(const Options &options, const PackageDescription &package)
{
    if (!options.rows.isEmpty())
        return rowsFromFile(options.rows);
    const Numbering numbering = options.requestAll ? Numbering::Quantity : Numbering::FromZero;
    return rowsForDevice(options.device, rowsOf(package, numbering));
}

/** A row to which the device has no chip: the run asks in vain, and fails. */
void addMissing(Outcome &outcome, QJsonArray &json, const PlannedRow &row)
{
    const QString reason =
        QStringLiteral("The device has no chip of type %1 with index %2.")
            .arg(row.fields.value(field::chipType), row.fields.value(field::chipIndex));
    outcome.text += printable(row.fields.value(field::name)) +
                    QStringLiteral(": no answer\n    %1\n").arg(reason);
    json.append(QJsonObject{{QStringLiteral("row"), row.fields.join(QLatin1Char(','))},
                            {QStringLiteral("name"), row.fields.value(field::name)},
                            {QStringLiteral("verdict"), QStringLiteral("no-answer")},
                            {QStringLiteral("reasons"), QJsonArray{reason}},
                            {QStringLiteral("rejected"), QJsonArray()}});
    if (!outcome.problem)
        outcome.fail(Failure::ChipMissing,
                     QStringList(row.fields.mid(0, field::chipIndex + 1)).join(QLatin1Char(',')));
}

/** What would be written, row by row; returns the number of images. */
int addRows(Outcome &outcome, QJsonArray &json, const PlanRows &rows,
            const QVector<PlannedRow> &plan, const QStringList &list)
{
    int sent = 0;
    for (int i = 0; i < plan.size(); ++i) {
        const PlannedRow &row = plan.at(i);
        if (rows.isMissing.value(i) && rows.obstacle.isEmpty()) {
            addMissing(outcome, json, row);
            continue;
        }
        sent += row.image && rows.obstacle.isEmpty() ? 1 : 0;
        outcome.text += rowText(row, list);
        json.append(rowJson(row, list));
    }
    return sent;
}

} // namespace

Outcome runPlan(const Options &options)
{
    OpenPackage package = openSoundPackage(options.file, options);
    if (package.problem)
        return Outcome::failed(package.problem->failure, package.problem->detail);
    const PackageDescription &description = package.contents.description;
    PlanRows rows = rowsOfPlan(options, description);
    if (rows.problem)
        return Outcome::failed(rows.problem->failure, rows.problem->detail);

    const MatchMask mask = options.mode == upgradeMode::newerOnly ? MatchMask::newerVersion()
                                                                  : MatchMask::anyVersion();
    rows.obstacle = obstacleOf(rows, description.model, options.mode);
    Outcome outcome;
    QJsonArray json;
    const auto plan = planRun(rows.rows, description.firmwareList, mask, *package.source);
    const int sent = addRows(outcome, json, rows, plan, description.firmwareList);
    if (!rows.obstacle.isEmpty())
        outcome.text = rows.obstacle + QLatin1Char('\n');
    for (const QString &chip : qAsConst(rows.notAskedFor))
        outcome.text += QStringLiteral("No row asks for %1.\n").arg(printable(chip));
    outcome.text += QStringLiteral("%1 would be written.\n").arg(imageCountText(sent));
    outcome.json = {{QStringLiteral("file"), options.file},
                    {QStringLiteral("mode"), options.mode},
                    {QStringLiteral("obstacle"), rows.obstacle},
                    {QStringLiteral("rows"), json},
                    {QStringLiteral("not_asked_for"), QJsonArray::fromStringList(rows.notAskedFor)},
                    {QStringLiteral("would_write"), sent}};
    if (sent == 0 && !outcome.problem)
        outcome.code = ExitCode::NothingToDo;
    return outcome;
}
