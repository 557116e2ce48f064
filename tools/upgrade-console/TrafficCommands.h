// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/Command.h"
#include "upgrade-console/LineEditor.h"

#include <memory>

/**
 * Prints every reply. JSON is written as the replies arrive, as the "replies" of one document that
 * the end of the command completes.
 */
class TrafficCommand : public Command
{
    Q_OBJECT

public:
    using Command::Command;

    void interrupt() override;
    int write(const CommandLine &line, const CommandOutcome &outcome) override;

protected:
    void onReply(const client::AgentReply &reply) override;
    virtual void show(const QString &line);
    virtual QString lineFor(const client::AgentReply &reply) const = 0;

private:
    void print(const QByteArray &bytes);

    bool m_hasReplies = false;
};

/** Everything with the time of its arrival. */
class WatchCommand : public TrafficCommand
{
    Q_OBJECT

public:
    using TrafficCommand::TrafficCommand;

protected:
    void onConnected() override;
    QString lineFor(const client::AgentReply &reply) const override;
};

/** Requests by hand. */
class ShellCommand : public TrafficCommand
{
    Q_OBJECT

public:
    explicit ShellCommand(const Options &options);

protected:
    void onConnected() override;
    void onReply(const client::AgentReply &reply) override;
    QString lineFor(const client::AgentReply &reply) const override;
    void show(const QString &line) override;

private:
    void onLine(const QString &line);
    void onEnd();

    std::unique_ptr<LineEditor> m_editor;
    bool m_isEnding = false;
};

/** The bytes of a reply without its line end. */
QString wireText(const client::AgentReply &reply);
