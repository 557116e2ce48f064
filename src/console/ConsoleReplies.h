// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "platform/Platform.h"

#include <QVector>

namespace console {

/**
 * Sends replies to clients. Everything that the agent reports is sent to the client of the last
 * request, or to one that has connected from the same address since. Clients with too many unread
 * replies are dropped, those with most first.
 */
class ConsoleReplies
{
public:
    /** `clients` are all current clients. */
    ConsoleReplies(const QVector<ClientPointer> &clients, const platform::Limits &limits);

    /** The client that sent the last request. */
    void setTarget(const ClientPointer &client) { m_target = client; }
    const ConsolePeer &target() const { return m_target->peer; }

    /** Sends to the target, if it still exists; texts in Latin-1. */
    void send(const QByteArray &bytes);
    void send(const QString &text) { send(text.toLatin1()); }
    void send(QLatin1String text) { send(QByteArray::fromRawData(text.data(), text.size())); }
    void sendTo(const ConsoleClient &client, const QByteArray &bytes);

    /** Collects what is sent during the work and sends it at its end, or in parts when it is long.
     *  No connection may be deleted meanwhile. */
    template<typename Work>
    void collect(const Work &work)
    {
        m_collecting = true;
        work();
        m_collecting = false;
        flush();
    }
    /** Sends the collected replies now. */
    void flush();

private:
    const ConsoleClient *receiver() const;
    void limitUnread();

    const QVector<ClientPointer> &m_clients;
    const platform::Limits m_limits;
    ClientPointer m_target = std::make_shared<ConsoleClient>();
    bool m_collecting = false;
    ClientConnection *m_collectedFor = nullptr;
    QByteArray m_collected;
};

} // namespace console
