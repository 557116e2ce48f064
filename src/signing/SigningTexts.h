// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** The exact texts about signatures and keys that the agent sends to the console. */
namespace signing::signtext {

#define WIRE_TEXTS "signing/SigningTexts.def"
#include "protocol/WireTable.inc"

} // namespace signing::signtext
