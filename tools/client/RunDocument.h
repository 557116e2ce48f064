// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/UpgradeOutcome.h"
#include "common/CommandOutcome.h"

namespace client {

// The result of a run as the document of a command, for every program that follows one. The members
// are summary, rebooted, mcus and, where it applies, net_version; the text is empty, since each
// program has another form for people.

/** Of a run whose result the agent reported. */
CommandOutcome runDocument(const UpgradeModel &model, const UpgradeOutcome &outcome,
                           std::chrono::milliseconds now);

/** Of a run that ended with the restart of the module; `version` is that of the agent since then.
 *  Has the members verdict_seen and agent_version. */
CommandOutcome unseenVerdictDocument(const UpgradeModel &model, const QString &version,
                                     std::chrono::milliseconds now);

/** Of a run whose end was not seen. Has the member likely_state, unless `state` is empty. */
CommandOutcome lostRunDocument(const UpgradeModel &model, Problem problem, const QStringList &state,
                               std::chrono::milliseconds now);

} // namespace client
