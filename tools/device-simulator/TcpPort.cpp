// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/TcpPort.h"

TcpPort::TcpPort(const QHostAddress &address, quint16 port, QObject *parent)
    : DevicePort(parent), m_address(address), m_port(port)
{
    connect(&m_server, &QTcpServer::newConnection, this, &TcpPort::onNewConnection);
}

bool TcpPort::open(QString *error)
{
    if (m_server.listen(m_address, m_port))
        return true;
    *error = QStringLiteral("cannot listen on %1:%2: %3")
                 .arg(m_address.toString())
                 .arg(m_port)
                 .arg(m_server.errorString());
    return false;
}

QString TcpPort::address() const
{
    return QStringLiteral("%1:%2").arg(m_address.toString()).arg(m_server.serverPort());
}

void TcpPort::onNewConnection()
{
    while (QTcpSocket *host = m_server.nextPendingConnection()) {
        if (m_host)
            m_host->abort();
        m_host = host;
        host->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(host, &QTcpSocket::disconnected, host, &QObject::deleteLater);
        connect(host, &QTcpSocket::readyRead, this,
                [this, host] { emit received(host->readAll()); });
    }
}

void TcpPort::write(const QByteArray &bytes)
{
    if (m_host) {
        m_host->write(bytes);
        m_host->flush();
    }
}
