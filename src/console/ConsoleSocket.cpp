// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleSocket.h"

#include "platform/Log.h"

#include <QHostAddress>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

using platform::KeepAlive;
using platform::logConsole;

namespace console {

namespace {

/** The prefix of an IPv4 client's address on a dual-stack socket. */
const QLatin1String mappedPrefix("::ffff:");

bool setOption(qintptr descriptor, int level, int option, int value)
{
    return ::setsockopt(int(descriptor), level, option, &value, sizeof value) == 0;
}

} // namespace

/** The base class reports its last states after this destructor; deleting the notifier removes the
 *  connection. */
ConsoleSocket::~ConsoleSocket()
{
    delete m_notifier;
}

bool ConsoleSocket::start(int descriptor)
{
    if (!setSocketDescriptor(descriptor))
        return false;
    // Qt would read the bytes with its own notifier.
    const auto notifiers = findChildren<QSocketNotifier *>();
    for (QSocketNotifier *const notifier : notifiers)
        notifier->setEnabled(false);
    m_notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &ConsoleSocket::readyRead);
    connect(this, &ConsoleSocket::stateChanged, m_notifier, [this] { refreshNotifier(); });
    return true;
}

void ConsoleSocket::configure(const KeepAlive &rule, std::chrono::milliseconds closing)
{
    // Without it, a reply may wait 40 ms for the acknowledgement of the last one.
    setSocketOption(LowDelayOption, 1);
    if (!keepAlive(rule))
        qCDebug(logConsole) << "cannot set keep-alive:" << qt_error_string();
    limitClosing(closing);
}

ConsolePeer ConsoleSocket::peer() const
{
    QString address = peerAddress().toString();
    const int mapped = address.lastIndexOf(mappedPrefix);
    if (mapped >= 0)
        address.remove(0, mapped + mappedPrefix.size());
    return {address, peerPort()};
}

bool ConsoleSocket::keepAlive(const KeepAlive &rule)
{
    const qintptr descriptor = socketDescriptor();
    return setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, int(rule.idle.count())) &&
           setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, int(rule.interval.count())) &&
           setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, rule.probes) &&
           setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
}

/** No event ends such a connection, and keep-alive does not either: the peer's kernel answers. */
void ConsoleSocket::limitClosing(std::chrono::milliseconds limit)
{
    m_closing.setSingleShot(true);
    m_closing.setInterval(limit);
    connect(&m_closing, &QTimer::timeout, this, &ConsoleSocket::abort);
    const auto restart = [this] {
        if (state() == ClosingState)
            m_closing.start();
        else
            m_closing.stop();
    };
    connect(this, &ConsoleSocket::stateChanged, &m_closing, restart);
    connect(this, &ConsoleSocket::bytesWritten, &m_closing, restart);
}

void ConsoleSocket::setReading(bool reading)
{
    m_reading = reading;
    refreshNotifier();
}

/** Once the socket is closing, the descriptor is closed next, or is only used to send the rest. */
void ConsoleSocket::refreshNotifier()
{
    m_notifier->setEnabled(m_reading && state() == ConnectedState);
}

int ConsoleSocket::fetch(QByteArray &buffer)
{
    if (state() != ConnectedState)
        return 0;
    const ssize_t count =
        ::recv(int(socketDescriptor()), buffer.data(), size_t(buffer.size()), MSG_DONTWAIT);
    if (count == 0)
        disconnectFromHost();
    else if (count < 0 && errno != EAGAIN && errno != EINTR)
        abort();
    return int(std::max<ssize_t>(count, 0));
}

void ConsoleSocket::send(const QByteArray &bytes)
{
    ssize_t sent = 0;
    if (bytesToWrite() == 0) {
        sent = ::send(int(socketDescriptor()), bytes.constData(), size_t(bytes.size()),
                      MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    if (sent == bytes.size())
        return;
    const qint64 start = std::max<ssize_t>(sent, 0);
    // Not as a QByteArray, which the socket would keep with its unused capacity.
    write(bytes.constData() + start, bytes.size() - start);
    flush();
}

void ConsoleSocket::hangUp(std::chrono::milliseconds limit)
{
    disconnect(this, &ConsoleSocket::readyRead, nullptr, nullptr);
    disconnect(this, &ConsoleSocket::disconnected, nullptr, nullptr);
    disconnectFromHost();
    if (!isClosed())
        waitForDisconnected(int(limit.count()));
}

void ConsoleSocket::discard()
{
    emit destroyed(this);
    deleteLater();
}

} // namespace console
