// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "platform/Platform.h"

#include <QByteArray>
#include <QTcpSocket>
#include <QTimer>

class QSocketNotifier;

namespace console {

/**
 * A client's connection whose bytes go straight between the kernel and the console. With Qt's own
 * buffers a short request costs one more system call and several allocations, and each reply makes
 * and deletes a notifier.
 *
 * Only fetch() reads: Qt's own read functions never have any bytes.
 */
class ConsoleSocket : public QTcpSocket, public ClientConnection
{
    Q_OBJECT

public:
    using QTcpSocket::QTcpSocket;
    ~ConsoleSocket() override;

    /** Takes a connected descriptor over; false when it is none, and then it stays the caller's.
     *  readyRead() comes whenever there is something to fetch, or the connection has ended. */
    bool start(int descriptor);

    /** Replies are sent at once. The kernel drops the connection when the peer is gone without
     *  having closed it; it is dropped, too, when the peer has closed its side and then takes no
     *  byte of what is still to be sent for so long. */
    void configure(const KeepAlive &keepAlive, std::chrono::milliseconds closing);

    ConsolePeer peer() const;

    bool isConnected() const override { return state() == ConnectedState; }
    bool isClosed() const override { return state() == UnconnectedState; }
    int fetch(QByteArray &buffer) override;
    void setReading(bool reading) override;
    void send(const QByteArray &bytes) override;
    qint64 unsent() const override { return bytesToWrite(); }
    void drop() override { abort(); }
    void hangUp(std::chrono::milliseconds limit) override;
    void discard() override;

private:
    bool keepAlive(const KeepAlive &rule);
    void limitClosing(std::chrono::milliseconds limit);
    void refreshNotifier();

    /** A child; none before start(). */
    QSocketNotifier *m_notifier = nullptr;
    QTimer m_closing;
    bool m_reading = true;
};

} // namespace console
