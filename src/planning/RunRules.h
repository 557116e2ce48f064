// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/MatchMask.h"
#include "planning/TypeAndIndexTable.h"

#include <QByteArray>
#include <QString>

#include <optional>

/** What a run decides before and between its images, from plain values. */
namespace planning {

enum class PackageForm {
    Usable,
    NotAPackage,
    /** Of a version that was never built. */
    Unknown,
    /** Can be listed only. */
    TooOld,
};

/** Whether a run takes a package of this form version; nothing stands for a file without one. */
PackageForm packageForm(const std::optional<int> &version);

/** What an image and a chip must have in common in this mode. */
package::MatchMask maskOf(int upgradeMode);

/** Whether a run of this mode goes on only when the device's model is the package's. */
bool comparesModel(int upgradeMode);

/** The model name as the main MCU sends it, without the NUL bytes that fill it up. */
QString modelName(QByteArray sent);

/** Whether the run ends when the row's chip does not answer: without the main MCU no other chip
 *  can be reached. */
bool silenceEndsRun(const TypeAndIndexTable &rows, int line);

/** Whether the run ends on what the row's chip says about its product information. */
bool recordEndsRun(const TypeAndIndexTable &rows, int line, bool recordIsValid);

/** Whether the row's chip has its turn before all others: the main MCU, while it runs its bootcode
 *  by the row's bootcode flag. Once in a run is enough. */
bool goesFirst(const TypeAndIndexTable &rows, int line);

} // namespace planning
