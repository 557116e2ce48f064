// SPDX-License-Identifier: Apache-2.0
// The dry run: the actions and the result of an upgrade, by the rules of the engine.
#include "bytes/FileSource.h"
#include "fwm/Commands.h"
#include "fwm/OpenPackage.h"
#include "fwm/PlanPrinter.h"
#include "fwm/PlanRows.h"
#include "fwm/Words.h"
#include "planning/RunRules.h"
#include "platform/Platform.h"

#include <QJsonArray>

#include <algorithm>

using package::PackageDescription;
using planning::modelName;
using planning::PlannedRow;
using planning::planRun;
using planning::RunPlan;
using platform::Limits;

namespace {

constexpr char refused[] =
    "'upgrade-console upgrade' refuses these rows, and the run does not begin.";

PlanRows rowsOfPlan(const Options &options, const PackageDescription &package)
{
    if (!options.rows.isEmpty())
        return rowsFromFile(options.rows);
    const Numbering numbering = options.requestAll ? Numbering::Quantity : Numbering::FromZero;
    return rowsForDevice(options.device, package, numbering);
}

/** Why the run ends before its images; empty when it does not. */
QString obstacleOf(const RunPlan &plan, const PackageDescription &package, const PlanRows &rows)
{
    switch (plan.end) {
    case RunPlan::End::WrongModel:
        return QStringLiteral("The package is for model '%1' and the device is '%2': the run "
                              "stops before anything is sent.")
            .arg(printable(package.model),
                 printable(modelName(rows.request.model.value_or(QByteArray()))));
    case RunPlan::End::RecordInvalid:
        return QStringLiteral("The main MCU's product information is invalid: the run stops "
                              "before anything is sent.");
    case RunPlan::End::MainSilent:
        return QStringLiteral("The main MCU does not answer: the run stops before anything is "
                              "sent.");
    case RunPlan::End::Complete:
        break;
    }
    return {};
}

ProblemId problemOf(const PlannedRow &row)
{
    if (row.isSilent)
        return ProblemId::ChipMissing;
    return row.fate == PlannedRow::Fate::NoImage ? ProblemId::ImageMissing
                                                 : ProblemId::ImageNotWritten;
}

/** Why a complete run fails: its first failed row. */
std::optional<Problem> failureOf(const RunPlan &plan, const QStringList &list)
{
    const auto fails = [&](const PlannedRow &row) {
        return resultOf(row, plan.end, list) == RowResult::Failed;
    };
    const auto found = std::find_if(plan.rows.begin(), plan.rows.end(), fails);
    if (found == plan.rows.end())
        return std::nullopt;
    return Problem{problemOf(*found), rowName(*found)};
}

std::optional<Problem> problemOf(const RunPlan &plan, const QStringList &list)
{
    switch (plan.end) {
    case RunPlan::End::WrongModel:
        return Problem{ProblemId::WrongModel, {}};
    case RunPlan::End::RecordInvalid:
        return Problem{ProblemId::InfoInvalid, {}};
    case RunPlan::End::MainSilent:
    case RunPlan::End::Complete:
        break;
    }
    return failureOf(plan, list);
}

/** A client refuses rows for which the package has nothing, and sends none of them. */
std::optional<Problem> refuseRows(RunPlan &plan)
{
    std::optional<Problem> problem;
    for (const PlannedRow &row : qAsConst(plan.rows)) {
        if (row.fate == PlannedRow::Fate::NoFirmware && !problem)
            problem = Problem{ProblemId::NotInPackage, rowName(row)};
    }
    if (!problem)
        return problem;
    for (PlannedRow &row : plan.rows) {
        if (row.fate != PlannedRow::Fate::NoFirmware)
            row.fate = PlannedRow::Fate::NotReached;
    }
    plan.written = 0;
    plan.virtualVersion.reset();
    return problem;
}

void describe(CommandOutcome &outcome, const RunPlan &plan, const QStringList &list)
{
    QJsonArray rows;
    for (const PlannedRow &row : plan.rows) {
        const RowResult result = resultOf(row, plan.end, list);
        if (result != RowResult::NotReached)
            outcome.text += rowText(row, result, list);
        rows.append(rowJson(row, result, list));
    }
    outcome.json.insert(QStringLiteral("rows"), rows);
    outcome.json.insert(QStringLiteral("would_write"), plan.written);
    outcome.json.insert(QStringLiteral("virtual_version"),
                        plan.virtualVersion ? QJsonValue(*plan.virtualVersion) : QJsonValue());
}

CommandOutcome outcomeOf(const Options &options, RunPlan plan, const PackageDescription &package,
                         const PlanRows &rows)
{
    CommandOutcome outcome;
    // Only rows of a file may name chips that the package does not have.
    std::optional<Problem> problem = options.rows.isEmpty() ? std::nullopt : refuseRows(plan);
    const QString obstacle =
        problem ? QString::fromLatin1(refused) : obstacleOf(plan, package, rows);
    if (!obstacle.isEmpty())
        outcome.text = obstacle + QLatin1Char('\n');
    outcome.json = {
        {QStringLiteral("file"), options.file},
        {QStringLiteral("mode"), options.mode},
        {QStringLiteral("obstacle"), obstacle},
        {QStringLiteral("not_asked_for"), QJsonArray::fromStringList(rows.notAskedFor)}};
    describe(outcome, plan, package.firmwareList);
    for (const QString &chip : qAsConst(rows.notAskedFor))
        outcome.text += QStringLiteral("No row asks for %1.\n").arg(printable(chip));
    outcome.text += QStringLiteral("%1 would be written.\n").arg(imageCountText(plan.written));
    if (!problem)
        problem = problemOf(plan, package.firmwareList);
    if (problem)
        outcome.fail(problem->id, problem->detail);
    else if (plan.written == 0)
        outcome.exit = ExitCode::NothingToDo;
    return outcome;
}

} // namespace

CommandOutcome runPlan(const Options &options)
{
    OpenPackage package = openPackage(options.file, Depth::Head, options);
    if (!package.problem && (package.problem = runProblem(package.contents)))
        package.problem->detail = options.file;
    if (package.problem)
        return CommandOutcome::failed(*package.problem);
    const PackageDescription &description = package.contents.description;
    PlanRows rows = rowsOfPlan(options, description);
    if (rows.problem)
        return CommandOutcome::failed(*rows.problem);
    rows.request.mode = options.mode;
    rows.request.images.longest = Limits().image;
    const RunPlan plan =
        planRun(rows.request, {description.firmwareList, description.model, description.version},
                *package.source);
    return outcomeOf(options, plan, description, rows);
}
