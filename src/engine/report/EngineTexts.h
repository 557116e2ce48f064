// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

#include "protocol/MessageKeys.h"

/** The engine's texts. They are part of the interface to console clients and keep their spelling,
 *  odd as some of it is. */
namespace text {

#define WIRE_TEXT(id, ...) constexpr char id[] = __VA_ARGS__;
#include "engine/report/EngineTexts.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "engine/report/EngineTexts.def"
#undef WIRE_TEXT
};

} // namespace text
