// SPDX-License-Identifier: Apache-2.0
#include "console/TCPServer.h"
#include "monitoring/LogOutput.h"
#include "monitoring/OperationsLog.h"
#include "monitoring/ServiceNotifier.h"
#include "runtime/Descriptors.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

namespace descriptors = runtime::descriptors;
using runtime::ServiceEnvironment;

namespace {

/** What the program prints when its only argument asks for it; null if it serves clients. */
const char *informationFor(int argc, char **argv)
{
    const QByteArray argument = argc == 2 ? argv[1] : "";
    if (argument == "--version" || argument == "-v")
        return "upgrade-agent " PROJECT_VERSION "\n";
    if (argument == "--help" || argument == "-h")
        return "usage: upgrade-agent [--help | --version]\n"
               "Upgrades the firmware of an audio-video device; serves console clients on TCP port "
               "35353\nuntil it is stopped. See upgrade-agent(8).\n";
    return nullptr;
}

} // namespace

int main(int argc, char **argv)
{
    if (const char *const information = informationFor(argc, argv))
        return std::fputs(information, stdout) >= 0 && std::fflush(stdout) == 0 ? 0 : 1;
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
