// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/UpgradeModel.h"

#include <QString>

namespace client {

/** The result of a run. */
struct UpgradeOutcome
{
    ExitCode exit = ExitCode::Failed;
    /** None when the run succeeded. */
    ProblemId cause = ProblemId::Unexplained;
    /** One line for the end of the table. */
    QString summary;
};

/**
 * The agent reports every complete run as a success. Done requires more: something was written and
 * nothing failed. If nothing had to be written, the result is NothingToDo.
 */
UpgradeOutcome outcomeOf(const UpgradeModel &model);

/**
 * After the connection was lost in the middle of a run: the state that the device is likely in and
 * what to do, one item a line. `cause` says how it was lost.
 */
QStringList likelyState(const UpgradeModel &model, ProblemId cause);

/** A result as tables and JSON have it: "updated", "no fit". */
QString resultName(McuResult result);

/** The same for a phase. */
QString phaseName(McuPhase phase);
QString phaseName(RunPhase phase);

} // namespace client
