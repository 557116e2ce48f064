// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/PackageTurns.h"
#include "platform/Platform.h"

namespace console {

class ConsoleClients;
class ConsoleReplies;
struct ConsoleRequest;

/**
 * Reads what clients send, and hands on each request, and each piece of a NET package, in the order
 * in which they came. The replies to what one read has brought leave together.
 */
class RequestReader
{
public:
    struct Receivers
    {
        /** Gets a request when its client is the target of replies. */
        std::function<void(const ConsoleRequest &request)> request;
        std::function<void(const ConsolePeer &peer, const QByteArray &payload)> fragment;
    };

    /** An unfinished line of so many characters may be a part of too many. */
    static constexpr int longLine = 8'192;

    RequestReader(const Limits &limits, ConsoleClients &clients, ConsoleReplies &replies,
                  Receivers receivers);

    void read(const ClientPointer &client);
    /** Which requests have to wait because the package has been read in this turn. */
    PackageTurns &turns() { return m_turns; }

private:
    void serveLines(const ClientPointer &client);
    void limitLines();
    void handOn(const ClientPointer &client);

    ConsoleClients &m_clients;
    ConsoleReplies &m_replies;
    Receivers m_receivers;
    PackageTurns m_turns;
    /** Takes one read, of whichever client. */
    QByteArray m_read;
};

} // namespace console
