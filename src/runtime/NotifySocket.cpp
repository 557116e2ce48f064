// SPDX-License-Identifier: Apache-2.0
#include "runtime/NotifySocket.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <unistd.h>

namespace runtime {

NotifySocket::NotifySocket(const QByteArray &address)
{
    const bool isAbstract = address.startsWith('@');
    // A path includes its terminating zero.
    const size_t capacity = sizeof(m_address.sun_path) - (isAbstract ? 0 : 1);
    if ((!isAbstract && !address.startsWith('/')) || address.size() < 2 ||
        size_t(address.size()) > capacity)
        return;
    m_address.sun_family = AF_UNIX;
    std::memcpy(m_address.sun_path, address.constData(), size_t(address.size()));
    if (isAbstract)
        m_address.sun_path[0] = '\0';
    m_addressSize =
        socklen_t(offsetof(sockaddr_un, sun_path) + size_t(address.size()) + (isAbstract ? 0 : 1));
    m_descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

NotifySocket::~NotifySocket()
{
    if (isValid())
        close(m_descriptor);
}

NotifySocket::Result NotifySocket::send(const char *message, int length) const
{
    if (!isValid())
        return Result::Failed;
    const ssize_t sent = sendto(m_descriptor, message, size_t(length), MSG_DONTWAIT | MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr *>(&m_address), m_addressSize);
    if (sent >= 0)
        return Result::Sent;
    return errno == EAGAIN || errno == ENOBUFS || errno == EINTR ? Result::Full : Result::Failed;
}

} // namespace runtime
