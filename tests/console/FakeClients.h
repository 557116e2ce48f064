// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClients.h"

#include <QByteArrayList>
#include <QList>

#include <algorithm>
#include <deque>

/** A connection without a socket. */
class FakeConnection : public console::ClientConnection
{
public:
    enum class State { Connected, Closing, Closed };

    bool isConnected() const override { return state == State::Connected; }
    bool isClosed() const override { return state == State::Closed; }
    int fetch(QByteArray &buffer) override
    {
        const QByteArray bytes = incoming.isEmpty() ? QByteArray() : incoming.takeFirst();
        std::copy(bytes.begin(), bytes.end(), buffer.begin());
        return bytes.size();
    }
    void setReading(bool on) override { isRead = on; }
    void send(const QByteArray &bytes) override
    {
        // Detached from the sender's buffer.
        sent.append(QByteArray(bytes.constData(), bytes.size()));
        kept += takesBytes ? 0 : bytes.size();
    }
    qint64 unsent() const override { return kept; }
    void drop() override
    {
        state = State::Closed;
        kept = 0;
        ++drops;
    }
    void hangUp(std::chrono::milliseconds limit) override
    {
        state = State::Closed;
        hangUpLimit = limit;
    }
    void discard() override { ++discards; }

    State state = State::Connected;
    bool isRead = true;
    /** Whether the kernel accepts the sent bytes. */
    bool takesBytes = true;
    qint64 kept = 0;
    /** One entry for each read that fetches it. */
    QByteArrayList incoming;
    /** One entry for each call. */
    QByteArrayList sent;
    int drops = 0;
    int discards = 0;
    std::chrono::milliseconds hangUpLimit{-1};
};

/** Clients with such connections; the first one has port 1. */
struct FakeClients
{
    explicit FakeClients(int count)
    {
        for (int i = 0; i < count; ++i)
            add({QStringLiteral("10.0.0.1"), quint16(i + 1)});
    }

    void add(const console::ConsolePeer &peer)
    {
        connections.emplace_back();
        all.append(std::make_shared<console::ConsoleClient>(
            console::ConsoleClient{&connections.back(), peer, console::LineFramer(1024)}));
    }

    /** The next client is also one of the table. */
    void addTo(console::ConsoleClients &table)
    {
        connections.emplace_back();
        all.append(table.add(connections.back(),
                             {QStringLiteral("10.0.0.1"), quint16(connections.size())}));
    }

    FakeConnection &connection(int index) { return connections.at(size_t(index)); }

    /** What was sent to each client, with " + " between two calls. */
    QStringList sent() const
    {
        QStringList texts;
        for (const FakeConnection &connection : connections)
            texts.append(QString::fromLatin1(connection.sent.join(" + ")));
        return texts;
    }

    std::deque<FakeConnection> connections;
    QVector<console::ClientPointer> all;
};
