// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/WireText.h"

/** The uploader's texts. They are part of the interface and keep their spelling. */
namespace upload::uploadText {

#define WIRE_TEXTS "upload/UploadTexts.def"
#include "protocol/WireTable.inc"

} // namespace upload::uploadText
