// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"

#include <QList>
#include <QObject>
#include <QTimer>

#include <functional>

namespace console {

/**
 * Allows one reading of the package, which may take long, per iteration of the event loop. Between
 * two of them all sockets, events and timers are served.
 *
 * A client that has to wait is not read meanwhile, so it has the requests of at most one read
 * waiting. Waiting clients are served in turn.
 */
class PackageTurns : public QObject
{
    Q_OBJECT

public:
    /** `serve` continues with a client that has waited. It may make it wait again. */
    explicit PackageTurns(std::function<void(const ClientPointer &client)> serve);

    /** The package was read in this iteration. */
    bool isTaken() const { return m_isTaken; }
    void take();

    /** Lets a client wait for the next iteration. */
    void wait(const ClientPointer &client);

private:
    void next();

    std::function<void(const ClientPointer &client)> m_serve;
    QList<ClientPointer> m_waiting;
    QTimer m_nextTurn;
    bool m_isTaken = false;
};

} // namespace console
