// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/RunCommand.h"

/** Follows a run that another client started. Earlier lines are not repeated. */
class AttachCommand : public RunCommand
{
    Q_OBJECT

public:
    using RunCommand::RunCommand;

    void run() override { conversation().attach(); }

protected:
    void onListed(const package::PackageDescription &package) override;
    void onNotStarted(ProblemId cause, const QString &detail) override;
    void addRun(CommandOutcome &result) override;

private:
    QJsonObject m_package;
};
