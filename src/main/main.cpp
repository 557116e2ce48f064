// SPDX-License-Identifier: Apache-2.0
#include "console/TCPServer.h"
#include "platform/Descriptors.h"
#include "platform/EpollDispatcher.h"
#include "service/LogOutput.h"
#include "service/OperationsLog.h"
#include "service/ServiceNotifier.h"

#include <QCoreApplication>

#include <csignal>

int main(int argc, char **argv)
{
    // For the engine's thread, and for this one should there be no epoll: the event loop of glib
    // looks at every socket on each turn, and the framework's plain one is several times as fast.
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    // A reader of the standard streams that has gone away must not end the agent.
    std::signal(SIGPIPE, SIG_IGN);
    descriptors::raiseLimit();

    logOutput::install();
    const ServiceEnvironment serviceEnvironment = ServiceEnvironment::take();

    if (auto dispatcher = EpollDispatcher::make())
        QCoreApplication::setEventDispatcher(dispatcher.release());

    const QCoreApplication application(argc, argv);
    // Lives until the process ends.
    auto *const server = new TCPServer;
    new OperationsLog(*server, server);
    ServiceNotifier::startIfWanted(serviceEnvironment, *server);
    return QCoreApplication::exec();
}
