// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fwm/PackageContents.h"

#include <QStringList>

/**
 * A request that builds a package with the same entries and images again. `files` names for every
 * image the file it is in. Empty unless each entry has exactly one image.
 */
QByteArray requestOf(const PackageContents &contents, const QStringList &files);

/** JSON in ASCII, as requests are; every other character is written as an escape. */
QByteArray inAscii(const QByteArray &json);
