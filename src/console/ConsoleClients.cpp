// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleClients.h"

#include "console/ConsoleEvents.h"
#include "console/RequestReader.h"
#include "platform/Log.h"
#include "runtime/Descriptors.h"

#include <algorithm>

using platform::logConsole;
using platform::Platform;

namespace descriptors = runtime::descriptors;

namespace console {

namespace {

/** Descriptors reserved for the device links, the files and the shell. */
constexpr int reservedDescriptors = 128;
/** After so many clients have left, their memory is given back. */
constexpr int crowd = 256;

} // namespace

ConsoleClients::ConsoleClients(const Platform &platform, ConsoleEvents &events,
                               std::function<void(bool accepting)> setAccepting,
                               const std::function<void()> &giveBackMemory)
    : m_platform(platform), m_events(events), m_setAccepting(std::move(setAccepting))
{
    m_giveBack.setSingleShot(true);
    m_giveBack.setInterval(platform.pauses.beforeGiveBack);
    QObject::connect(&m_giveBack, &QTimer::timeout, giveBackMemory);
}

ClientPointer ConsoleClients::add(ClientConnection &connection, const ConsolePeer &peer)
{
    const auto client = std::make_shared<ConsoleClient>(
        ConsoleClient{&connection, peer, LineFramer(m_platform.limits.consoleLine)});
    m_clients.append(client);
    limitClients();
    emit m_events.clientCame(peer, m_clients.size());
    return client;
}

void ConsoleClients::removeClosed()
{
    for (int i = 0; i < m_clients.size(); ++i) {
        if (!m_clients.at(i)->connection->isClosed())
            continue;
        const ClientPointer client = m_clients.takeAt(i);
        if (client->framer.size() > RequestReader::longLine || client->isSlow)
            m_giveBack.start();
        std::exchange(client->connection, nullptr)->discard();
        client->framer.drop();
        emit m_events.clientLeft(client->peer, m_clients.size());
    }
    limitClients();
}

/** Skips every second client, so that the shutdown takes at most half the time; those connections
 *  are closed with the server's socket. */
void ConsoleClients::hangUp()
{
    for (int i = 0; i < m_clients.size(); ++i)
        m_clients.takeAt(i)->connection->hangUp(m_platform.timeOuts.clientDisconnect);
}

/** Keeps the reserved descriptors free. Further clients wait until a client leaves. */
void ConsoleClients::limitClients()
{
    const int places = std::max(descriptors::limit() - reservedDescriptors, 1);
    const bool full = m_clients.size() >= places;
    m_mostClients = std::max(m_mostClients, int(m_clients.size()));
    if (m_mostClients - m_clients.size() >= crowd) {
        m_mostClients = m_clients.size();
        m_giveBack.start();
    }
    if (full == m_full)
        return;
    m_full = full;
    m_setAccepting(!full);
    if (full)
        qCWarning(logConsole) << "no more clients are accepted for now:" << m_clients.size();
}

ClientPointer ConsoleClients::beyondLineLimit()
{
    m_giveBack.start();
    ClientLoad text;
    for (const ClientPointer &client : qAsConst(m_clients))
        text.add(client, client->framer.size());
    return text.all > m_platform.limits.allConsoleLines ? text.largest : nullptr;
}

} // namespace console
