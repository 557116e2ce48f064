// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include <optional>

namespace planning {

/**
 * The byte that a package's release text sets as the device's virtual version: the number itself,
 * or the part after the last dot. Anything outside 1 to 255 becomes 0.
 */
quint8 virtualVersionByte(const QString &release);

/** What a run sets at its end; none when it wrote no image or the package has no release. */
std::optional<quint8> virtualVersionAfter(bool hasWritten, const QString &release);

} // namespace planning
