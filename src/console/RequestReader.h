// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/PackageTurns.h"
#include "platform/Platform.h"

namespace console {

class ConsoleClients;
class ConsoleReplies;
struct ConsoleRequest;

/**
 * Reads what clients send, and passes on each request, and each piece of a NET package, in order.
 * The replies to one read are sent together.
 */
class RequestReader
{
public:
    struct Receivers
    {
        /** Called with a request once its client is the target of replies. */
        std::function<void(const ConsoleRequest &request)> request;
        std::function<void(const ConsolePeer &peer, const QByteArray &payload)> fragment;
    };

    /** From this length on, an unfinished line counts towards the limit for all clients. */
    static constexpr int longLine = 8'192;

    RequestReader(const platform::Limits &limits, ConsoleClients &clients, ConsoleReplies &replies,
                  Receivers receivers);

    void read(const ClientPointer &client);
    /** The clients that wait because the package was read in this iteration. */
    PackageTurns &turns() { return m_turns; }

private:
    void serveLines(const ClientPointer &client);
    void limitLines();
    void handOn(const ClientPointer &client);

    ConsoleClients &m_clients;
    ConsoleReplies &m_replies;
    Receivers m_receivers;
    PackageTurns m_turns;
    /** The buffer for one read, shared by all clients. */
    QByteArray m_read;
};

} // namespace console
