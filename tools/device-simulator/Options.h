// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandLine.h"
#include "device-simulator/Fault.h"

#include <QHostAddress>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

/** The options of device-simulator. */
struct Options
{
    /** Exactly one of these two is set: the source of the answers. */
    QString devicePath;
    QString replayPath;
    /** Exactly one of these three is set: the connection to the host. */
    QString ptyLink;
    std::optional<int> fd;
    std::optional<QHostAddress> listenAddress;
    quint16 listenPort = 0;
    /** 0 means without delays. */
    int baudRate = 0;
    quint32 seed = 1;
    QVector<Fault> faults;
    QString tracePath;
    QString controlPath;
    QString saveFlashPath;
    bool printFrames = false;
};

/** The command line of device-simulator. */
class OptionReader
{
public:
    OptionReader();

    /** As CommandLine::read(); options() is valid if it returns nothing. */
    std::optional<CommandOutcome> read(const QStringList &arguments);
    const Options &options() const { return m_options; }
    const CommandLine &line() const { return m_line; }

private:
    QStringList values(const char *name) const;
    /** If an option is given twice, the last one counts. */
    QString value(const char *name) const
    {
        const QStringList all = values(name);
        return all.isEmpty() ? QString() : all.last();
    }
    bool isSet(const char *name) const { return !values(name).isEmpty(); }
    QString wrongValue(const char *name) const;
    QString readNumbers();
    QString readFaults();
    QString wrongCombination() const;

    CommandLine m_line;
    Options m_options;
};
