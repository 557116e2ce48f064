// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/**
 * The messages while packages are built. The texts are part of the interface, their spelling
 * included; %1 is a file's path.
 */
namespace package::buildtext {

#define WIRE_TEXTS "package/BuildTexts.def"
#include "protocol/WireTable.inc"

} // namespace package::buildtext
