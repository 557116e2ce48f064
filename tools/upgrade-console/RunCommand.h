// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AnswerWatch.h"
#include "client/ProgressEvents.h"
#include "client/UpgradeOutcome.h"
#include "client/WaitBack.h"
#include "upgrade-console/Command.h"
#include "upgrade-console/ProgressDisplay.h"
#include "upgrade-console/UpgradeView.h"

/**
 * Follows a run of the agent to its end and shows it, over one connection: the agent sends a run's
 * lines to the client with the last request. The derived classes start or find the run.
 */
class RunCommand : public Command
{
    Q_OBJECT

public:
    explicit RunCommand(const Options &options);

    void interrupt() override;

protected:
    /** A reply before the run is followed. */
    virtual void onReplyBefore(const client::AgentReply &reply) = 0;
    /** Whether the reply reports that no run is active; the command then ends. */
    virtual bool refuses(const client::AgentReply &) { return false; }
    /** Adds the identity of the run to the result. */
    virtual void addRun(CommandOutcome &result) = 0;

    void onReply(const client::AgentReply &reply) override;
    void onPulseAnswered() override;
    void onLost(ProblemId cause, const QString &detail) override;
    void onDeadline() override;

    /** Asks the agent whether a run is active, and processes the answer. */
    void askWhetherBusy();
    /** The expected run. */
    void expect(const client::UpgradeModel &model, const client::TimeEstimate &estimate);
    /** From now on every reply is about the run. */
    void follow();
    /** The request did not start a run. */
    void failRun(ProblemId cause, const QString &detail = {});
    CommandOutcome resultOf(const client::UpgradeOutcome &outcome);

    const client::UpgradeModel &model() const { return m_model; }
    const client::TimeEstimate &estimate() const { return m_estimate; }
    ProgressDisplay &display() { return m_display; }
    std::chrono::milliseconds followed() const { return now() - m_startedAt; }
    bool hasSeenRun() const { return m_hasSeenRun; }
    /** The run is known to be active. */
    void setSeenRun() { m_hasSeenRun = true; }

private:
    enum class Stage { Preparing, Running, WaitingBack };

    void onRunning(const client::AgentReply &reply);
    void noteLine(const QString &line);
    void onQuiet();
    void onQuietAnswered(bool isBusy);
    void showProgress();
    void endRun();
    void loseContact(ProblemId cause, const QString &detail);
    void onBack(const QString &version);
    client::RunPicture picture();

    Stage m_stage = Stage::Preparing;
    client::UpgradeModel m_model;
    client::TimeEstimate m_estimate;
    client::AnswerWatch m_answers;
    ChangeLines m_changeLines;
    client::ProgressEvents m_events;
    ProgressDisplay m_display;
    client::WaitBack m_waitBack;
    std::chrono::milliseconds m_startedAt{0};
    /** Redraws while no reply arrives. */
    QTimer m_redraw;
    /** The agent answers, but does not send lines about the run. */
    QTimer m_quiet;
    bool m_isAskingAgain = false;
    bool m_hasSeenRun = false;
    bool m_isBusySeen = false;
};
