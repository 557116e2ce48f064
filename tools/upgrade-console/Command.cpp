// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Command.h"

#include "common/Output.h"

#include <unistd.h>

using client::AgentConnection;

QString textOf(const QStringList &lines)
{
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

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
    fail(ProblemId::Interrupted);
}

int Command::write(const CommandLine &line, const CommandOutcome &outcome)
{
    return line.write(outcome);
}

/** Without a reader the run and the command continue; the command reports the loss at its end. */
bool Command::writeEvent(const QJsonObject &event)
{
    if (m_options.form != OutputForm::JsonLines || m_isOutputLost)
        return !m_isOutputLost;
    m_isOutputLost = !writeAll(STDOUT_FILENO, eventLine(event));
    return !m_isOutputLost;
}

void Command::onLost(ProblemId cause, const QString &detail)
{
    fail(cause, detail);
}

void Command::onDeadline()
{
    fail(ProblemId::NoSignOfLife,
         QStringLiteral("no reply within %1 s").arg(double(m_options.timeOut.count()) / 1000.0));
}

void Command::fail(ProblemId id, const QString &detail)
{
    finish(CommandOutcome::failed(id, detail));
}

void Command::finish(const CommandOutcome &result)
{
    if (m_isFinished)
        return;
    m_isFinished = true;
    m_deadline.stop();
    if (m_agent)
        m_agent->close();
    emit finished(result);
}
