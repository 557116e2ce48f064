// SPDX-License-Identifier: Apache-2.0
#include "client/RunDocument.h"

#include "client/ProgressEvents.h"

namespace client {

using std::chrono::milliseconds;

CommandOutcome runDocument(const UpgradeModel &model, const UpgradeOutcome &outcome,
                           milliseconds now)
{
    CommandOutcome result;
    result.exit = outcome.exit;
    if (outcome.exit != ExitCode::Done && outcome.exit != ExitCode::NothingToDo)
        result.problem = Problem{outcome.cause, model.labelled(model.problemLine(outcome.cause))};
    result.json = {{"summary", outcome.summary},
                   {"rebooted", model.hasRebooted()},
                   {"mcus", resultJson(model, now)}};
    if (!model.netVersion().isEmpty())
        result.json["net_version"] = model.netVersion();
    return result;
}

CommandOutcome unseenVerdictDocument(const UpgradeModel &model, const QString &version,
                                     milliseconds now)
{
    CommandOutcome result = runDocument(model, outcomeOf(model), now);
    result.json["verdict_seen"] = false;
    result.json["agent_version"] = version;
    result.warnings.append({QStringLiteral("verdict-unseen"),
                            QStringLiteral("the module restarted with the device, before the "
                                           "agent's verdict; run the upgrade again to be sure"),
                            {}});
    return result;
}

CommandOutcome lostRunDocument(const UpgradeModel &model, Problem problem, const QStringList &state,
                               milliseconds now)
{
    CommandOutcome result = runDocument(
        model,
        {problemRow(problem.id).exit, problem.id, QStringLiteral("The outcome is not known.")},
        now);
    problem.advice = state.join(QLatin1Char('\n'));
    result.problem = problem;
    if (!state.isEmpty())
        result.json["likely_state"] = QJsonArray::fromStringList(state);
    return result;
}

} // namespace client
