// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/RunEvent.h"

#include <QByteArray>

#include <chrono>

namespace monitoring {

/**
 * What the service manager is to be told, and what of it has not been told yet. A message is one
 * datagram of `NAME=value` lines, as sd_notify(3) describes them.
 */
class ServiceState
{
public:
    /** The manager's own limit is left alone where it does not watch (0). */
    explicit ServiceState(std::chrono::microseconds watchdog) : m_watchdog(watchdog) {}

    void listening(quint16 port);
    /** The manager is left waiting for readiness, and told why: nobody could be served. */
    void notListening(quint16 port, const QString &reason);
    void take(const engine::RunEvent &event);
    /** Both event loops turn. */
    void alive() { m_alive = true; }

    /** Everything that is news; empty when nothing is. */
    QByteArray pending() const;
    /** It has got there. */
    void delivered();

private:
    void setStatus(const QString &status);
    void setRunStatus(const QString &activity);
    void setLimit(std::chrono::microseconds limit);
    QString idleText() const;

    std::chrono::microseconds m_watchdog;
    quint16 m_port = 0;
    QString m_lastRun;
    QString m_activity;
    int m_percent = 0;

    bool m_ready = false;
    bool m_alive = false;
    /** 0: stays as it is. */
    std::chrono::microseconds m_newLimit{0};
    QByteArray m_status;
    QByteArray m_toldStatus;
};

/** The last words, before a signal ends the process. */
extern const char stoppingMessage[];

} // namespace monitoring
