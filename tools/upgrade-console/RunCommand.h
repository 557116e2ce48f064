// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/ProgressEvents.h"
#include "client/RunConversation.h"
#include "upgrade-console/Command.h"
#include "upgrade-console/ProgressDisplay.h"
#include "upgrade-console/UpgradeView.h"

/**
 * Shows a run of the agent until its end. The derived classes start or find the run.
 */
class RunCommand : public Command
{
    Q_OBJECT

public:
    explicit RunCommand(const Options &options);

    void interrupt() override;

protected:
    virtual void onListed(const package::PackageDescription &package) = 0;
    virtual void onBegun() {}
    virtual void onNotStarted(ProblemId cause, const QString &detail);
    /** Adds the identity of the run to the result. */
    virtual void addRun(CommandOutcome &result) = 0;

    void onConnected() override {}
    void onReply(const client::AgentReply &) override {}

    client::RunConversation &conversation() { return m_conversation; }
    ProgressDisplay &display() { return m_display; }
    /** Ends the command with a result of the run; its text is made here. */
    void finishRun(CommandOutcome result);

private:
    void onLine(const QString &line);
    void showProgress();

    client::RunConversation m_conversation;
    ChangeLines m_changes;
    client::ProgressEvents m_events;
    ProgressDisplay m_display;
};
