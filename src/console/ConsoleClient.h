// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/LineFramer.h"

#include <QString>

class QTcpSocket;

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

/** One accepted connection. */
struct ConsoleClient
{
    /** Owned by the listening server. */
    QTcpSocket *socket = nullptr;
    ConsolePeer peer;
    LineFramer framer{0};
};
