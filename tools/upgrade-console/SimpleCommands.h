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
    void onReply(const client::AgentReply &reply) override;

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
    void onReply(const client::AgentReply &reply) override;
};

/** The description of the device's package. */
class ListCommand : public Command
{
    Q_OBJECT

public:
    using Command::Command;

protected:
    void onConnected() override;
    void onReply(const client::AgentReply &reply) override;

private:
    void show(const QString &text);

    ProblemId m_problem = ProblemId::None;
};

/** Sends a dump, prints the fields of the agent's report. */
class EdidCommand : public Command
{
    Q_OBJECT

public:
    using Command::Command;

    bool prepare(CommandOutcome &result) override;

protected:
    void onConnected() override;
    void onReply(const client::AgentReply &reply) override;

private:
    void show(const QString &fields);

    QByteArray m_dump;
    QVector<Warning> m_warnings;
};
