// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentConnection.h"
#include "client/Causes.h"
#include "upgrade-console/Options.h"

#include <QJsonObject>
#include <QObject>
#include <QStringList>

#include <memory>

/** What a command came to. */
struct CommandResult
{
    ExitCode exit = ExitCode::Done;
    client::Cause cause = client::Cause::None;
    /** More about the cause: a file's name, the agent's own words. */
    QString detail;
    /** Lines for standard output. */
    QStringList output;
    /** Lines for standard error, behind the cause and its advice. */
    QStringList advice;
    /** Members of the JSON document. */
    QJsonObject json;
};

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
    virtual bool prepare(CommandResult &) { return true; }
    virtual void run();
    /** The user wants it to end. */
    virtual void interrupt();
    /** Writes the whole document to standard output, or what is missing of it; false when standard
     *  output takes no more. */
    virtual bool writeJson(const QJsonObject &document);

signals:
    void finished(const CommandResult &result);

protected:
    virtual void onConnected() = 0;
    virtual void onReply(const client::AgentReply &reply) = 0;
    /** After a silence the agent's lines come here for certain; some may have gone elsewhere. */
    virtual void onPulseAnswered() {}
    virtual void onLost(client::Cause cause, const QString &detail);
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
     *  "--json-progress". False when standard output takes no more. */
    bool writeEvent(QJsonObject event);
    void finish(const CommandResult &result);
    void fail(client::Cause cause, const QString &detail = {});
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

/** The object behind a sub-command. */
std::unique_ptr<Command> makeCommand(const Options &options);
