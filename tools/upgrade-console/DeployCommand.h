// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/PutCommand.h"
#include "upgrade-console/UpgradeCommand.h"

/** Puts a package on the module and upgrades the device from it: one command after the other, each
 *  with a separate connection. */
class DeployCommand : public Command
{
    Q_OBJECT

public:
    explicit DeployCommand(const Options &options);

    bool prepare(CommandOutcome &result) override;
    void run() override;
    void interrupt() override;

protected:
    void onConnected() override {}
    void onReply(const client::AgentReply &) override {}

private:
    void onPut(const CommandOutcome &result);
    void onUpgraded(CommandOutcome result);

    ProgressDisplay m_display;
    Confirmation m_confirmation;
    PutCommand m_put;
    UpgradeCommand m_upgrade;
    CommandOutcome m_putResult;
    bool m_isPut = false;
};
