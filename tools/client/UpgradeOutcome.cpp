// SPDX-License-Identifier: Apache-2.0
#include "client/UpgradeOutcome.h"

#include <algorithm>

namespace client {

namespace {

const QLatin1String beginningUnseen(" since this client came; what was before is unknown.");

int countOf(const UpgradeModel &model, McuResult result)
{
    const auto &mcus = model.mcus();
    return int(std::count_if(mcus.begin(), mcus.end(),
                             [result](const McuState &mcu) { return mcu.result == result; }));
}

QString counted(int count)
{
    return count == 1 ? QStringLiteral("1 MCU") : QStringLiteral("%1 MCUs").arg(count);
}

/** Why MCUs failed: the first reason; that of an incomplete image has priority. */
ProblemId failureOfMcus(const UpgradeModel &model)
{
    ProblemId cause = ProblemId::None;
    for (const McuState &mcu : model.mcus()) {
        if (mcu.result != McuResult::Failed)
            continue;
        const ProblemId own = mcu.cause == ProblemId::None ? ProblemId::Unexplained : mcu.cause;
        if (mcu.isBegun)
            return own;
        if (cause == ProblemId::None)
            cause = own;
    }
    return cause;
}

/** Without the link to the device everything that follows fails, too. */
bool explainsAll(ProblemId problem)
{
    return problem == ProblemId::PortUnavailable || problem == ProblemId::LinkBroken;
}

/** "1 MCU updated, 3 failed, 1 not reached". */
QString countsText(const UpgradeModel &model)
{
    QString text = counted(countOf(model, McuResult::Updated)) + QLatin1String(" updated");
    for (const McuResult result : {McuResult::Failed, McuResult::NotReached, McuResult::Unknown}) {
        if (const int count = countOf(model, result))
            text += QStringLiteral(", %1 %2").arg(count).arg(resultName(result));
    }
    return text;
}

UpgradeOutcome failure(ProblemId cause, const QString &summary)
{
    return {problemRow(cause).exit, cause, summary};
}

UpgradeOutcome outcomeOfSuccess(const UpgradeModel &model)
{
    const ProblemId cause = failureOfMcus(model);
    if (cause != ProblemId::None)
        return {ExitCode::Failed, cause, countsText(model) + '.'};
    if (countOf(model, McuResult::Unknown) > 0)
        return failure(ProblemId::OutcomeUnseen, countsText(model) + '.');
    if (!model.sawBeginning())
        return failure(ProblemId::BeginningUnseen, countsText(model) + beginningUnseen);
    if (model.problem() != ProblemId::None)
        return {ExitCode::Failed, model.problem(),
                countsText(model) + QLatin1String(", but not all went well.")};
    if (countOf(model, McuResult::Updated) > 0)
        return {ExitCode::Done, ProblemId::None, countsText(model) + '.'};
    return {ExitCode::NothingToDo, ProblemId::NothingToDo,
            QStringLiteral("Nothing to do: no MCU needs an image from the package. "
                           "The device was rebooted anyway.")};
}

UpgradeOutcome outcomeOfFailure(const UpgradeModel &model)
{
    ProblemId cause = explainsAll(model.problem()) ? model.problem() : failureOfMcus(model);
    if (cause == ProblemId::None)
        cause = model.problem();
    if (cause == ProblemId::None)
        cause = model.sawBeginning() ? ProblemId::Unexplained : ProblemId::BeginningUnseen;
    UpgradeOutcome outcome =
        failure(cause, QStringLiteral("The upgrade failed: %1.").arg(countsText(model)));
    // The agent reports a failure, regardless of the reason.
    if (outcome.exit == ExitCode::Done || outcome.exit == ExitCode::Usage ||
        outcome.exit == ExitCode::NothingToDo || cause == ProblemId::BeginningUnseen)
        outcome.exit = ExitCode::Failed;
    return outcome;
}

QString nameInProgress(const UpgradeModel &model)
{
    const int current = model.current();
    return current < 0 ? QStringLiteral("an MCU") : '\'' + model.mcus().at(current).label + '\'';
}

} // namespace

UpgradeOutcome outcomeOf(const UpgradeModel &model)
{
    return model.succeeded() ? outcomeOfSuccess(model) : outcomeOfFailure(model);
}

QStringList likelyState(const UpgradeModel &model, ProblemId cause)
{
    // Only if this program ended the connection is it certain that the agent still runs.
    const bool isAgentKnown = cause == ProblemId::Interrupted;
    const QString continues =
        isAgentKnown
            ? QStringLiteral(
                  "The agent finishes the upgrade without this connection: leave the device on. "
                  "'attach' shows the rest of it.")
            : QStringLiteral("If the agent still runs, it finishes the upgrade without this "
                             "connection: leave the device on, and wait until the agent can be "
                             "reached again. If it does not run any more, the upgrade ended where "
                             "it was.");
    const QString again = QStringLiteral(
        "In a few minutes run the same upgrade again; in mode 2 what is done already is skipped.");
    switch (model.phase()) {
    case RunPhase::Joining:
        return {QStringLiteral("How far the run was is not known."), continues, again};
    case RunPhase::Preparing:
        return {QStringLiteral("Nothing was written: the upgrade had not begun."),
                QStringLiteral(
                    "If the agent had taken the request, it continues without this connection."),
                again};
    case RunPhase::Reading:
        if (!model.hasWritten())
            return {QStringLiteral("Nothing was written so far: the agent was reading versions."),
                    continues, again};
        return {QStringLiteral("At least one MCU is updated; the agent was reading versions."),
                continues, again};
    case RunPhase::Writing:
        return {QStringLiteral("%1 was being written.").arg(nameInProgress(model)), continues,
                QStringLiteral("If the device lost its power, that MCU holds half an image; it "
                               "waits in its bootcode and the next upgrade writes it whole."),
                again};
    case RunPhase::Installing:
        return {QStringLiteral("The network module was installing its own firmware."), continues,
                QStringLiteral("If the module lost its power, it may not start any more."), again};
    case RunPhase::Rebooting:
    case RunPhase::SettingVersion:
        return {QStringLiteral("All images are written; the device was rebooting."),
                QStringLiteral("Wait a minute until it is back."), again};
    case RunPhase::Ended:
        break;
    }
    return {QStringLiteral("The upgrade had ended.")};
}

QString resultName(McuResult result)
{
    static const char *const names[] = {"open",   "updated", "up to date",  "package older",
                                        "no fit", "failed",  "not reached", "unknown"};
    return QString::fromLatin1(names[int(result)]);
}

QString phaseName(McuPhase phase)
{
    static const char *const names[] = {"waiting", "reading",    "entering", "erasing",
                                        "writing", "restarting", "finished"};
    return QString::fromLatin1(names[int(phase)]);
}

QString phaseName(RunPhase phase)
{
    static const char *const names[] = {"joining",    "preparing", "reading",     "writing",
                                        "installing", "rebooting", "set version", "ended"};
    return QString::fromLatin1(names[int(phase)]);
}

} // namespace client
