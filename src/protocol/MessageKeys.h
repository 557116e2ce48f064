// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** The first elements of messages with several elements. */
namespace protocol::key {

#define WIRE_TEXTS "protocol/MessageKeys.def"
#include "protocol/WireTable.inc"

} // namespace protocol::key
