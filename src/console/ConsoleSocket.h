// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Platform.h"

#include <QByteArray>
#include <QTcpSocket>
#include <QTimer>

class QSocketNotifier;

/**
 * A client's connection whose bytes go straight between the kernel and the console. By way of the
 * framework's buffers a short request costs one more system call and several allocations, and each
 * reply sets up and tears down a notifier.
 *
 * Only fetch() reads: the framework's own read functions never have any bytes.
 */
class ConsoleSocket : public QTcpSocket
{
    Q_OBJECT

public:
    using QTcpSocket::QTcpSocket;
    ~ConsoleSocket() override;

    /** Takes a connected descriptor over; false when it is none, and then it stays the caller's.
     *  readyRead() comes whenever there is something to fetch, or the connection has ended. */
    bool start(int descriptor);

    /** Fetches what has come, at most as much as the buffer holds, and returns the number of bytes.
     *  At the connection's end there are none, and the socket is closed as soon as what is still to
     *  be sent has gone. */
    int fetch(QByteArray &buffer);

    /** Lets the kernel drop the connection when the peer is gone without having closed it. */
    bool keepAlive(const KeepAlive &rule);
    /** Drops the connection when the peer has closed its side and then takes no byte of what is
     *  still to be sent for this long. */
    void limitClosing(std::chrono::milliseconds limit);

    /** While it is off, bytes stay with the kernel, which stops the sender once it has enough. */
    void setReading(bool reading);

    /** Hands the kernel what it takes at once, which is nearly always everything, and keeps the
     *  rest until it takes that, too. */
    void send(const QByteArray &bytes);

private:
    void refreshNotifier();

    /** A child; none before start(). */
    QSocketNotifier *m_notifier = nullptr;
    QTimer m_closing;
    bool m_reading = true;
};
