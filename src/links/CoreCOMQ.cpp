// SPDX-License-Identifier: Apache-2.0
#include "links/CoreCOMQ.h"

#include "links/LinkState.h"
#include "links/SerialPort.h"
#include "platform/Log.h"
#include "runtime/StandardError.h"

#include <QSerialPortInfo>

#include <algorithm>

#include <poll.h>

namespace standardError = runtime::standardError;
using links::SerialPort;
using platform::logLink;
using platform::logLinkBytes;

namespace {

constexpr int textBuffer = 99;
constexpr int textLengthModulus = 256;

void applyDataBits(QSerialPort &port, int dataBits)
{
    if (dataBits >= QSerialPort::Data5 && dataBits <= QSerialPort::Data8)
        port.setDataBits(QSerialPort::DataBits(dataBits));
}

void applyStopBits(QSerialPort &port, int stopBits)
{
    if (stopBits == QSerialPort::OneStop || stopBits == QSerialPort::TwoStop)
        port.setStopBits(QSerialPort::StopBits(stopBits));
}

void applyParity(QSerialPort &port, const QString &parity)
{
    static const struct
    {
        const char *name;
        QSerialPort::Parity parity;
    } names[] = {
        {"NoParity", QSerialPort::NoParity},
        {"EvenParity", QSerialPort::EvenParity},
        {"OddParity", QSerialPort::OddParity},
    };
    for (const auto &entry : names) {
        if (parity == QLatin1String(entry.name))
            port.setParity(entry.parity);
    }
}

/** A read of no bytes is not an error; only poll(2) shows that the line has hung up. */
bool hungUp(int handle)
{
    pollfd line{handle, 0, 0};
    return poll(&line, 1, 0) > 0 && (line.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

} // namespace

CoreCOMQ::CoreCOMQ(QObject *parent) : DeviceLink(parent), m_port(new SerialPort(this))
{
    connect(m_port, SIGNAL(readyRead()), this, SLOT(recvMsg()));
    // Queued: the port must not be closed inside its own notifier.
    connect(m_port, &SerialPort::errorOccurred, this, &CoreCOMQ::closeBrokenPort,
            Qt::QueuedConnection);
    connect(this, &CoreCOMQ::signalReceiveDatas, this, &DeviceLink::received);
}

bool CoreCOMQ::open(const QString &portName, int baudRate, int dataBits, int stopBits,
                    const QString &parity)
{
    close();
    m_port->setPortName(portName);
    if (!m_port->open(QIODevice::ReadWrite)) {
        qCDebug(logLink) << "cannot open" << portName << m_port->errorString();
        return false;
    }
    m_port->setBaudRate(baudRate);
    applyDataBits(*m_port, dataBits);
    applyStopBits(*m_port, stopBits);
    applyParity(*m_port, parity);
    return true;
}

bool CoreCOMQ::openAt(const QString &portName, int baudRate)
{
    return open(portName, baudRate, QSerialPort::Data8, QSerialPort::OneStop,
                QStringLiteral("NoParity"));
}

void CoreCOMQ::close()
{
    if (m_port->isOpen())
        m_port->close();
}

bool CoreCOMQ::isOpen() const
{
    return m_port->isOpen();
}

bool CoreCOMQ::sendMsg(const unsigned char *bytes, int length)
{
    const auto *characters = reinterpret_cast<const char *>(bytes);
    links::noteFrame(bytes, length);
    const bool sent = writeBytes(characters, length) != -1;
    qCDebug(logLink) << "sendMsg:canRead:true";
    qCDebug(logLinkBytes) << "out" << QByteArray::fromRawData(characters, length).toHex(' ');
    return sent;
}

bool CoreCOMQ::send(const QByteArray &frame)
{
    return sendMsg(reinterpret_cast<const unsigned char *>(frame.constData()), frame.size());
}

bool CoreCOMQ::sendText(const QString &command)
{
    const QByteArray text = command.toUtf8().left(textBuffer);
    const int length = std::min(int(command.size()) % textLengthModulus, int(text.size()));
    const bool sent = writeBytes(text.constData(), length) != -1;
    standardError::write(sent ? "successfully send vwSendCommand\n"
                              : "Failed to send vwSendCommand\n");
    return sent;
}

QList<QString> CoreCOMQ::listPorts()
{
    QList<QString> names;
    const auto ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports)
        names.append(port.portName());
    return names;
}

void CoreCOMQ::recvMsg()
{
    const QByteArray datas = m_port->fetch();
    if (datas.isEmpty())
        return;
    qCDebug(logLinkBytes) << "in" << datas.toHex(' ');
    emit signalReceiveDatas(datas);
}

qint64 CoreCOMQ::writeBytes(const char *bytes, qint64 length)
{
    if (!m_port->isOpen())
        return -1;
    m_port->send(bytes, length);
    return length;
}

/** A line that has hung up stays readable, so its notifier would fire without end. The error may be
 *  delivered when another port is open already, whose own state counts then. */
void CoreCOMQ::closeBrokenPort(QSerialPort::SerialPortError error)
{
    const bool gone =
        error == m_port->error() && (error == QSerialPort::ResourceError ||
                                     (error == QSerialPort::ReadError && hungUp(m_port->handle())));
    if (!gone || !m_port->isOpen())
        return;
    qCDebug(logLink) << "serial line lost" << m_port->errorString();
    close();
    emit lost();
}
