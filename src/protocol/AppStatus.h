// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** The status of an APPSTATUS message. "1" would mean busy to the console and is never sent. */
namespace appStatus {

#define WIRE_TEXT(id, ...) constexpr char id[] = __VA_ARGS__;
#include "protocol/AppStatus.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "protocol/AppStatus.def"
#undef WIRE_TEXT
};

} // namespace appStatus
