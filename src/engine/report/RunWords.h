// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** Words for those who watch over the agent. Console clients never get them. */
namespace runWord {

#define WIRE_TEXT(id, ...) constexpr char id[] = __VA_ARGS__;
#include "engine/report/RunWords.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "engine/report/RunWords.def"
#undef WIRE_TEXT
};

} // namespace runWord
