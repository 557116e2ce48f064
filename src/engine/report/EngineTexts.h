// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/MessageKeys.h"
#include "protocol/WireText.h"

/** The engine's texts. They are part of the interface to console clients and keep their spelling,
 *  errors included. */
namespace engine::text {

#define WIRE_TEXTS "engine/report/EngineTexts.def"
#include "protocol/WireTable.inc"

} // namespace engine::text
