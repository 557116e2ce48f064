// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"

#include <QList>
#include <QObject>
#include <QTimer>

#include <functional>

namespace console {

/**
 * Spreads what may take long, which is reading the package, over the turns of the event loop: one
 * reading in a turn, whichever client has asked for it. Between two of them every socket is looked
 * at, and whatever else is due is served.
 *
 * A client that has to wait is not read meanwhile, so what it may keep waiting is what one read
 * brings. Clients that wait are served in turn.
 */
class PackageTurns : public QObject
{
    Q_OBJECT

public:
    /** `serve` goes on with a client that has waited. It may make it wait again. */
    explicit PackageTurns(std::function<void(const ClientPointer &client)> serve);

    /** The package has been read in this turn. */
    bool isTaken() const { return m_isTaken; }
    void take();

    /** Lets a client wait for the next turn. */
    void wait(const ClientPointer &client);

private:
    void next();

    std::function<void(const ClientPointer &client)> m_serve;
    QList<ClientPointer> m_waiting;
    QTimer m_nextTurn;
    bool m_isTaken = false;
};

} // namespace console
