// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "links/DeviceLink.h"

#include <QList>
#include <QTcpSocket>

#include <functional>

/**
 * The network link to a device: one TCP client connection with the same frames as the serial line.
 * It does not interpret frames and sets no time limit.
 */
class CoreTelnet : public links::DeviceLink
{
    Q_OBJECT

public:
    /** Called with every frame that is about to be written. */
    using FrameHook = std::function<void(const QByteArray &frame)>;

    explicit CoreTelnet(QObject *parent = nullptr);
    ~CoreTelnet() override;

    const char *label() const override { return "net"; }
    /** Starts a connection, dropping the previous one. A signal reports the result. */
    void connectTo(const QString &IP, quint16 port);
    bool openAt(const QString &IP, int port) override;
    void close() override;
    bool isOpen() const override { return m_connected; }

    /** Writes when connected; returns the connected flag, not the result of the write. */
    bool write(const QByteArray &data);
    bool write(const unsigned char *bytes, int length);
    bool send(const QByteArray &frame) override { return write(frame); }

    /** Without a hook, frames on this link do not count when replies are matched. */
    void setFrameHook(FrameHook hook);

signals:
    void read(QByteArray data);
    void message(QList<QString> message);
    void connected();
    void disconnected();

public slots:
    void readTcpData();
    void socketConnected();
    void socketConnectionClosed();

private:
    void forgetSocket();

    bool m_connected = false;
    QTcpSocket *m_socket = nullptr;
    FrameHook m_frameHook;
};
