// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/RunEvent.h"

#include <QByteArray>

#include <chrono>

namespace monitoring {

/**
 * The state for the service manager, and what of it has not been sent yet. A message is one
 * datagram of `NAME=value` lines, as sd_notify(3) describes them.
 */
class ServiceState
{
public:
    /** With 0 the manager has no watchdog, and its limit is not changed. */
    explicit ServiceState(std::chrono::microseconds watchdog) : m_watchdog(watchdog) {}

    void listening(quint16 port);
    /** Does not report readiness, only the reason: no client could be served. */
    void notListening(quint16 port, const QString &reason);
    void take(const engine::RunEvent &event);
    /** Both event loops run. */
    void alive() { m_alive = true; }

    /** Everything that has changed; empty when nothing has. */
    QByteArray pending() const;
    /** pending() was sent. */
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
    /** 0: unchanged. */
    std::chrono::microseconds m_newLimit{0};
    QByteArray m_status;
    QByteArray m_sentStatus;
};

/** The last message, before a signal ends the process. */
extern const char stoppingMessage[];

} // namespace monitoring
