// SPDX-License-Identifier: Apache-2.0
#include "monitoring/ServiceNotifier.h"

#include "console/TCPServer.h"
#include "links/WorkerCOM.h"
#include "monitoring/LoopWatch.h"
#include "monitoring/StopNotice.h"
#include "platform/Log.h"

#include <algorithm>

using console::ConsoleEvents;
using engine::RunEvent;
using platform::logService;
using runtime::NotifySocket;
using runtime::ServiceEnvironment;

namespace monitoring {

namespace {

/** The pause before sending again to a manager whose socket is full. */
constexpr std::chrono::milliseconds retryPause{100};

} // namespace

ServiceNotifier::ServiceNotifier(const ServiceEnvironment &environment, const TCPServer &server,
                                 QObject *parent)
    : QObject(parent),
      m_server(server),
      m_watchdog(environment.watchdog),
      m_socket(environment.notifySocket),
      m_state(environment.watchdog)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(retryPause);
    connect(&m_retry, &QTimer::timeout, this, &ServiceNotifier::send);
    if (!m_socket.isValid())
        qCWarning(logService) << "no address of a service manager:" << environment.notifySocket;
}

void ServiceNotifier::startIfWanted(const ServiceEnvironment &environment, TCPServer &server)
{
    if (environment.notifySocket.isEmpty())
        return;
    auto *const notifier = new ServiceNotifier(environment, server, &server);
    // The manager may stop the service as soon as it is ready.
    stopNotice::sendOnSignals(notifier->m_socket);
    notifier->start();
}

void ServiceNotifier::start()
{
    if (!m_socket.isValid())
        return;
    connect(&m_server.events(), &ConsoleEvents::runEvent, this, &ServiceNotifier::takeRunEvent);
    reportStart();
    if (m_watchdog.count() > 0)
        watchLoops();
}

void ServiceNotifier::reportStart()
{
    if (m_server.listenError().isEmpty())
        m_state.listening(m_server.port());
    else
        m_state.notListening(m_server.platform().ports.console, m_server.listenError());
    send();
}

/** Twice within the manager's limit. */
void ServiceNotifier::watchLoops()
{
    using std::chrono::milliseconds;

    const auto half = std::chrono::duration_cast<milliseconds>(m_watchdog / 2);
    auto *const watch =
        new LoopWatch(m_server.worker()->engineThread(), std::max(half, milliseconds(1)), this);
    connect(watch, &LoopWatch::bothTurn, this, [this] {
        m_state.alive();
        send();
    });
}

void ServiceNotifier::takeRunEvent(const RunEvent &event)
{
    m_state.take(event);
    send();
}

/** What cannot be sent now stays pending, and newer values replace it. */
void ServiceNotifier::send()
{
    const QByteArray message = m_state.pending();
    if (message.isEmpty())
        return;
    if (m_socket.send(message) == NotifySocket::Result::Full)
        m_retry.start();
    else
        m_state.delivered();
}

} // namespace monitoring
