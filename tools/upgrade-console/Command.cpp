// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Command.h"

#include "common/Output.h"

#include <QJsonDocument>

#include <unistd.h>

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
    return writeAll(STDOUT_FILENO, QJsonDocument(document).toJson());
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
