// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/UpgradeRows.h"
#include "upgrade-console/Confirmation.h"
#include "upgrade-console/RunCommand.h"

#include <QDateTime>

#include <memory>

/**
 * An upgrade from the device's package, over the module's serial line or over the network. It asks
 * whether the device is idle, requests the package's list, sets the mode, and starts the run.
 */
class UpgradeCommand : public RunCommand
{
    Q_OBJECT

public:
    using RunCommand::RunCommand;

    bool prepare(CommandOutcome &result) override;

protected:
    void onConnected() override;
    void onReplyBefore(const client::AgentReply &reply) override;
    bool refuses(const client::AgentReply &reply) override;
    void addRun(CommandOutcome &result) override;

private:
    enum class Stage { Asking, Listing, Confirming, SettingMode };

    void onAsked(const client::AgentReply &reply);
    void onListed(const client::AgentReply &reply);
    void onModeSet(const client::AgentReply &reply);

    void confirm();
    void setMode();
    void takeList(const QString &text);
    client::UpgradeRows rowsFor(const package::PackageDescription &package) const;
    QByteArray runRequest() const;
    void announce();
    bool takeSizes(client::UpgradeRows &rows, const package::PackageDescription &package);
    void startRun();

    Stage m_stage = Stage::Asking;
    std::unique_ptr<Confirmation> m_confirmation;
    QStringList m_rows;
    QJsonObject m_package;
    /** The time of the request of the run (wall clock). */
    QDateTime m_started;
    ProblemId m_listProblem = ProblemId::None;
};

/** Whether the upgrade needs the user's confirmation. */
bool needsConfirmation(const Options &options);
