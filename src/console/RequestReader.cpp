// SPDX-License-Identifier: Apache-2.0
#include "console/RequestReader.h"

#include "console/ConsoleClients.h"
#include "console/ConsoleReplies.h"
#include "console/ConsoleRequest.h"
#include "platform/Log.h"
#include "protocol/ConsoleTexts.h"

#include <algorithm>
#include <utility>

using platform::Limits;
using platform::logConsole;

namespace consoletext = protocol::consoletext;

namespace console {

namespace {

bool isFragment(const QByteArray &bytes)
{
    return bytes.startsWith(consoletext::fragmentKey.data()) &&
           bytes.endsWith(consoletext::fragmentEnd.data());
}

QByteArray payloadOf(const QByteArray &fragment)
{
    const int key = consoletext::fragmentKey.size();
    return fragment.mid(key, fragment.size() - key - consoletext::fragmentEnd.size());
}

} // namespace

RequestReader::RequestReader(const Limits &limits, ConsoleClients &clients, ConsoleReplies &replies,
                             Receivers receivers)
    : m_clients(clients),
      m_replies(replies),
      m_receivers(std::move(receivers)),
      m_turns([this](const ClientPointer &client) { serveLines(client); }),
      m_read(int(limits.consoleRead), Qt::Uninitialized)
{
}

/** What a client sends while it waits is read afterwards, in order. Whether it is a piece of a NET
 *  package or lines is decided then. */
void RequestReader::read(const ClientPointer &client)
{
    if (client->connection == nullptr || client->isWaiting)
        return;
    const int count = client->connection->fetch(m_read);
    if (count == 0)
        return;
    const auto bytes = QByteArray::fromRawData(m_read.constData(), count);
    if (isFragment(bytes)) {
        m_replies.collect([&] { m_receivers.fragment(client->peer, payloadOf(bytes)); });
        return;
    }
    // With the size, since a zero byte would end the text otherwise.
    client->framer.feed(QString::fromUtf8(bytes.constData(), bytes.size()));
    serveLines(client);
}

void RequestReader::serveLines(const ClientPointer &client)
{
    const int sizeBefore = client->framer.size();
    m_replies.collect([&] {
        handOn(client);
        if (client->framer.takeOverflow())
            m_replies.sendTo(*client, consoletext::unknown.data());
        if (std::max(sizeBefore, client->framer.size()) > longLine)
            limitLines();
    });
}

/** The client that loses its lines gets the reply to a line that is too long, but does not become
 *  the target of other replies. */
void RequestReader::limitLines()
{
    const ClientPointer longest = m_clients.beyondLineLimit();
    if (!longest)
        return;
    longest->framer.drop();
    m_replies.sendTo(*longest, consoletext::unknown.data());
}

/** Handles lines until one has to wait for the event loop. */
void RequestReader::handOn(const ClientPointer &client)
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
        m_replies.setTarget(client);
        m_receivers.request(request);
        hasRead = request.readsPackage() && m_turns.isTaken();
        if (!client->isConnected())
            client->framer.drop();
    }
}

} // namespace console
