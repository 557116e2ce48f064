// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** How the version of a package stands to that of an MCU, as the console is sent it. */
namespace versiontext {

#define WIRE_TEXT(id, ...) constexpr char id[] = __VA_ARGS__;
#include "planning/VersionTexts.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "planning/VersionTexts.def"
#undef WIRE_TEXT
};

} // namespace versiontext
