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
 * A client's connection without Qt's buffers. With them a short request needs one more system call
 * and several allocations, and each reply creates and deletes a notifier: 50 clients get a quarter
 * fewer replies, and a thousand need half as much memory again.
 *
 * Only fetch() reads: Qt's own read functions return no bytes.
 */
class ConsoleSocket : public QTcpSocket, public ClientConnection
{
    Q_OBJECT

public:
    using QTcpSocket::QTcpSocket;
    ~ConsoleSocket() override;

    /** Takes ownership of a connected descriptor; on false the caller keeps it. readyRead() is
     *  emitted when there are bytes to fetch, or the connection has ended. */
    bool start(int descriptor);

    /** Replies are sent at once. Keep-alive drops a peer that has vanished; a peer that has closed
     *  its side is dropped when it reads none of the remaining bytes for `closing`. */
    void configure(const platform::KeepAlive &keepAlive, std::chrono::milliseconds closing);

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
    bool keepAlive(const platform::KeepAlive &rule);
    void limitClosing(std::chrono::milliseconds limit);
    void refreshNotifier();

    /** A child; null before start(). */
    QSocketNotifier *m_notifier = nullptr;
    QTimer m_closing;
    bool m_reading = true;
};

} // namespace console
