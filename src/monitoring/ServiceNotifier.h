// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "monitoring/ServiceState.h"
#include "runtime/NotifySocket.h"
#include "runtime/ServiceEnvironment.h"

#include <QObject>
#include <QTimer>

class TCPServer;

namespace monitoring {

/**
 * Notifies a service manager of readiness, status, watchdog and stop. Created only when a manager
 * asks for it, so that no timer runs otherwise.
 */
class ServiceNotifier : public QObject
{
    Q_OBJECT

public:
    ServiceNotifier(const runtime::ServiceEnvironment &environment, const TCPServer &server,
                    QObject *parent = nullptr);

    /** Starts a notifier that is owned by the server and also reports the end of the process; does
     *  nothing without a service manager. */
    static void startIfWanted(const runtime::ServiceEnvironment &environment, TCPServer &server);

    void start();

private:
    void reportStart();
    void watchLoops();
    void takeRunEvent(const engine::RunEvent &event);
    void send();

    const TCPServer &m_server;
    std::chrono::microseconds m_watchdog;
    runtime::NotifySocket m_socket;
    ServiceState m_state;
    QTimer m_retry;
};

} // namespace monitoring
