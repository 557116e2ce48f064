// SPDX-License-Identifier: Apache-2.0
#include "device-check/LinkChannel.h"

#include <QEventLoop>
#include <QSerialPort>
#include <QTcpSocket>
#include <QTimer>

#include <utility>

#include <poll.h>

using devicecheck::milliseconds;

namespace {

constexpr milliseconds connectTime{10'000};

bool isReadable(int descriptor)
{
    pollfd state{descriptor, POLLIN, 0};
    return ::poll(&state, 1, 0) > 0;
}

} // namespace

LinkChannel::LinkChannel(int endSignals) : m_endSignal(endSignals, QSocketNotifier::Read)
{
    m_clock.start();
    connect(&m_endSignal, &QSocketNotifier::activated, this, [this] {
        m_endSignal.setEnabled(false);
        m_isInterrupted = true;
        emit changed();
    });
}

LinkChannel::~LinkChannel()
{
    if (m_line)
        m_line->disconnect(this);
}

QString LinkChannel::openSerialPort(const QString &path, int baudRate)
{
    auto port = std::make_unique<QSerialPort>(path);
    if (!port->open(QIODevice::ReadWrite))
        return port->errorString();
    const bool isSet = port->setBaudRate(baudRate) && port->setDataBits(QSerialPort::Data8) &&
                       port->setParity(QSerialPort::NoParity) &&
                       port->setStopBits(QSerialPort::OneStop) &&
                       port->setFlowControl(QSerialPort::NoFlowControl);
    if (!isSet)
        return QStringLiteral("%1 baud: %2").arg(baudRate).arg(port->errorString());
    connect(port.get(), &QSerialPort::errorOccurred, this,
            [this](QSerialPort::SerialPortError error) {
                if (error != QSerialPort::NoError && error != QSerialPort::TimeoutError)
                    onLost();
            });
    m_line = std::move(port);
    watch();
    return {};
}

QString LinkChannel::connectTo(const QString &host, quint16 port)
{
    auto socket = std::make_unique<QTcpSocket>();
    QEventLoop loop;
    connect(socket.get(), &QTcpSocket::stateChanged, &loop, &QEventLoop::quit);
    connect(this, &LinkChannel::changed, &loop, &QEventLoop::quit);
    QTimer::singleShot(connectTime, &loop, &QEventLoop::quit);
    const milliseconds end = now() + connectTime;
    socket->connectToHost(host, port);
    while (socket->state() != QAbstractSocket::ConnectedState &&
           socket->state() != QAbstractSocket::UnconnectedState && now() < end && !m_isInterrupted)
        loop.exec();
    if (socket->state() != QAbstractSocket::ConnectedState)
        return socket->state() == QAbstractSocket::UnconnectedState
                   ? socket->errorString()
                   : QStringLiteral("no answer within %1 s").arg(connectTime.count() / 1000);
    socket->disconnect(&loop);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket.get(), &QTcpSocket::disconnected, this, &LinkChannel::onLost);
    m_line = std::move(socket);
    watch();
    return {};
}

void LinkChannel::watch()
{
    connect(m_line.get(), &QIODevice::readyRead, this, &LinkChannel::onReadable);
}

void LinkChannel::onReadable()
{
    m_received += m_line->readAll();
    emit changed();
}

void LinkChannel::onLost()
{
    m_received += m_line->readAll();
    m_isLost = true;
    emit changed();
}

milliseconds LinkChannel::now() const
{
    return milliseconds(m_clock.elapsed());
}

void LinkChannel::send(const QByteArray &bytes)
{
    if (!m_isLost)
        m_line->write(bytes);
}

LinkChannel::Event LinkChannel::wait(milliseconds longest, QByteArray &bytes)
{
    QEventLoop loop;
    QTimer limit;
    limit.setTimerType(Qt::PreciseTimer);
    limit.setSingleShot(true);
    connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(this, &LinkChannel::changed, &loop, &QEventLoop::quit);
    if (m_received.isEmpty() && !m_isLost && !m_isInterrupted) {
        limit.start(longest);
        loop.exec();
    }
    // A program that both belong to may have ended the device with the same signal.
    if (m_isInterrupted || isReadable(int(m_endSignal.socket()))) {
        m_isInterrupted = true;
        return Event::Interrupted;
    }
    bytes = std::exchange(m_received, {});
    if (!bytes.isEmpty())
        return Event::Bytes;
    return m_isLost ? Event::Lost : Event::Quiet;
}
