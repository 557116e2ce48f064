// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandLine.h"
#include "device-check/Facts.h"

#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

/** Which device to check, and how. */
struct Options
{
    /** Only the list of points is wanted. */
    bool listsPoints = false;
    /** Otherwise exactly one of these three says where the device is. */
    QString serialPort;
    QString host;
    QString simulatedDevice;
    int baudRate = 57'600;
    quint16 tcpPort = 6752;
    /** Chips that the main MCU's record does not name. */
    QVector<devicecheck::Chip> chips;
    /** Empty for checks that only read. */
    QString imagePath;
    std::optional<devicecheck::Chip> target;
    QByteArray imageVersion;
    bool isConfirmed = false;
    /** The control socket of the simulator that is the device; empty for none. */
    QString controlSocket;
    QString htmlPath;
    bool showsFrames = false;
};

/** The command line of device-check. */
class OptionReader
{
public:
    OptionReader();

    /** As CommandLine::read(); without an answer there are options. */
    std::optional<CommandOutcome> read(const QStringList &arguments);
    const Options &options() const { return m_options; }
    const CommandLine &line() const { return m_line; }

private:
    QStringList values(const char *name) const;
    QString value(const char *name) const;
    bool isSet(const char *name) const { return !values(name).isEmpty(); }

    // What is wrong, or empty.
    QString readWhere();
    QString readChips();
    QString readVersion();
    QString wrongCombination() const;

    CommandLine m_line;
    Options m_options;
};
