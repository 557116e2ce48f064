// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/UpgradeModel.h"

#include <QString>

namespace client {

/** What a run came to. */
struct UpgradeOutcome
{
    ExitCode exit = ExitCode::Failed;
    /** None when all went well. */
    ProblemId cause = ProblemId::Unexplained;
    /** One line for the end of the table. */
    QString summary;
};

/**
 * The agent calls a run a success when it came to its end. Done is more: something was written and
 * nothing failed. Without anything to write it is "nothing to do".
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
