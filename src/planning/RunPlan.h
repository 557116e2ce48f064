// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "package/ImageRecord.h"
#include "planning/CandidateWalk.h"

#include <QStringList>
#include <QVector>

#include <optional>

namespace planning {

/** What a run would do with one row whose fields are all known. */
struct PlannedRow
{
    QStringList fields;
    Decision decision;
    /** The image that would be sent: the first record that fits, which need not be the one that
     *  the deciding entry speaks of. Absent when nothing is sent. */
    std::optional<package::ImageRecord> image;
    /** The entry says yes, but the package holds no image for it. */
    bool imageIsMissing = false;
};

/** The dry run over all rows, by the rules that a real one follows. */
QVector<PlannedRow> planRun(const QVector<QStringList> &rows, const QStringList &firmwareList,
                            const package::MatchMask &mask, bytes::ByteSource &package);

} // namespace planning
