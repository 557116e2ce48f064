// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/Command.h"

/** One heartbeat and the time until its answer. */
class PingCommand : public Command
{
    Q_OBJECT

public:
    using Command::Command;

protected:
    void onConnected() override;
    void onReply(const AgentReply &reply) override;

private:
    QElapsedTimer m_roundTrip;
};

class VersionCommand : public Command
{
    Q_OBJECT

public:
    using Command::Command;

protected:
    void onConnected() override;
    void onReply(const AgentReply &reply) override;
};

/** What the device's package describes. */
class ListCommand : public Command
{
    Q_OBJECT

public:
    using Command::Command;

protected:
    void onConnected() override;
    void onReply(const AgentReply &reply) override;

private:
    void show(const QString &text);

    Cause m_problem = Cause::None;
};

/** Sends a dump, prints the fields of the agent's report. */
class EdidCommand : public Command
{
    Q_OBJECT

public:
    using Command::Command;

    bool prepare(CommandResult &result) override;

protected:
    void onConnected() override;
    void onReply(const AgentReply &reply) override;

private:
    void show(const QString &fields);

    QByteArray m_dump;
    QStringList m_warnings;
};

/** Why a package description cannot be used; None for a good one. `text` is what the agent sent
 *  behind "FIRMWARELIST||", `logged` the last problem that it told before. */
Cause listProblem(const QString &text, Cause logged);
