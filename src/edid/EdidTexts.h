// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/**
 * The report's texts, letter for letter as its readers expect them ("Digtal", "Manufacture's",
 * "Descripter"). %1, %2, ... are QString's place markers.
 */
namespace edid::text {

#define WIRE_TEXT(id, ...) constexpr char id[] = __VA_ARGS__;
#include "edid/EdidTexts.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "edid/EdidTexts.def"
#undef WIRE_TEXT
};

} // namespace edid::text
