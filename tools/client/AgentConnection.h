// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentReply.h"
#include "client/ReplyParser.h"
#include "common/Problems.h"

#include <QElapsedTimer>
#include <QObject>
#include <QQueue>
#include <QTcpSocket>
#include <QTimer>

#include <chrono>

namespace client {

/** A word of the console protocol, as a request sends it. */
inline QByteArray bytesOf(QLatin1String word)
{
    return {word.data(), word.size()};
}

/**
 * One connection to the agent: requests out, replies in. Says within `timeOut` that it cannot be
 * made, and, while it is watched, that the peer shows no sign of life.
 *
 * It is made once: open(), then connected() and received() for each reply, and at the end lost(),
 * unless close() came before. For a next connection make a next object. It lives in the thread of
 * an event loop.
 */
class AgentConnection : public QObject
{
    Q_OBJECT

public:
    using ms = std::chrono::milliseconds;

    /** `host` is a name or an address of IPv4 or IPv6. */
    AgentConnection(const QString &host, quint16 port, ms timeOut, QObject *parent = nullptr);
    /** Without a signal: those who listen may be half destroyed. */
    ~AgentConnection() override { close(); }

    /** Returns at once; connected() or lost() follows, the latter possibly before the return. */
    void open();
    /** Ends the connection without a signal. */
    void close();
    bool isOpen() const { return m_socket.state() == QAbstractSocket::ConnectedState; }

    /** One request line, without its end; see docs/reference/console-protocol.md for all of them.
     * Replies to requests of one connection come in the order of the requests. */
    void request(const QByteArray &line);
    /** One frame of NetBlocks, in one write: the agent takes a piece only whole. */
    void sendFragment(const QByteArray &payload);

    /**
     * While on, silence is answered with heartbeats, which also keep the agent's replies coming
     * here, and silence for the whole time-out ends the connection. The answers to these
     * heartbeats are not handed on. A heartbeat follows after `silence`, or after a quarter of the
     * time-out where that is shorter.
     */
    void watchLife(bool on, ms silence = std::chrono::seconds(10));

    /** Heartbeats that are not answered yet. */
    int heartbeatsInFlight() const { return m_heartbeats.size(); }

    ms timeOut() const { return m_timeOut; }

signals:
    void connected();
    void received(const AgentReply &reply);
    /** A heartbeat of watchLife() was answered: from now on the agent's lines come here. */
    void pulseAnswered();
    /** CannotConnect, ConnectionLost or NoSignOfLife; nothing comes after it. */
    void lost(ProblemId cause, const QString &detail);

private:
    void onConnected();
    void onReadyRead();
    void onEnded();
    void onPulse();
    void hand(const AgentReply &reply);
    void giveUp(ProblemId cause, const QString &detail);
    void giveUpConnecting(const QString &reason);

    const QString m_host;
    const quint16 m_port;
    const ms m_timeOut;
    QTcpSocket m_socket;
    ReplyParser m_parser;
    QElapsedTimer m_sinceLastByte;
    QTimer m_connectTimer;
    QTimer m_pulse;
    /** For each heartbeat in flight: it was sent by pulse(). */
    QQueue<bool> m_heartbeats;
    bool m_wasOpen = false;
    bool m_isLost = false;
};

} // namespace client
