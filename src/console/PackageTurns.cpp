// SPDX-License-Identifier: Apache-2.0
#include "console/PackageTurns.h"

#include <QMetaObject>

namespace console {

PackageTurns::PackageTurns(std::function<void(const ClientPointer &client)> serve)
    : m_serve(std::move(serve))
{
    m_nextTurn.setSingleShot(true);
    m_nextTurn.setInterval(0);
    connect(&m_nextTurn, &QTimer::timeout, this, &PackageTurns::next);
}

/** One iteration of the event loop delivers events, then serves sockets, then timers. A timer that
 *  is started by an event fires after the sockets; one that is started here could fire in the same
 *  iteration. */
void PackageTurns::take()
{
    if (m_isTaken)
        return;
    m_isTaken = true;
    QMetaObject::invokeMethod(
        this, [this] { m_nextTurn.start(); }, Qt::QueuedConnection);
}

void PackageTurns::wait(const ClientPointer &client)
{
    client->isWaiting = true;
    if (client->connection != nullptr)
        client->connection->setReading(false);
    m_waiting.append(client);
}

void PackageTurns::next()
{
    m_isTaken = false;
    while (!m_waiting.isEmpty() && !m_isTaken) {
        const ClientPointer client = m_waiting.takeFirst();
        client->isWaiting = false;
        m_serve(client);
        if (!client->isWaiting && client->connection != nullptr)
            client->connection->setReading(true);
    }
}

} // namespace console
