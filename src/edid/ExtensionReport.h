// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "edid/EdidFacts.h"
#include "edid/EdidReport.h"

namespace edid {

/** "1920x1080@60Hz" or "1920x1080i@60Hz". */
QString timingText(const Timing &timing);

/** Adds the fields of a CTA-861 extension to the report of its base block. */
void addExtension(const Extension &extension, Report &report);

/** Adds the lines of a CTA-861 extension to those of its base block. */
void printExtension(const Extension &extension, QStringList &lines);

} // namespace edid
