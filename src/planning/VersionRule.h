// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringList>

#include <array>

namespace planning {

/** Three version numbers, the most significant first. */
using Version = std::array<int, 3>;

/** Fields 6 to 8 of a row or list entry as numbers; an empty or missing one is 0. */
Version versionOf(const QStringList &fields);

/** The same fields as text, "1.2.3" or "3.1"; empty when all are empty. */
QString versionText(const QStringList &fields);

enum class VersionOrder { Greater, Equal, Less };

/** Compares the package's version with the running one, by number and not by text. */
VersionOrder compareVersions(const Version &package, const Version &running);

} // namespace planning
