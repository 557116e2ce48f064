// SPDX-License-Identifier: Apache-2.0
#include "runtime/ServiceEnvironment.h"

#include <unistd.h>

namespace runtime {

namespace {

QByteArray takeVariable(const char *name)
{
    QByteArray value = qgetenv(name);
    qunsetenv(name);
    return value;
}

} // namespace

ServiceEnvironment ServiceEnvironment::take()
{
    const QByteArray socket = takeVariable("NOTIFY_SOCKET");
    const QByteArray microseconds = takeVariable("WATCHDOG_USEC");
    const QByteArray process = takeVariable("WATCHDOG_PID");
    return fromValues(socket, microseconds, process, getpid());
}

ServiceEnvironment ServiceEnvironment::fromValues(const QByteArray &socket,
                                                  const QByteArray &microseconds,
                                                  const QByteArray &watchedProcess,
                                                  qint64 ownProcess)
{
    ServiceEnvironment environment;
    environment.notifySocket = socket;
    const bool isWatched = watchedProcess.isEmpty() || watchedProcess.toLongLong() == ownProcess;
    bool ok = false;
    const qint64 span = microseconds.toLongLong(&ok);
    if (!socket.isEmpty() && isWatched && ok && span > 0)
        environment.watchdog = std::chrono::microseconds(span);
    return environment;
}

} // namespace runtime
