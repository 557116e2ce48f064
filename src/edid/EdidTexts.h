// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/**
 * The report's texts, in the exact spelling that its readers expect ("Digtal", "Manufacture's",
 * "Descripter"). %1, %2, ... are QString's place markers.
 */
namespace edid::text {

#define WIRE_TEXTS "edid/EdidTexts.def"
#include "protocol/WireTable.inc"

} // namespace edid::text
