// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/LineFramer.h"

#include <QString>

class ConsoleSocket;

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

/** One accepted connection. */
struct ConsoleClient
{
    /** Owned by the listening server. */
    ConsoleSocket *socket = nullptr;
    ConsolePeer peer;
    LineFramer framer{0};
    /** Replies had to wait in memory until it took them. */
    bool isSlow = false;
    /** Its next request has to wait for a turn of the event loop, and its socket is not read. */
    bool isWaiting = false;
};
