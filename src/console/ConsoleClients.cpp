// SPDX-License-Identifier: Apache-2.0
// The clients of the console: coming, going, reading and writing.
#include "console/ConsoleListener.h"
#include "console/ConsoleRequest.h"
#include "console/ConsoleSocket.h"
#include "console/TCPServer.h"
#include "netupgrade/NetModelUpgrade.h"
#include "platform/Log.h"
#include "protocol/ConsoleTexts.h"

#include <algorithm>
#include <utility>

namespace {

/** Replies of one read leave together until they are this many bytes. */
constexpr int collectedReplies = 65'536;

/** An unfinished line of so many characters may be a part of too many. */
constexpr int longLine = 8'192;

/** What a dual-stack socket puts before the address of an IPv4 client. */
const QLatin1String mappedPrefix("::ffff:");

ConsolePeer peerOf(const QTcpSocket &socket)
{
    QString address = socket.peerAddress().toString();
    const int mapped = address.lastIndexOf(mappedPrefix);
    if (mapped >= 0)
        address.remove(0, mapped + mappedPrefix.size());
    return {address, socket.peerPort()};
}

/** Not so once it has closed its side, or has been dropped: then what it still asks for is not
 *  answered. */
bool isConnected(const ConsoleSocket *socket)
{
    return socket != nullptr && socket->state() == QAbstractSocket::ConnectedState;
}

bool isFragment(const QByteArray &bytes)
{
    return bytes.startsWith(consoletext::fragmentKey.data()) &&
           bytes.endsWith(consoletext::fragmentEnd.data());
}

} // namespace

void TCPServer::NewConnectionSlot()
{
    qCDebug(logConsole) << "NewConnectionSlot";
    ConsoleSocket *socket = m_server->nextPendingConnection();
    if (socket == nullptr)
        return;
    // A reply that waited for the acknowledgement of the last one would cost 40 ms.
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (!socket->keepAlive(m_platform.keepAlive))
        qCDebug(logConsole) << "cannot set keep-alive:" << qt_error_string();
    socket->limitClosing(m_platform.timeOuts.halfClosedClient);
    const auto client = std::make_shared<ConsoleClient>(
        ConsoleClient{socket, peerOf(*socket), LineFramer(m_platform.limits.consoleLine)});
    m_clients.append(client);
    // sender() would look through the connections of all clients.
    connect(socket, &QTcpSocket::readyRead, this, [this, client] {
        m_signalling = client;
        ReadData();
    });
    connect(socket, SIGNAL(disconnected()), this, SLOT(disconnectedSlot()));
    limitClients();
    emit m_events.clientCame(client->peer, m_clients.size());
}

/** The client that moves into the place of a removed one is looked at by the next disconnect. */
void TCPServer::disconnectedSlot()
{
    qCDebug(logConsole) << "disconnectedSlot";
    for (int i = 0; i < m_clients.size(); ++i) {
        ConsoleSocket *socket = m_clients.at(i)->socket;
        if (socket->state() != QAbstractSocket::UnconnectedState)
            continue;
        if (m_clients.at(i)->framer.size() > longLine || m_clients.at(i)->isSlow)
            m_giveBack.start();
        emit socket->destroyed(socket);
        const auto client = m_clients.takeAt(i);
        client->socket = nullptr;
        client->framer.drop();
        socket->deleteLater();
        emit m_events.clientLeft(client->peer, m_clients.size());
    }
    limitClients();
}

/**
 * Serves every client that has sent something, in the order of their coming. The event loop signals
 * them in that order, each by itself; looking at all of them would make the cost of a request grow
 * with the number of clients.
 */
void TCPServer::ReadData()
{
    if (const auto client = std::exchange(m_signalling, nullptr)) {
        readFrom(client);
        return;
    }
    // The list may change on the way.
    for (int i = 0; i < m_clients.size(); ++i) // NOLINT(modernize-loop-convert)
        readFrom(std::shared_ptr<ConsoleClient>(m_clients.at(i)));
}

/** What a client sends while it waits is read when it does not any more: each read keeps its place,
 *  and what it is, a piece of a NET package or lines, is decided then. */
void TCPServer::readFrom(const std::shared_ptr<ConsoleClient> &client)
{
    if (client->socket == nullptr || client->isWaiting)
        return;
    const int count = client->socket->fetch(m_read);
    if (count == 0)
        return;
    const auto bytes = QByteArray::fromRawData(m_read.constData(), count);
    if (isFragment(bytes)) {
        m_collectReplies = true;
        takeFragment(client->peer, bytes.mid(consoletext::fragmentKey.size(),
                                             bytes.size() - consoletext::fragmentKey.size() -
                                                 consoletext::fragmentEnd.size()));
        m_collectReplies = false;
        sendReplies();
        return;
    }
    // With the size given, since a byte of zero would end the text otherwise.
    client->framer.feed(QString::fromUtf8(bytes.constData(), bytes.size()));
    serveLines(client);
}

void TCPServer::serveLines(const std::shared_ptr<ConsoleClient> &client)
{
    const int sizeBefore = client->framer.size();
    m_collectReplies = true;
    workOff(client);
    if (client->framer.takeOverflow())
        writeTo(client->socket, consoletext::unknown.data());
    if (std::max(sizeBefore, client->framer.size()) > longLine)
        limitLines();
    m_collectReplies = false;
    sendReplies();
}

/** Answers one line after the other, up to one that has to wait for the next turn of the loop. */
void TCPServer::workOff(const std::shared_ptr<ConsoleClient> &client)
{
    bool hasRead = false;
    while (const QString *const line = client->framer.next()) {
        const ConsoleRequest request = ConsoleRequest::fromLine(*line);
        if (hasRead || (request.readsPackage() && m_turns.isTaken())) {
            m_turns.wait(client);
            return;
        }
        qCDebug(logConsole) << "parseData:" << *line;
        client->framer.take();
        m_replyTarget = client;
        dispatch(request);
        hasRead = request.readsPackage() && m_turns.isTaken();
        if (!isConnected(client->socket))
            client->framer.drop();
    }
}

void TCPServer::takeFragment(const ConsolePeer &peer, const QByteArray &payload)
{
    if (payload.contains(consoletext::rebootDone.data())) {
        qCDebug(logConsole) << "UpgradeModel Receive Data from Uart to UpgradeModel::" << payload;
        m_netUpgrade->noticeUpgradingFalse();
        return;
    }
    m_fragmentPeer = peer;
    emit signalReceiveData(payload);
}

void TCPServer::reply(const QString &text)
{
    write(text.toLatin1());
}

void TCPServer::reply(QLatin1String text)
{
    write(QByteArray::fromRawData(text.data(), text.size()));
}

/** Writes to the reply target, if there still is one. */
void TCPServer::write(const QByteArray &bytes)
{
    writeTo(replySocket(), bytes);
}

void TCPServer::writeTo(ConsoleSocket *socket, const QByteArray &bytes)
{
    if (!isConnected(socket))
        return;
    if (m_unsentTo != socket)
        sendReplies();
    m_unsentTo = socket;
    m_unsent += bytes;
    if (!m_collectReplies || m_unsent.size() > collectedReplies)
        sendReplies();
}

ConsoleSocket *TCPServer::replySocket() const
{
    if (isConnected(m_replyTarget->socket))
        return m_replyTarget->socket;
    for (const auto &client : m_clients) {
        if (client->peer == m_replyTarget->peer && isConnected(client->socket))
            return client->socket;
    }
    return nullptr;
}

void TCPServer::sendReplies()
{
    ConsoleSocket *const socket = std::exchange(m_unsentTo, nullptr);
    if (socket == nullptr)
        return;
    socket->send(m_unsent);
    m_unsent.resize(0);
    if (socket->bytesToWrite() > 0)
        limitReplies();
}
