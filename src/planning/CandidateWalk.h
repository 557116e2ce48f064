// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/MatchMask.h"

#include <QStringList>
#include <QVector>

namespace planning {

/** What the firmware list says about one row. */
struct Decision
{
    enum class Verdict {
        /** An entry passed every enabled test: its image is to be sent. */
        Send,
        /** A matching entry is not newer than what the MCU runs. */
        NotNewer,
        /** Entries for the chip type exist, and each differs in an enabled field. */
        NoMatch,
        /** The list has nothing for the chip type. */
        NoFirmware,
        /** The row ends before its chip index. */
        BadRow,
    };

    /** One entry that was looked at, and the field that ruled it out (-1: none). */
    struct Rejection
    {
        int entry = -1;
        int field = -1;
    };

    Verdict verdict = Verdict::NoFirmware;
    /** Index of the entry that decided, -1 when none did. */
    int entry = -1;
    /** The version line for the console client, empty when no versions were compared. */
    QString line;
    QVector<Rejection> rejections;
};

/**
 * Walks the firmware list in order for the row with these fields. An entry counts only when its
 * chip type is the row's; the first that passes, or whose version is not newer, decides.
 */
Decision decideForRow(const QStringList &row, const QStringList &firmwareList,
                      const package::MatchMask &mask);

} // namespace planning
