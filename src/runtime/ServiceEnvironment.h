// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <chrono>

namespace runtime {

/**
 * The environment variables of a service manager, as sd_notify(3) and sd_watchdog_enabled(3)
 * describe it.
 */
struct ServiceEnvironment
{
    /** The path of a socket, or "@" and the name of an abstract one. Empty: no notifications. */
    QByteArray notifySocket;
    /** The manager's watchdog time-out; 0: no watchdog. */
    std::chrono::microseconds watchdog{0};

    /** Reads the variables and removes them from the environment, so that commands that the agent
     *  runs do not use them. Call it before a second thread exists. */
    static ServiceEnvironment take();

    /** From the values of NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID. */
    static ServiceEnvironment fromValues(const QByteArray &socket, const QByteArray &microseconds,
                                         const QByteArray &watchedProcess, qint64 ownProcess);
};

} // namespace runtime
