// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/LineFramer.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <memory>

namespace console {

/** A client's address and port. */
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

/** An accepted request for a run. */
struct RunRequest
{
    enum class Kind {
        /** For a device on the serial line. */
        Serial,
        /** For a device with a network link. */
        Network,
        /** For the module itself, sent block by block. */
        NetBlocks,
    };

    Kind kind = Kind::Serial;
    ConsolePeer by;
    /** The serial port or the device's address. */
    QString link;
    int mode = 0;
    int rows = 0;
};

/** A client's connection. */
class ClientConnection
{
public:
    virtual ~ClientConnection() = default;

    /** False once the client has closed its side or was dropped: its remaining requests are not
     *  answered. */
    virtual bool isConnected() const = 0;
    /** Nothing can be sent or received any more. */
    virtual bool isClosed() const = 0;

    /** Reads what has arrived, at most the buffer's size, and returns the number of bytes. At the
     *  end of the connection there are none, and it is closed once all replies were sent. */
    virtual int fetch(QByteArray &buffer) = 0;
    /** While reading is off, bytes stay in the kernel's buffer, and TCP flow control stops the
     *  sender. */
    virtual void setReading(bool reading) = 0;

    /** Sends what the kernel accepts at once, which is nearly always everything, and keeps the rest
     *  until the kernel accepts it. */
    virtual void send(const QByteArray &bytes) = 0;
    /** Bytes that the kernel has not accepted yet. */
    virtual qint64 unsent() const = 0;

    /** Ends the connection at once; unsent bytes are lost. */
    virtual void drop() = 0;
    /** Ends the connection; waits up to `limit` for unsent bytes. Emits no more signals. */
    virtual void hangUp(std::chrono::milliseconds limit) = 0;
    /** Deletes the connection from the event loop. */
    virtual void discard() = 0;
};

/** One accepted client. */
struct ConsoleClient
{
    /** Null once the client has left. */
    ClientConnection *connection = nullptr;
    ConsolePeer peer;
    LineFramer framer{0};
    /** Replies had to be buffered because it did not read them. */
    bool isSlow = false;
    /** Its next request waits for the event loop, and its socket is not read. */
    bool isWaiting = false;

    bool isConnected() const { return connection != nullptr && connection->isConnected(); }
};

using ClientPointer = std::shared_ptr<ConsoleClient>;

/** The sum of an amount over all clients, and the client with most of it. */
struct ClientLoad
{
    qint64 all = 0;
    qint64 most = 0;
    /** The first client with most; null when no client has any. */
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
