// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "edid/ByteView.h"
#include "edid/EdidFacts.h"

#include <optional>

namespace edid {

/** First byte of a CTA-861 extension block. */
inline constexpr std::uint8_t ctaTag = 0x02;

/** Reads a CTA-861 extension block of 128 bytes. */
Extension decodeExtension(ByteView block);

/**
 * The video format that a short video descriptor's code names (CTA-861, 7.5.1): 129..192 are the
 * formats 1..64 marked native; 0, 128 and 220..255 name none.
 */
std::optional<ShortVideo> shortVideo(std::uint8_t code);

} // namespace edid
