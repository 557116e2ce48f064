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
 * The clients of the console in the order in which they came: how many there may be, how much text
 * they may have waiting together, and when the memory that they needed goes back to the system.
 */
class ConsoleClients
{
public:
    /** `setAccepting` gets false when the last place is taken, and true when one is free again. */
    ConsoleClients(const Platform &platform, ConsoleEvents &events,
                   std::function<void(bool accepting)> setAccepting,
                   const std::function<void()> &giveBackMemory = &runtime::giveBackFreeMemory);

    const QVector<ClientPointer> &all() const { return m_clients; }

    ClientPointer add(ClientConnection &connection, const ConsolePeer &peer);
    /** Removes the clients whose connection is closed. The client that moves into the place of a
     *  removed one is left for the next call. */
    void removeClosed();
    /** The same with clients whose connection is open, which is ended first. */
    void hangUp();

    /** Call it when a client has, or had, much text waiting. Returns the client with most of it
     * when all of them together have too much. */
    ClientPointer beyondLineLimit();

private:
    void limitClients();

    const Platform &m_platform;
    ConsoleEvents &m_events;
    std::function<void(bool accepting)> m_setAccepting;
    QVector<ClientPointer> m_clients;
    bool m_full = false;
    /** The most at the same time since memory was last given back. */
    int m_mostClients = 0;
    QTimer m_giveBack;
};

} // namespace console
