// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentReply.h"
#include "common/Problems.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace client {

/** What a line of the agent's log says about the run. */
enum class LineEvent {
    /** Changes nothing; a view may show it. */
    Note,
    RunStarted,
    /** Ends the run, or belongs to its end; the cause says why. */
    RunProblem,
    /** value 0: the mode. */
    ModeSet,
    Busy,

    // The value 0 of all these is an MCU's name.
    /** The first command of an MCU's turn to be read. */
    ReadBegun,
    Reading,
    /** values 1 to 3: the version that the MCU runs; the last one may be missing. */
    VersionRead,
    /** The read is repeated. */
    ReadRetry,
    /** The MCU was given up; the cause says why. */
    McuProblem,
    EnterSent,
    Entered,
    /** value 1: the number of the retry. */
    WriteRetry,
    WriteFailed,
    Written,

    /** values: three numbers of the package, the name, three numbers of the MCU. */
    WillUpgrade,
    SameVersion,
    PackageOlder,
    /** value 0: the name. */
    NoFirmware,
    /** The agent cannot read the row that it is at; the cause says why. Has no name. */
    RowRefused,

    // About the MCU at work.
    Erasing,
    Writing,
    /** value 0: the number of the retry. */
    BlockRetry,
    MainRestarting,
    MainBack,
    MainLost,

    Rebooting,
    /** The device has taken the command. */
    RebootBegun,
    SettingVersion,

    NetStarted,
    /** value 0: the version. */
    NetInstalled,
    NetFailed,
    /** value 0: percent of the install. */
    NetPercent,
    /** The module reboots. */
    NetReboot,

    /** No line that the agent is known to send. */
    Unknown,
};

struct MessageRow
{
    /** A word for programs, which never changes: "bad-chip". */
    const char *id;
    /** As the agent has it, with %1, %2 ... in the places of the values; the console server's own
     *  with their key and line end. */
    const char *text;
    LineEvent event;
    ProblemId cause;
    /** What to do; null where that is the cause's advice. See adviceOf(). */
    const char *advice;
};

/** Every line that the agent can send after "UPGRADELOG||". */
const std::vector<MessageRow> &messageTable();

struct LineMeaning
{
    /** Of the row; empty for a line that the agent is not known to send. */
    QString id;
    LineEvent event = LineEvent::Unknown;
    ProblemId cause = ProblemId::None;
    QStringList values;
};

/** What a line means, by the first row of the table that it fits; `line` is the text of a reply of
 *  the kind Log. */
LineMeaning meaningOf(const QString &line);

/** What a reply says about a run; Unknown for one that is not a line of its log. */
LineEvent eventOf(const AgentReply &reply);

/** What to do about a line: its cause's advice where it has one, otherwise its own. */
QString adviceOf(const MessageRow &row);

/** The text of a row as a line: without the key of the log and the line end. */
QString lineOf(const MessageRow &row);

} // namespace client
