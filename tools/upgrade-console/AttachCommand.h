// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/RunCommand.h"

/** Follows a run that another client started. Earlier lines are not repeated. */
class AttachCommand : public RunCommand
{
    Q_OBJECT

public:
    using RunCommand::RunCommand;

protected:
    void onConnected() override;
    void onReply(const client::AgentReply &reply) override;
    void onReplyBefore(const client::AgentReply &reply) override;
    void addRun(CommandOutcome &result) override;

private:
    void join();
    void endWithoutRun();

    QJsonObject m_package;
};
