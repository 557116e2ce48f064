// SPDX-License-Identifier: Apache-2.0
#include "monitoring/OperationsLog.h"

#include "console/TCPServer.h"
#include "platform/Log.h"

using console::ConsoleEvents;
using console::ConsolePeer;
using console::RunRequest;
using engine::RunEvent;
using platform::logOperations;
using platform::Platform;

namespace monitoring {

OperationsLog::OperationsLog(const TCPServer &server, QObject *parent, const LogBudgets &budgets)
    : QObject(parent), m_budgets(budgets)
{
    m_clock.start();
    connectTo(server.events());
    logStart(server);
}

void OperationsLog::connectTo(const ConsoleEvents &events)
{
    connect(&events, &ConsoleEvents::clientCame, this,
            [this](const ConsolePeer &peer, int clients) {
                write(m_budgets.clients, "clients",
                      [&] { return operations::clientCame(peer, clients); });
            });
    connect(&events, &ConsoleEvents::clientLeft, this,
            [this](const ConsolePeer &peer, int clients) {
                write(m_budgets.clients, "clients",
                      [&] { return operations::clientLeft(peer, clients); });
            });
    connect(&events, &ConsoleEvents::runRequested, this, [this](const RunRequest &request) {
        write(m_budgets.runs, "runs", [&] { return operations::runStarted(request); });
    });
    connect(&events, &ConsoleEvents::runEvent, this, &OperationsLog::takeRunEvent);
}

void OperationsLog::logStart(const TCPServer &server) const
{
    const Platform &platform = server.platform();
    qCInfo(logOperations).noquote() << operations::started(server.version(), platform).text();
    if (server.listenError().isEmpty())
        qCInfo(logOperations).noquote() << operations::listening(server.port()).text();
    else
        qCWarning(logOperations).noquote()
            << operations::notListening(platform.ports.console, server.listenError()).text();
}

/** The line is formatted only if it is written. */
template<typename MakeLine>
void OperationsLog::write(LineBudget &budget, const char *topic, const MakeLine &makeLine)
{
    if (!logOperations().isInfoEnabled())
        return;
    if (!budget.take(LineBudget::ms(m_clock.elapsed()))) {
        if (budget.leftOut() == 1)
            qCInfo(logOperations).noquote() << operations::linesLeftOut(topic).text();
        return;
    }
    LogLine line = makeLine();
    if (budget.leftOut() > 0)
        line.add("left_out", budget.leftOut());
    budget.forget();
    qCInfo(logOperations).noquote() << line.text();
}

void OperationsLog::takeRunEvent(const RunEvent &event)
{
    if (!operations::isLogged(event.kind))
        return;
    const bool isEnd = event.kind == RunEvent::Kind::Ended;
    write(isEnd ? m_budgets.runs : m_budgets.details, isEnd ? "runs" : "details",
          [&] { return operations::runLine(event); });
}

} // namespace monitoring
