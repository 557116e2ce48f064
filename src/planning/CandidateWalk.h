// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/MatchMask.h"

#include <QStringList>
#include <QVector>

namespace planning {

/** The decision of the firmware list for one row. */
struct Decision
{
    enum class Verdict {
        /** An entry passed every enabled test: send its image. */
        Send,
        /** A matching entry is not newer than the running version. */
        NotNewer,
        /** Entries for the chip type exist, and each differs in an enabled field. */
        NoMatch,
        /** The list has no entry for the chip type. */
        NoFirmware,
        /** The row ends before its chip index. */
        BadRow,
    };

    /** One examined entry, and the field that ruled it out (-1: none). */
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
 * Searches the firmware list in order for the row with these fields. Only entries with the row's
 * chip type count; the first that passes, or whose version is not newer, decides.
 */
Decision decideForRow(const QStringList &row, const QStringList &firmwareList,
                      const package::MatchMask &mask);

} // namespace planning
