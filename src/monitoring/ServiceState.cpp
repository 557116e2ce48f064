// SPDX-License-Identifier: Apache-2.0
#include "monitoring/ServiceState.h"

using engine::RunEvent;

namespace monitoring {

namespace {

/** While commands install the module's firmware, the engine's thread is blocked: unpacking takes
 *  minutes, and a pause of 1000 s follows a quiet install. */
constexpr std::chrono::microseconds installLimit = std::chrono::minutes(30);

constexpr int longestName = 64;

/** A name that a client has sent must not add lines. */
QString harmless(QString name)
{
    name.truncate(longestName);
    for (QChar &character : name) {
        if (!character.isPrint() || character.isSurrogate())
            character = QLatin1Char('?');
    }
    return name;
}

} // namespace

const char stoppingMessage[] = "STOPPING=1\nSTATUS=Stopping.";

void ServiceState::listening(quint16 port)
{
    m_port = port;
    m_ready = true;
    setStatus(idleText());
}

void ServiceState::notListening(quint16 port, const QString &reason)
{
    setStatus(QStringLiteral("Not listening on port %1: %2.").arg(QString::number(port), reason));
}

QString ServiceState::idleText() const
{
    if (m_lastRun.isEmpty())
        return QStringLiteral("Idle, listening on port %1.").arg(m_port);
    return QStringLiteral("Idle, listening on port %1. The last upgrade %2.")
        .arg(QString::number(m_port), m_lastRun);
}

void ServiceState::take(const RunEvent &event)
{
    using Kind = RunEvent::Kind;

    m_percent = event.percent;
    switch (event.kind) {
    case Kind::Begun:
        return setRunStatus(QStringLiteral("reading the device"));
    case Kind::Reading:
        return setRunStatus(QStringLiteral("reading ") + harmless(event.mcu.name));
    case Kind::Writing:
        return setRunStatus(QStringLiteral("writing ") + harmless(event.mcu.name));
    case Kind::Restarting:
        return setRunStatus(QStringLiteral("restarting the device"));
    case Kind::Progress:
        return setRunStatus(m_activity);
    case Kind::Installing:
        setLimit(installLimit);
        return setRunStatus(QStringLiteral("installing the network module's firmware"));
    case Kind::Installed:
        return setLimit(m_watchdog);
    case Kind::Resuming:
        return setStatus(QStringLiteral("Completing an interrupted installation of the network "
                                        "module's firmware."));
    case Kind::Resumed:
        if (m_port != 0)
            setStatus(idleText());
        return;
    case Kind::Ended:
        m_lastRun = event.success ? QStringLiteral("succeeded") : QStringLiteral("failed");
        return setStatus(idleText());
    case Kind::NotResumed:
    case Kind::SignatureChecked:
    case Kind::Skipped:
    case Kind::Retried:
    case Kind::GivenUp:
    case Kind::Written:
        return;
    }
}

void ServiceState::setRunStatus(const QString &activity)
{
    m_activity = activity;
    setStatus(QStringLiteral("Upgrading: %1, %2 %").arg(activity, QString::number(m_percent)));
}

void ServiceState::setStatus(const QString &status)
{
    m_status = status.toUtf8();
}

void ServiceState::setLimit(std::chrono::microseconds limit)
{
    if (m_watchdog.count() > 0)
        m_newLimit = std::max(limit, m_watchdog);
}

QByteArray ServiceState::pending() const
{
    QByteArray message;
    if (m_ready)
        message += "READY=1\n";
    if (m_status != m_sentStatus)
        message += "STATUS=" + m_status + '\n';
    if (m_newLimit.count() > 0)
        message += "WATCHDOG_USEC=" + QByteArray::number(qint64(m_newLimit.count())) + '\n';
    if (m_alive)
        message += "WATCHDOG=1\n";
    message.chop(1);
    return message;
}

void ServiceState::delivered()
{
    m_sentStatus = m_status;
    m_ready = false;
    m_alive = false;
    m_newLimit = std::chrono::microseconds(0);
}

} // namespace monitoring
