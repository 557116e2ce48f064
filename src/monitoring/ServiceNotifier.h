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
 * Keeps a service manager informed: readiness, what the agent does, that it lives, and its end.
 * Made only where a manager wants to know, so that there is no timer anywhere else.
 */
class ServiceNotifier : public QObject
{
    Q_OBJECT

public:
    ServiceNotifier(const runtime::ServiceEnvironment &environment, const TCPServer &server,
                    QObject *parent = nullptr);

    /** Starts a notifier that lives with the server and tells the end of the process, too; does
     *  nothing when nobody is to be told. */
    static void startIfWanted(const runtime::ServiceEnvironment &environment, TCPServer &server);

    void start();

private:
    void tellStart();
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
