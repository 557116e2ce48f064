// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Command.h"

#include "common/Output.h"

#include <QDateTime>
#include <QJsonDocument>

#include <unistd.h>

using client::AgentConnection;
using client::Cause;
using client::causeRow;

Command::Command(const Options &options) : m_options(options)
{
    m_clock.start();
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, &Command::onDeadline);
}

void Command::run()
{
    reconnect();
}

void Command::reconnect()
{
    if (AgentConnection *old = m_agent.release()) {
        old->close();
        old->disconnect(this);
        old->deleteLater(); // it may be in the middle of a signal
    }
    m_agent = std::make_unique<AgentConnection>(m_options.host, m_options.port, m_options.timeOut);
    connect(m_agent.get(), &AgentConnection::connected, this, [this] { onConnected(); });
    connect(m_agent.get(), &AgentConnection::received, this, &Command::onReply);
    connect(m_agent.get(), &AgentConnection::pulseAnswered, this, [this] { onPulseAnswered(); });
    connect(m_agent.get(), &AgentConnection::lost, this, &Command::onLost);
    m_agent->open();
}

void Command::interrupt()
{
    fail(Cause::Interrupted);
}

bool Command::writeJson(const QJsonObject &document)
{
    if (!m_options.jsonProgress)
        return writeAll(STDOUT_FILENO, QJsonDocument(document).toJson());
    QJsonObject last = document;
    last["event"] = QStringLiteral("result");
    return writeEvent(last);
}

/** A run goes on without its reader, and so does the command: only its end reports the loss. */
bool Command::writeEvent(QJsonObject event)
{
    if (!m_options.jsonProgress || m_isOutputLost)
        return !m_isOutputLost;
    event["time"] = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    m_isOutputLost =
        !writeAll(STDOUT_FILENO, QJsonDocument(event).toJson(QJsonDocument::Compact) + '\n');
    return !m_isOutputLost;
}

void Command::onLost(Cause cause, const QString &detail)
{
    fail(cause, detail);
}

void Command::onDeadline()
{
    fail(Cause::NoSignOfLife,
         QStringLiteral("no reply within %1 s").arg(double(m_options.timeOut.count()) / 1000.0));
}

void Command::fail(Cause cause, const QString &detail)
{
    CommandResult result;
    result.exit = causeRow(cause).exit;
    result.cause = cause;
    result.detail = detail;
    finish(result);
}

void Command::finish(const CommandResult &result)
{
    if (m_isFinished)
        return;
    m_isFinished = true;
    m_deadline.stop();
    if (m_agent)
        m_agent->close();
    emit finished(result);
}
