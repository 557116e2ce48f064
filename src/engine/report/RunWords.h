// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** Words for those who watch over the agent. Console clients never get them. */
namespace engine::runWord {

#define WIRE_TEXTS "engine/report/RunWords.def"
#include "protocol/WireTable.inc"

} // namespace engine::runWord
