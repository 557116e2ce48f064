// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentConnection.h"
#include "common/CommandOutcome.h"
#include "upgrade-console/Options.h"

#include <QJsonObject>
#include <QObject>
#include <QStringList>

#include <memory>

/**
 * One sub-command: sends requests over a connection, takes replies, and finishes once. It has
 * either finished or waits for something that a timer bounds.
 */
class Command : public QObject
{
    Q_OBJECT

public:
    explicit Command(const Options &options);

    /** Looks at what needs no agent; a result ends the command before it connects. */
    virtual bool prepare(CommandOutcome &) { return true; }
    virtual void run();
    /** The user wants it to end. */
    virtual void interrupt();
    /** Writes the outcome as the command line asks for it, or what is missing of it, and returns
     *  the exit status. */
    virtual int write(const CommandLine &line, const CommandOutcome &outcome);

signals:
    void finished(const CommandOutcome &result);

protected:
    virtual void onConnected() = 0;
    virtual void onReply(const client::AgentReply &reply) = 0;
    /** After a silence the agent's lines come here for certain; some may have gone elsewhere. */
    virtual void onPulseAnswered() {}
    virtual void onLost(ProblemId cause, const QString &detail);
    /** A reply that was awaited did not come. */
    virtual void onDeadline();

    const Options &options() const { return m_options; }
    client::AgentConnection &agent() { return *m_agent; }
    /** Time since the command began, whatever became of its connections. */
    std::chrono::milliseconds now() const { return std::chrono::milliseconds(m_clock.elapsed()); }
    void request(QLatin1String line) { agent().request(QByteArray(line.data(), line.size())); }
    /** Starts the wait for a reply, at most the time-out long. */
    void awaitReply() { m_deadline.start(m_options.timeOut); }
    void stopAwaiting() { m_deadline.stop(); }
    /** One line for a program that follows the command, with the time; nothing without
     *  "--json-progress". False when standard output cannot be written. */
    bool writeEvent(const QJsonObject &event);
    void finish(const CommandOutcome &result);
    void fail(ProblemId cause, const QString &detail = {});
    /** Drops the connection and makes a new one. */
    void reconnect();

private:
    const Options m_options;
    std::unique_ptr<client::AgentConnection> m_agent;
    QElapsedTimer m_clock;
    QTimer m_deadline;
    bool m_isFinished = false;
    bool m_isOutputLost = false;
};

/** Lines of an outcome, each with its end. */
QString textOf(const QStringList &lines);

/** The object of a sub-command. */
std::unique_ptr<Command> makeCommand(const Options &options);
