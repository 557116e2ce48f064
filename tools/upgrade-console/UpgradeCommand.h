// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/UpgradeRows.h"
#include "upgrade-console/Confirmation.h"
#include "upgrade-console/RunCommand.h"

#include <QDateTime>

#include <memory>

/**
 * An upgrade from the device's package, over the module's serial line or over the network: makes
 * the request from the options and the package, and asks the user where mode 5 needs that.
 */
class UpgradeCommand : public RunCommand
{
    Q_OBJECT

public:
    using RunCommand::RunCommand;

    bool prepare(CommandOutcome &result) override;
    void run() override { conversation().prepare(); }

protected:
    void onListed(const package::PackageDescription &package) override;
    void onBegun() override;
    void addRun(CommandOutcome &result) override;

private:
    void giveUp(ProblemId cause, const QString &detail = {});
    void confirm();
    client::UpgradeRows rowsFor(const package::PackageDescription &package) const;
    QByteArray requestLine(const QStringList &rows) const;
    void announce();
    bool takeSizes(client::UpgradeRows &rows, const package::PackageDescription &package);

    std::unique_ptr<Confirmation> m_confirmation;
    client::RunRequest m_request;
    QJsonObject m_package;
    /** When the run was requested, UTC. */
    QDateTime m_started;
};

/** Whether the upgrade needs the user's confirmation. */
bool needsConfirmation(const Options &options);
