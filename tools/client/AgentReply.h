// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

namespace client {

/** One parsed reply of the agent. */
struct AgentReply
{
    enum class Kind {
        Heartbeat,
        /** text: the agent's version. */
        Version,
        /** text: the package's description, or the error of the package. */
        FirmwareList,
        /** text: one line of the engine's log. */
        Log,
        /** percent: the progress of the whole run. */
        Progress,
        /** text: the version of the network module's firmware that was installed. */
        NetVersion,
        /** text: the fields of a display's report. */
        EdidReport,
        /** text: the reason why there is no report. */
        EdidError,
        /** The link to the device is open. */
        Connected,
        /** The link to the device was closed; the result of the run follows. */
        Disconnected,
        UpgradeSuccess,
        UpgradeFail,
        /** word, status: the answer of the module's own receiver to one block. */
        ModuleStatus,
        /** text: a word of the module's own receiver outside any frame. */
        ModuleText,
        /** text: a line that is none of these, or the bytes of a damaged answer. */
        Unknown,
        /** A line longer than any reply; its bytes were dropped. */
        Overlong,
    };

    Kind kind = Kind::Unknown;
    QString text;
    double percent = 0.0;
    quint16 word = 0;
    quint8 status = 0;
};

/** A short name of a kind, for people and for JSON: "log", "progress", "firmware-list". */
QString replyKindName(AgentReply::Kind kind);

} // namespace client
