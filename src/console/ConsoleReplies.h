// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "platform/Platform.h"

#include <QVector>

namespace console {

/**
 * What is sent to clients. Everything that the agent reports goes to the client that sent the last
 * request, or to one that has come from the same place since. Clients that leave too much unread
 * are dropped, that with most of it first.
 */
class ConsoleReplies
{
public:
    /** `clients` are all that there are; they change meanwhile. */
    ConsoleReplies(const QVector<ClientPointer> &clients, const Limits &limits);

    /** The client that sent the last request. */
    void setTarget(const ClientPointer &client) { m_target = client; }
    const ConsolePeer &target() const { return m_target->peer; }

    /** To the target, if there still is one; texts in Latin-1. */
    void send(const QByteArray &bytes);
    void send(const QString &text) { send(text.toLatin1()); }
    void send(QLatin1String text) { send(QByteArray::fromRawData(text.data(), text.size())); }
    void sendTo(const ConsoleClient &client, const QByteArray &bytes);

    /** What is sent during the work leaves together at its end, or in parts when it is much. No
     *  connection may be deleted meanwhile. */
    template<typename Work>
    void collect(const Work &work)
    {
        m_collecting = true;
        work();
        m_collecting = false;
        flush();
    }
    /** Sends now what has been collected. */
    void flush();

private:
    const ConsoleClient *receiver() const;
    void limitUnread();

    const QVector<ClientPointer> &m_clients;
    const Limits m_limits;
    ClientPointer m_target = std::make_shared<ConsoleClient>();
    bool m_collecting = false;
    ClientConnection *m_collectedFor = nullptr;
    QByteArray m_collected;
};

} // namespace console
