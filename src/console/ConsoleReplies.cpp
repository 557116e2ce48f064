// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleReplies.h"

#include "platform/Log.h"

#include <utility>

using platform::Limits;
using platform::logConsole;

namespace console {

namespace {

/** Replies to one read are sent together up to this many bytes. */
constexpr int mostCollected = 65'536;

} // namespace

ConsoleReplies::ConsoleReplies(const QVector<ClientPointer> &clients, const Limits &limits)
    : m_clients(clients), m_limits(limits)
{
}

void ConsoleReplies::send(const QByteArray &bytes)
{
    if (const ConsoleClient *const client = receiver())
        sendTo(*client, bytes);
}

void ConsoleReplies::sendTo(const ConsoleClient &client, const QByteArray &bytes)
{
    if (!client.isConnected())
        return;
    if (m_collectedFor != client.connection)
        flush();
    m_collectedFor = client.connection;
    m_collected += bytes;
    if (!m_collecting || m_collected.size() > mostCollected)
        flush();
}

const ConsoleClient *ConsoleReplies::receiver() const
{
    if (m_target->isConnected())
        return m_target.get();
    for (const ClientPointer &client : m_clients) {
        if (client->peer == m_target->peer && client->isConnected())
            return client.get();
    }
    return nullptr;
}

void ConsoleReplies::flush()
{
    ClientConnection *const connection = std::exchange(m_collectedFor, nullptr);
    if (connection == nullptr)
        return;
    connection->send(m_collected);
    m_collected.resize(0);
    if (connection->unsent() > 0)
        limitUnread();
}

/** Checks all clients, so call it only for replies that were not sent at once. */
void ConsoleReplies::limitUnread()
{
    ClientLoad unread;
    for (const ClientPointer &client : m_clients) {
        const qint64 bytes = client->connection->unsent();
        client->isSlow = client->isSlow || bytes > 0;
        unread.add(client, bytes);
    }
    if (unread.most <= m_limits.unreadReplies && unread.all <= m_limits.allUnreadReplies)
        return;
    const ConsolePeer &peer = unread.largest->peer;
    qCWarning(logConsole) << "a client does not read its replies:" << peer.address << peer.port;
    unread.largest->connection->drop();
}

} // namespace console
