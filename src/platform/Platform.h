// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>

namespace platform {

/** The files of the network module. */
struct Paths
{
    QString package = QStringLiteral("/data/FW.fwm");
    QString netArchive = QStringLiteral("/data/sysupdate.tar.bz2");
    QString netVersion = QStringLiteral("/data/version");
    /** The marker of an install of the module's own firmware that has not ended. */
    QString netMarker = QStringLiteral("/data/sysupdate.marker");
    /** Where the commands unpack that firmware. */
    QString root = QStringLiteral("/");
    /** The folder of the keys whose packages are used. */
    QString keys = QStringLiteral("/etc/upgrade-agent/keys");
};

struct Ports
{
    quint16 console = 35353;
    /** The port of a device with its own network link. */
    quint16 device = 6752;
    QString serial = QStringLiteral("ttyS2");
    QString baudRate = QStringLiteral("57600");
};

/** How long a peer may keep the agent waiting. */
struct TimeOuts
{
    using ms = std::chrono::milliseconds;

    /** One command of the sequencer. */
    ms otherCommand{10'000};
    /** Enter F/W Update Mode. */
    ms uploadCommand{30'000};
    /** The acknowledgement of one image block; the last one is followed by the MCU's own check. */
    ms block{15'000};
    ms lastBlock{30'000};
    /** Any run without progress. */
    ms runGuard{60'000};
    /** A receiver of NET blocks that could not send its answer listens again after this time. */
    ms netGateReopen{10'000};
    /** A partly received NET block is discarded after this silence. */
    ms netAssembly{10'000};
    /** One console client at shutdown. */
    ms clientDisconnect{1'000};
    /** A console client that has closed its side and reads none of the remaining replies. */
    ms halfClosedClient{60'000};
    /** A command of an install that the agent's previous process left running. */
    ms leftCommand{1'800'000};
};

/** TCP keep-alive, which detects a console client that has vanished: probes are sent after a time
 *  without traffic, and the client is dropped when none is answered. */
struct KeepAlive
{
    std::chrono::seconds idle{60};
    std::chrono::seconds interval{10};
    int probes = 3;
};

/** Deliberate waits. */
struct Pauses
{
    using ms = std::chrono::milliseconds;

    /** Between an MCU's reply that it is in update mode and the first block. */
    ms beforeFirstBlock{200};
    /** After the acknowledgement of a block that was sent more than once: those of the other tries
     *  arrive in this time and are dropped. */
    ms afterRepeatedBlock{250};
    ms afterImage{1'000};
    /** After a quiet NET install, before the device is notified. */
    ms quietInstall{1'000'000};
    ms beforeModuleReboot{2'000};
    /** From the end of many clients to giving their memory back. */
    ms beforeGiveBack{1'000};
    /** While an archive is unpacked, from the end of one sync of the file system to the next. */
    ms betweenSyncs{200};
    /** Between two looks for a command that was left running. */
    ms leftCommandPoll{200};
};

/** Limits for what peers make the agent hold in memory. */
struct Limits
{
    /** What is fetched from one console client at a time, in bytes; more than the longest piece of
     *  a NET package. */
    qint64 consoleRead = qint64{256} * 1024;
    /** An unfinished console line, in characters. */
    int consoleLine = 1024 * 1024;
    /** The same of all clients together. */
    qint64 allConsoleLines = qint64{16} * 1024 * 1024;
    /** Replies that a console client does not read, in bytes. */
    qint64 unreadReplies = qint64{16} * 1024 * 1024;
    /** The same of all clients together. */
    qint64 allUnreadReplies = qint64{64} * 1024 * 1024;
    /** One image of a package, in bytes, which is in memory while it is written. */
    qint64 image = qint64{256} * 1024 * 1024;
    /** A text answer without a line end, in characters. */
    int deviceText = 64 * 1024;
    /** One MCU frame, in bytes. */
    int mcuFrame = 4096;
};

/** The module's command shell. */
struct Shell
{
    /** Runs a command line to its end and ignores its exit status. */
    std::function<void(const QString &command)> run;
    /** Runs a command line and returns the first characters it prints, at most `count`. */
    std::function<QByteArray(const QString &command, int count)> readFirst;

    /** The real shell, through system(3) and popen(3). */
    static Shell system();
};

/** What an install asks the operating system directly, without a command. */
struct OperatingSystem
{
    /** Writes everything of the file system that has this file or folder to the disk; false when
     *  that failed. Takes as long as the disk takes. */
    std::function<bool(const QString &path)> syncFileSystem;
    /** Whether the command line of any process ends with this argument. */
    std::function<bool(const QString &argument)> hasProcess;

    /** The real one, through syncfs(2) and proc(5). */
    static OperatingSystem real();
};

/**
 * Everything of the machine that the agent depends on. The defaults are the module's; tests pass in
 * shorter times, private paths and a recording shell.
 */
struct Platform
{
    Paths paths;
    Ports ports;
    TimeOuts timeOuts;
    KeepAlive keepAlive;
    Pauses pauses;
    Limits limits;
    Shell shell = Shell::system();
    OperatingSystem system = OperatingSystem::real();
};

} // namespace platform
