// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/Fault.h"

#include <QHostAddress>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

/** The command line of device-simulator. */
struct Options
{
    /** Exactly one of these two says what to play. */
    QString devicePath;
    QString replayPath;
    /** Exactly one of these three says where the host is. */
    QString ptyLink;
    std::optional<int> fd;
    std::optional<QHostAddress> listenAddress;
    quint16 listenPort = 0;
    /** 0 means unpaced. */
    int baudRate = 0;
    quint32 seed = 1;
    QVector<Fault> faults;
    QString tracePath;
    QString controlPath;
    QString saveFlashPath;
    bool printFrames = false;

    /** What was asked for instead of a run, and the text that answers it. */
    struct Other
    {
        int exitStatus = 0;
        QString text;
    };

    /** Reads the arguments; nothing is returned when `other` tells what to print instead. */
    static std::optional<Options> parse(const QStringList &arguments, Other *other);
};
