// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "platform/Platform.h"
#include "runtime/FreeMemory.h"

#include <QTimer>
#include <QVector>

#include <functional>

namespace console {

class ConsoleEvents;

/**
 * The clients of the console in the order in which they connected: limits their number and the text
 * that all of them have waiting, and gives memory back to the system.
 */
class ConsoleClients
{
public:
    /** `setAccepting` is called with false at the maximum number of clients, and with true below
     *  it. */
    ConsoleClients(const platform::Platform &platform, ConsoleEvents &events,
                   std::function<void(bool accepting)> setAccepting,
                   const std::function<void()> &giveBackMemory = &runtime::giveBackFreeMemory);

    const QVector<ClientPointer> &all() const { return m_clients; }

    ClientPointer add(ClientConnection &connection, const ConsolePeer &peer);
    /** Removes the clients whose connection is closed. The client that takes the position of a
     *  removed one is checked by the next call. */
    void removeClosed();
    /** Ends open connections and removes their clients. */
    void hangUp();

    /** The client with most text waiting when all clients together have too much. Call it when a
     *  client has, or had, much text waiting. */
    ClientPointer beyondLineLimit();

private:
    void limitClients();

    const platform::Platform &m_platform;
    ConsoleEvents &m_events;
    std::function<void(bool accepting)> m_setAccepting;
    QVector<ClientPointer> m_clients;
    bool m_full = false;
    /** The most at the same time since memory was last given back. */
    int m_mostClients = 0;
    QTimer m_giveBack;
};

} // namespace console
