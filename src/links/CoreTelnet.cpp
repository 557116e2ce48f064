// SPDX-License-Identifier: Apache-2.0
#include "links/CoreTelnet.h"

#include "platform/Log.h"

#include <utility>

using platform::logLink;
using platform::logLinkBytes;

CoreTelnet::CoreTelnet(QObject *parent) : DeviceLink(parent)
{
    connect(this, &CoreTelnet::connected, this, &DeviceLink::opened);
    connect(this, &CoreTelnet::read, this, &DeviceLink::received);
    connect(this, &CoreTelnet::disconnected, this, &DeviceLink::lost);
}

CoreTelnet::~CoreTelnet()
{
    forgetSocket();
}

void CoreTelnet::connectTo(const QString &IP, quint16 port)
{
    m_connected = false;
    if (m_socket != nullptr) {
        QTcpSocket *old = m_socket;
        forgetSocket();
        old->abort();
    }
    m_socket = new QTcpSocket;
    connect(m_socket, SIGNAL(readyRead()), this, SLOT(readTcpData()));
    connect(m_socket, SIGNAL(connected()), this, SLOT(socketConnected()));
    connect(m_socket, SIGNAL(disconnected()), this, SLOT(socketConnectionClosed()));
    connect(m_socket, &QAbstractSocket::stateChanged, this,
            [this](QAbstractSocket::SocketState state) {
                qCDebug(logLink) << "network link:" << state << m_socket->errorString();
            });
    m_socket->connectToHost(IP, port, QIODevice::ReadWrite, QAbstractSocket::AnyIPProtocol);
}

bool CoreTelnet::openAt(const QString &IP, int port)
{
    connectTo(IP, quint16(port));
    return false;
}

void CoreTelnet::close()
{
    m_connected = false;
    if (m_socket == nullptr)
        return;
    QTcpSocket *old = m_socket;
    forgetSocket();
    old->close();
}

bool CoreTelnet::write(const QByteArray &data)
{
    if (m_connected && m_socket != nullptr) {
        if (m_frameHook)
            m_frameHook(data);
        m_socket->write(data);
        m_socket->flush();
        qCDebug(logLinkBytes) << "out" << data.toHex(' ');
    }
    return m_connected;
}

bool CoreTelnet::write(const unsigned char *bytes, int length)
{
    return write(QByteArray(reinterpret_cast<const char *>(bytes), length));
}

void CoreTelnet::setFrameHook(FrameHook hook)
{
    m_frameHook = std::move(hook);
}

void CoreTelnet::readTcpData()
{
    if (m_socket == nullptr)
        return;
    const QByteArray data = m_socket->readAll();
    qCDebug(logLinkBytes) << "in" << data.toHex(' ');
    emit read(data);
}

void CoreTelnet::socketConnected()
{
    m_connected = true;
    emit connected();
}

void CoreTelnet::socketConnectionClosed()
{
    m_connected = false;
    forgetSocket();
    emit disconnected();
}

/** An old socket may still deliver bytes and then report its end, which must not be mistaken for
 *  the end of the new connection. */
void CoreTelnet::forgetSocket()
{
    if (m_socket == nullptr)
        return;
    m_socket->disconnect(this);
    m_socket->deleteLater();
    m_socket = nullptr;
}
