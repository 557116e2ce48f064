// SPDX-License-Identifier: Apache-2.0
#include "console/TCPServer.h"
#include "monitoring/LogOutput.h"
#include "monitoring/OperationsLog.h"
#include "monitoring/ServiceNotifier.h"
#include "runtime/Descriptors.h"

#include <QCoreApplication>

#include <csignal>

namespace descriptors = runtime::descriptors;
using runtime::ServiceEnvironment;

int main(int argc, char **argv)
{
    // Qt's own event loop serves many sockets several times as fast as glib's.
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    // A closed pipe on a standard stream must not end the agent.
    std::signal(SIGPIPE, SIG_IGN);
    descriptors::raiseLimit();

    monitoring::logOutput::install();
    const ServiceEnvironment serviceEnvironment = ServiceEnvironment::take();

    const QCoreApplication application(argc, argv);
    // Lives until the process ends.
    auto *const server = new TCPServer;
    new monitoring::OperationsLog(*server, server);
    monitoring::ServiceNotifier::startIfWanted(serviceEnvironment, *server);
    return QCoreApplication::exec();
}
