// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** How the version of a package stands to that of an MCU, as the console is sent it. */
namespace planning::versiontext {

#define WIRE_TEXTS "planning/VersionTexts.def"
#include "protocol/WireTable.inc"

} // namespace planning::versiontext
