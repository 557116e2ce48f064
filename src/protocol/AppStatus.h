// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** The status of an APPSTATUS message. "1" means busy to the console and is never sent. */
namespace protocol::appStatus {

#define WIRE_TEXTS "protocol/AppStatus.def"
#include "protocol/WireTable.inc"

} // namespace protocol::appStatus
