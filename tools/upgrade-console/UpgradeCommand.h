// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/Command.h"
#include "upgrade-console/ProgressDisplay.h"
#include "upgrade-console/UpgradeOutcome.h"
#include "upgrade-console/UpgradeRows.h"
#include "upgrade-console/UpgradeView.h"
#include "upgrade-console/WaitBack.h"

#include <QDateTime>
#include <QSocketNotifier>

/**
 * An upgrade from the device's package, over the module's serial line or over the network. It asks
 * whether the device is free, what the package holds, sets the mode, starts the run and follows it
 * to its end, all over one connection: the agent sends a run's lines to whoever asked last.
 */
class UpgradeCommand : public Command
{
    Q_OBJECT

public:
    explicit UpgradeCommand(const Options &options);

    bool prepare(CommandResult &result) override;
    void interrupt() override;

protected:
    void onConnected() override;
    void onReply(const AgentReply &reply) override;
    void onPulseAnswered() override;
    void onLost(Cause cause, const QString &detail) override;
    void onDeadline() override;

private:
    enum class Stage { Asking, Listing, Confirming, SettingMode, Running, WaitingBack };

    void askWhetherBusy();
    void onAsked(const AgentReply &reply);
    void onListed(const AgentReply &reply);
    void onModeSet(const AgentReply &reply);
    void onRunning(const AgentReply &reply);

    void confirm();
    void onAnswer();
    void setMode();
    void takeList(const QString &text);
    UpgradeRows rowsFor(const package::PackageDescription &package) const;
    QByteArray runRequest() const;
    void announce();
    bool takeSizes(UpgradeRows &rows, const package::PackageDescription &package);
    void startRun();
    bool refuses(const AgentReply &reply);
    void onQuiet();
    void onQuietAnswered(bool isBusy);
    void showProgress();
    void endRun();
    void loseContact(Cause cause, const QString &detail);
    void onBack(const QString &version);
    CommandResult resultOf(const UpgradeOutcome &outcome);
    void failRun(Cause cause, const QString &detail = {});
    void addRun(CommandResult &result);
    RunPicture picture();

    Stage m_stage = Stage::Asking;
    UpgradeModel m_model;
    TimeEstimate m_estimate;
    AnswerWatch m_answers;
    ChangeTeller m_teller;
    ProgressDisplay m_display;
    WaitBack m_waitBack;
    /** The answer of the user to the question whether to go on. */
    std::unique_ptr<QSocketNotifier> m_answer;
    QStringList m_rows;
    QJsonObject m_package;
    /** When the run was asked for: on the clock of the wall and on ours. */
    QDateTime m_started;
    std::chrono::milliseconds m_startedAt{0};
    Cause m_listProblem = Cause::None;
    /** Redraws while nothing arrives. */
    QTimer m_redraw;
    /** The agent answers, but says nothing about the run. */
    QTimer m_quiet;
    bool m_isAskingAgain = false;
    bool m_heardOfRun = false;
    bool m_isBusySeen = false;
};
