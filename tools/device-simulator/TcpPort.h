// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/DevicePort.h"

#include <QHostAddress>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>

/** A device with a network link: one host at a time; a new one replaces it. */
class TcpPort : public DevicePort
{
    Q_OBJECT

public:
    TcpPort(const QHostAddress &address, quint16 port, QObject *parent = nullptr);

    bool open(QString *error) override;
    QString address() const override;
    void write(const QByteArray &bytes) override;

private:
    void onNewConnection();

    QHostAddress m_address;
    quint16 m_port;
    QTcpServer m_server;
    QPointer<QTcpSocket> m_host;
};
