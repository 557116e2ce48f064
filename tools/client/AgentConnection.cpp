// SPDX-License-Identifier: Apache-2.0
#include "client/AgentConnection.h"

#include "protocol/ConsoleTexts.h"

#include <algorithm>

namespace consoletext = protocol::consoletext;

namespace client {

namespace {

using namespace std::chrono_literals;

constexpr auto longestConnect = 10s;
constexpr int pulsesPerTimeOut = 4;
/** The size of one read; the parser's memory depends on it. */
constexpr qint64 readBuffer = 256LL * 1024;

bool isHeartbeat(QByteArray line)
{
    return line.replace(' ', "").contains(bytesOf(consoletext::heartbeat)) &&
           !line.contains(bytesOf(consoletext::parseEdid));
}

} // namespace

AgentConnection::AgentConnection(const QString &host, quint16 port, ms timeOut, QObject *parent)
    : QObject(parent), m_host(host), m_port(port), m_timeOut(timeOut)
{
    m_socket.setReadBufferSize(readBuffer);
    m_connectTimer.setSingleShot(true);
    m_connectTimer.setInterval(std::min<ms>(timeOut, longestConnect));
    m_pulse.setTimerType(Qt::PreciseTimer);

    connect(&m_socket, &QTcpSocket::connected, this, &AgentConnection::onConnected);
    connect(&m_socket, &QTcpSocket::readyRead, this, &AgentConnection::onReadyRead);
    connect(&m_socket, &QTcpSocket::stateChanged, this, [this](QAbstractSocket::SocketState state) {
        if (state == QAbstractSocket::UnconnectedState)
            onEnded();
    });
    connect(&m_connectTimer, &QTimer::timeout, this,
            [this] { giveUpConnecting(QStringLiteral("no answer")); });
    connect(&m_pulse, &QTimer::timeout, this, &AgentConnection::onPulse);
}

void AgentConnection::open()
{
    m_connectTimer.start();
    m_socket.connectToHost(m_host, m_port);
}

void AgentConnection::close()
{
    m_isLost = true;
    m_pulse.stop();
    m_connectTimer.stop();
    m_socket.abort();
}

void AgentConnection::request(const QByteArray &line)
{
    if (isHeartbeat(line))
        m_heartbeats.enqueue(false);
    m_socket.write(line + bytesOf(consoletext::lineEnd));
    m_socket.flush();
}

void AgentConnection::sendFragment(const QByteArray &payload)
{
    m_socket.write(bytesOf(consoletext::fragmentKey) + payload + bytesOf(consoletext::fragmentEnd));
    m_socket.flush();
}

void AgentConnection::watchLife(bool on, ms silence)
{
    if (!on) {
        m_pulse.stop();
        return;
    }
    m_sinceLastByte.start();
    m_pulse.start(std::clamp<ms>(m_timeOut / pulsesPerTimeOut, 1ms, silence));
}

void AgentConnection::onConnected()
{
    m_connectTimer.stop();
    m_wasOpen = true;
    // A fragment must not be cut, and a request must not wait for one before it.
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    emit connected();
}

void AgentConnection::onReadyRead()
{
    m_sinceLastByte.start();
    if (m_pulse.isActive())
        m_pulse.start(); // from the last byte on
    while (!m_isLost && m_socket.bytesAvailable() > 0) {
        const auto replies = m_parser.feed(m_socket.readAll());
        for (const AgentReply &reply : replies)
            hand(reply);
    }
}

void AgentConnection::hand(const AgentReply &reply)
{
    if (m_isLost)
        return;
    const bool isOurs = reply.kind == AgentReply::Kind::Heartbeat && !m_heartbeats.isEmpty() &&
                        m_heartbeats.dequeue();
    if (isOurs)
        emit pulseAnswered();
    else
        emit received(reply);
}

void AgentConnection::onEnded()
{
    // What arrived before the end counts.
    if (m_wasOpen)
        onReadyRead();
    if (m_wasOpen)
        giveUp(ProblemId::ConnectionLost, m_socket.errorString());
    else
        giveUpConnecting(m_socket.errorString());
}

void AgentConnection::giveUpConnecting(const QString &reason)
{
    giveUp(ProblemId::CannotConnect,
           QStringLiteral("%1, port %2: %3").arg(m_host, QString::number(m_port), reason));
}

void AgentConnection::onPulse()
{
    if (m_sinceLastByte.hasExpired(m_timeOut.count())) {
        giveUp(ProblemId::NoSignOfLife,
               QStringLiteral("nothing for %1 s").arg(double(m_timeOut.count()) / 1000.0));
        return;
    }
    m_heartbeats.enqueue(true);
    m_socket.write(bytesOf(consoletext::heartbeat) + bytesOf(consoletext::lineEnd));
    m_socket.flush();
}

void AgentConnection::giveUp(ProblemId cause, const QString &detail)
{
    if (m_isLost)
        return;
    close();
    emit lost(cause, detail);
}

} // namespace client
