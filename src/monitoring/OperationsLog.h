// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "monitoring/LineBudget.h"
#include "monitoring/OperationsText.h"

#include <QElapsedTimer>
#include <QObject>

namespace console {
class ConsoleEvents;
} // namespace console

class TCPServer;

namespace monitoring {

/** The rate limit of each topic; the run of a device never reaches it. */
struct LogBudgets
{
    using ms = std::chrono::milliseconds;

    LineBudget clients{200, ms(1'000)};
    /** The first and the last line of a run. */
    LineBudget runs{200, ms(1'000)};
    /** Other events of a run. */
    LineBudget details{500, ms(200)};
};

/**
 * Writes the operations log: one line of the category agent.operations, at info level, for each
 * event that the owner of the device may want to look up later.
 */
class OperationsLog : public QObject
{
    Q_OBJECT

public:
    /** Logs the start of the agent and whether the server listens. */
    explicit OperationsLog(const TCPServer &server, QObject *parent = nullptr,
                           const LogBudgets &budgets = LogBudgets());

private:
    void connectTo(const console::ConsoleEvents &events);
    void logStart(const TCPServer &server) const;
    template<typename MakeLine>
    void write(LineBudget &budget, const char *topic, const MakeLine &makeLine);
    void takeRunEvent(const engine::RunEvent &event);

    LogBudgets m_budgets;
    QElapsedTimer m_clock;
};

} // namespace monitoring
