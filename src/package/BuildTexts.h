// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/**
 * What is said while packages are built. The texts are part of the interface, their spelling
 * included; %1 is a file's path.
 */
namespace buildtext {

#define WIRE_TEXT(id, ...) constexpr char id[] = __VA_ARGS__;
#include "package/BuildTexts.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "package/BuildTexts.def"
#undef WIRE_TEXT
};

} // namespace buildtext
