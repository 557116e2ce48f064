// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** Texts for the operations log and the service manager, not for console clients. */
namespace engine::runWord {

#define WIRE_TEXTS "engine/report/RunWords.def"
#include "protocol/WireTable.inc"

} // namespace engine::runWord
