// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** The uploader's words. They are part of the interface and keep their spelling. */
namespace uploadText {

#define WIRE_TEXT(id, ...) constexpr char id[] = __VA_ARGS__;
#include "upload/UploadTexts.def"
#undef WIRE_TEXT

constexpr WireText all[] = {
#define WIRE_TEXT(id, ...) {#id, __VA_ARGS__},
#include "upload/UploadTexts.def"
#undef WIRE_TEXT
};

} // namespace uploadText
