// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <sys/socket.h>
#include <sys/un.h>

namespace runtime {

/**
 * Sends datagrams to a service manager's socket, which is looked up each time: the manager may have
 * been restarted meanwhile. Never waits.
 */
class NotifySocket
{
public:
    enum class Result {
        Sent,
        /** The socket's buffer is full: try again later. */
        Full,
        /** No manager listens. */
        Failed,
    };

    /** A path, or "@" and the name of an abstract socket. Anything else gives no address. */
    explicit NotifySocket(const QByteArray &address);
    ~NotifySocket();
    NotifySocket(const NotifySocket &) = delete;
    NotifySocket &operator=(const NotifySocket &) = delete;

    bool isValid() const { return m_descriptor >= 0; }
    Result send(const QByteArray &message) const
    {
        return send(message.constData(), message.size());
    }
    /** Safe in a signal handler, too. */
    Result send(const char *message, int length) const;

private:
    sockaddr_un m_address = {};
    socklen_t m_addressSize = 0;
    int m_descriptor = -1;
};

} // namespace runtime
