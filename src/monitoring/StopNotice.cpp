// SPDX-License-Identifier: Apache-2.0
#include "monitoring/StopNotice.h"

#include "monitoring/ServiceState.h"
#include "runtime/NotifySocket.h"

#include <csignal>
#include <cstring>

using runtime::NotifySocket;

namespace monitoring::stopNotice {

namespace {

const NotifySocket *notifySocket = nullptr;

/** Only calls what is safe in a signal handler. SA_RESETHAND removes the handler, so that the
 *  second signal has its default effect. */
extern "C" void notifyAndEnd(int signal)
{
    notifySocket->send(stoppingMessage, int(std::strlen(stoppingMessage)));
    std::raise(signal);
}

void handle(int signal)
{
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN)
        return;
    action = {};
    action.sa_handler = notifyAndEnd;
    action.sa_flags = int(SA_RESETHAND);
    sigaction(signal, &action, nullptr);
}

} // namespace

void sendOnSignals(const NotifySocket &socket)
{
    notifySocket = &socket;
    handle(SIGTERM);
    handle(SIGINT);
}

} // namespace monitoring::stopNotice
