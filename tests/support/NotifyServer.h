// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QList>

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <unistd.h>

/** Simulates the service manager: a datagram socket that records the messages. */
class NotifyServer
{
public:
    /** A path, or "@" and the name of an abstract socket. */
    explicit NotifyServer(const QByteArray &address)
        : m_descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un name = {};
        name.sun_family = AF_UNIX;
        std::memcpy(name.sun_path, address.constData(), size_t(address.size()));
        if (address.startsWith('@'))
            name.sun_path[0] = '\0';
        const size_t size = offsetof(sockaddr_un, sun_path) + size_t(address.size());
        if (bind(m_descriptor, reinterpret_cast<const sockaddr *>(&name), socklen_t(size)) != 0)
            qFatal("cannot bind %s", address.constData());
    }
    ~NotifyServer() { close(m_descriptor); }
    NotifyServer(const NotifyServer &) = delete;
    NotifyServer &operator=(const NotifyServer &) = delete;

    /** The messages since the last call. */
    QList<QByteArray> take()
    {
        QList<QByteArray> messages;
        char buffer[4096];
        for (;;) {
            const ssize_t size = recv(m_descriptor, buffer, sizeof buffer, 0);
            if (size < 0)
                return messages;
            messages.append(QByteArray(buffer, int(size)));
        }
    }

private:
    int m_descriptor;
};
