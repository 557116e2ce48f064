// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <chrono>

namespace runtime {

/**
 * What a service manager has put into the environment, as sd_notify(3) and
 * sd_watchdog_enabled(3) describe it.
 */
struct ServiceEnvironment
{
    /** The path of a socket, or "@" and the name of an abstract one. Empty: nobody is to be told.
     */
    QByteArray notifySocket;
    /** Within this time the manager wants to hear again; 0: it does not watch. */
    std::chrono::microseconds watchdog{0};

    /** Reads the environment and takes the variables out of it, so that no command that the agent
     *  runs takes them for its own. Call it before there is a second thread. */
    static ServiceEnvironment take();

    /** From the values of NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID. */
    static ServiceEnvironment fromValues(const QByteArray &socket, const QByteArray &microseconds,
                                         const QByteArray &watchedProcess, qint64 ownProcess);
};

} // namespace runtime
