// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/Command.h"

/** Everything that the agent reports without a run: whether it answers, its version, whether a run
 *  is active, and the package. */
class StatusCommand : public Command
{
    Q_OBJECT

public:
    using Command::Command;

protected:
    void onConnected() override;
    void onReply(const client::AgentReply &reply) override;
    void onLost(ProblemId cause, const QString &detail) override;
    void onDeadline() override;

private:
    void askTheRest();
    void show();
    QString packageText(QJsonObject &json) const;

    bool m_isBusyKnown = false;
    bool m_isBusy = false;
    QString m_version;
    QString m_list;
    ProblemId m_listProblem = ProblemId::None;
};
