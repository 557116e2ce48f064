// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentReply.h"
#include "common/Problems.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace client {

/** The meaning of a line of the agent's log for the run. */
enum class LineEvent {
    /** Changes nothing; a view may show it. */
    Note,
    RunStarted,
    /** Ends the run, or belongs to its end; `cause` has the reason. */
    RunProblem,
    /** value 0: the mode. */
    ModeSet,
    Busy,

    // The value 0 of all these is an MCU's name.
    /** The first command of the reads of an MCU. */
    ReadBegun,
    Reading,
    /** values 1 to 3: the version that the MCU runs; the last one may be missing. */
    VersionRead,
    /** The read is repeated. */
    ReadRetry,
    /** The agent skips the rest of this MCU; `cause` has the reason. */
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
    /** The agent cannot read the current row; `cause` has the reason. Has no name. */
    RowRefused,

    // About the current MCU.
    Erasing,
    Writing,
    /** value 0: the number of the retry. */
    BlockRetry,
    MainRestarting,
    MainBack,
    MainLost,

    Rebooting,
    /** The device has accepted the command. */
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

    /** An unknown line. */
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
    /** Advice; empty if there is nothing to do, null if it is that of the cause. See adviceOf(). */
    const char *advice;
};

/** Every line that the agent can send after "UPGRADELOG||". */
const std::vector<MessageRow> &messageTable();

struct LineMeaning
{
    /** Of the row; empty for an unknown line. */
    QString id;
    LineEvent event = LineEvent::Unknown;
    ProblemId cause = ProblemId::None;
    QStringList values;
    /** Null for an unknown line. */
    const MessageRow *row = nullptr;
};

/** The meaning of a line, from the first matching row of the table; `line` is the text of a reply
 *  of the kind Log. */
LineMeaning meaningOf(const QString &line);

/** The meaning of a reply for a run; Unknown for one that is not a line of its log. */
LineEvent eventOf(const AgentReply &reply);

/** The advice for a line: its own, or that of its cause; empty if there is nothing to do. */
QString adviceOf(const MessageRow &row);

/** The text of a row as a line: without the key of the log and the line end. */
QString lineOf(const MessageRow &row);

} // namespace client
