// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/StatusQuery.h"
#include "upgrade-console/Command.h"

/** Everything that the agent reports without a run: whether it answers, its version, whether a run
 *  is active, and the package. */
class StatusCommand : public Command
{
    Q_OBJECT

public:
    explicit StatusCommand(const Options &options);

    void run() override { m_query.start(); }

protected:
    void onConnected() override {}
    void onReply(const client::AgentReply &) override {}

private:
    void show(const client::AgentStatus &status);

    client::StatusQuery m_query;
};
