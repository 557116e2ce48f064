// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** The first elements of the messages that are lists. */
namespace key {

#define WIRE_TEXT(id, ...) constexpr char id[] = __VA_ARGS__;
#include "protocol/MessageKeys.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "protocol/MessageKeys.def"
#undef WIRE_TEXT
};

} // namespace key
