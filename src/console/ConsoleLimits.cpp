// SPDX-License-Identifier: Apache-2.0
// What clients may take from the agent, each by itself and all together.
#include "console/ConsoleListener.h"
#include "console/TCPServer.h"
#include "platform/Log.h"
#include "protocol/ConsoleTexts.h"
#include "runtime/Descriptors.h"
#include "runtime/FreeMemory.h"

#include <algorithm>

namespace {

/** Descriptors that clients must leave to the device links, the files and the shell. */
constexpr int reservedDescriptors = 128;
/** When so many clients have left, their memory is worth to be given back. */
constexpr int crowd = 256;

} // namespace

/** The last descriptors are not for clients. Those beyond the limit wait until somebody leaves. */
void TCPServer::limitClients()
{
    const int places = std::max(descriptors::limit() - reservedDescriptors, 1);
    const bool full = m_clients.size() >= places;
    m_mostClients = std::max(m_mostClients, m_clients.size());
    if (m_mostClients - m_clients.size() >= crowd) {
        m_mostClients = m_clients.size();
        m_giveBack.start();
    }
    if (full == m_full)
        return;
    m_full = full;
    m_server->setAccepting(!full);
    if (full)
        qCWarning(logConsole) << "no more clients are accepted for now:" << m_clients.size();
}

/** Looks at all clients, so call it only for replies that did not go out at once. The client that
 *  has left most unread is the first to go. */
void TCPServer::limitReplies()
{
    qint64 all = 0;
    qint64 most = 0;
    std::shared_ptr<ConsoleClient> deafest;
    for (const auto &client : qAsConst(m_clients)) {
        const qint64 unread = client->socket->bytesToWrite();
        client->isSlow = client->isSlow || unread > 0;
        all += unread;
        if (unread > most) {
            most = unread;
            deafest = client;
        }
    }
    if (most <= m_platform.limits.unreadReplies && all <= m_platform.limits.allUnreadReplies)
        return;
    qCWarning(logConsole) << "a client does not read its replies:" << deafest->peer.address
                          << deafest->peer.port;
    deafest->socket->abort();
    m_giveBack.start();
}

/** The same for lines that do not end and requests that wait: the client with the most of them gets
 *  the reply to a line that is too long by itself, and stays no more than before the one that is
 *  answered. */
void TCPServer::limitLines()
{
    m_giveBack.start();
    qint64 all = 0;
    std::shared_ptr<ConsoleClient> longest;
    for (const auto &client : qAsConst(m_clients)) {
        all += client->framer.size();
        if (!longest || client->framer.size() > longest->framer.size())
            longest = client;
    }
    if (all <= m_platform.limits.allConsoleLines)
        return;
    longest->framer.drop();
    writeTo(longest->socket, consoletext::unknown.data());
}

void TCPServer::createGiveBack()
{
    m_giveBack.setSingleShot(true);
    m_giveBack.setInterval(m_platform.pauses.beforeGiveBack);
    connect(&m_giveBack, &QTimer::timeout, this, &giveBackFreeMemory);
}
