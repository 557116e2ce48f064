// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** The console's texts that compare the version of a package with that of an MCU. */
namespace planning::versiontext {

#define WIRE_TEXTS "planning/VersionTexts.def"
#include "protocol/WireTable.inc"

} // namespace planning::versiontext
