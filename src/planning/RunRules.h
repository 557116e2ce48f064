// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/MatchMask.h"
#include "planning/TypeAndIndexTable.h"

#include <QByteArray>
#include <QString>

#include <optional>

/** The decisions of a run before and between its images, from plain values. */
namespace planning {

enum class PackageForm {
    Usable,
    NotAPackage,
    /** Of a version that was never built. */
    Unknown,
    /** Can be listed only. */
    TooOld,
};

/** Whether a run accepts a package of this form version; none means a file without one. */
PackageForm packageForm(const std::optional<int> &version);

/** Which fields of an image and a chip must match in this mode. */
package::MatchMask maskOf(int upgradeMode);

/** Whether a run of this mode continues only if the device's model is the package's. */
bool comparesModel(int upgradeMode);

/** The model name as the main MCU sends it, without its NUL padding. */
QString modelName(QByteArray sent);

/** Whether the run ends when the row's chip does not answer: without the main MCU no other chip
 *  can be reached. */
bool silenceEndsRun(const TypeAndIndexTable &rows, int line);

/** Whether the run ends because of the product information of the row's chip. */
bool recordEndsRun(const TypeAndIndexTable &rows, int line, bool recordIsValid);

/** Whether the row's chip is written before all others: the main MCU while it runs its bootcode,
 *  according to the row's bootcode flag. Only once in a run. */
bool goesFirst(const TypeAndIndexTable &rows, int line);

} // namespace planning
