// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

namespace edid {

inline constexpr int lastVic = 219;

/** Video formats in the report's style, "1920x1080p@60Hz  16:9"; row VIC - 1, 128..192 empty. */
extern const std::array<const char *, lastVic> VideoSDStr;

/** By audio format code, each with its full stop. */
extern const std::array<const char *, 16> audioFormatNames;

/** By bit of the rate byte. */
extern const std::array<const char *, 7> sampleRateNames;

/** By bit of the third byte of an LPCM descriptor. */
extern const std::array<const char *, 3> lpcmDepthNames;

/** By EDID 1.4 colour bit depth code; empty for 0, undefined. */
extern const std::array<const char *, 8> colorDepthNames;

/** By HDMI VIC - 1. */
extern const std::array<const char *, 4> hdmiVicNames;

/** The row of a VIC; empty for a number without a format. */
const char *videoName(int vic);

} // namespace edid
