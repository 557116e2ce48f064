// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/LineFramer.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <memory>

namespace console {

/** Where a client is, as replies are addressed to it. */
struct ConsolePeer
{
    /** As text; an IPv4 client by its dotted address. */
    QString address;
    quint16 port = 0;

    bool operator==(const ConsolePeer &other) const
    {
        return port == other.port && address == other.address;
    }
};

/** A run that a client has asked for and got. */
struct RunRequest
{
    enum class Kind {
        /** Of a device on the serial line. */
        Serial,
        /** Of a device with a network link. */
        Network,
        /** Of the module itself, sent block by block. */
        NetBlocks,
    };

    Kind kind = Kind::Serial;
    ConsolePeer by;
    /** The serial port or the device's address. */
    QString link;
    int mode = 0;
    int rows = 0;
};

/** A client's connection, as the parts of the console use it. */
class ClientConnection
{
public:
    virtual ~ClientConnection() = default;

    /** False once the client has closed its side or has been dropped: what it still asks for is not
     *  answered. */
    virtual bool isConnected() const = 0;
    /** Nothing can be sent or received any more. */
    virtual bool isClosed() const = 0;

    /** Fetches what has come, at most as much as the buffer holds, and returns the number of bytes.
     *  At the connection's end there are none, and it is closed as soon as what is still to be sent
     *  has gone. */
    virtual int fetch(QByteArray &buffer) = 0;
    /** While it is off, bytes stay with the kernel, which stops the sender once it has enough. */
    virtual void setReading(bool reading) = 0;

    /** Hands the kernel what it takes at once, which is nearly always everything, and keeps the
     *  rest until it takes that, too. */
    virtual void send(const QByteArray &bytes) = 0;
    /** Bytes that are kept because the kernel has not taken them. */
    virtual qint64 unsent() const = 0;

    /** Ends the connection at once; what is unsent is lost. */
    virtual void drop() = 0;
    /** Ends the connection and waits so long for what is unsent. Reports nothing more. */
    virtual void hangUp(std::chrono::milliseconds limit) = 0;
    /** Deletes the connection when the event loop turns. */
    virtual void discard() = 0;
};

/** One accepted client. */
struct ConsoleClient
{
    /** Null once the client has left. */
    ClientConnection *connection = nullptr;
    ConsolePeer peer;
    LineFramer framer{0};
    /** Replies had to wait in memory until it took them. */
    bool isSlow = false;
    /** Its next request has to wait for a turn of the event loop, and its socket is not read. */
    bool isWaiting = false;

    bool isConnected() const { return connection != nullptr && connection->isConnected(); }
};

using ClientPointer = std::shared_ptr<ConsoleClient>;

/** What some amount adds up to over all clients, and the client that has most of it. */
struct ClientLoad
{
    qint64 all = 0;
    qint64 most = 0;
    /** The first of those with most; null when no client has any. */
    ClientPointer largest;

    void add(const ClientPointer &client, qint64 amount)
    {
        all += amount;
        if (amount <= most)
            return;
        most = amount;
        largest = client;
    }
};

} // namespace console
