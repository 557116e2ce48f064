// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace edid {

/** EDID 1.4: every block has 128 bytes; a dump is the base block and its first extension. */
inline constexpr std::size_t blockSize = 128;
inline constexpr std::size_t dumpSize = 2 * blockSize;

/** The values of an 18-byte detailed timing descriptor (EDID 1.4, 3.10.2). */
struct Timing
{
    int width = 0;
    /** Lines of a whole frame, also when the timing is interlaced. */
    int height = 0;
    /** Hz, to the nearest whole number: frames, or fields when interlaced. */
    int refresh = 0;
    bool interlaced = false;
};

/** Display range limits descriptor (EDID 1.4, 3.10.3.3), its rate offsets left out. */
struct RangeLimits
{
    int minVerticalHz = 0;
    int maxVerticalHz = 0;
    int minHorizontalKHz = 0;
    int maxHorizontalKHz = 0;
    int maxPixelClockMHz = 0;
};

/** A CTA-861 video format, 1..127 or 193..219. */
struct ShortVideo
{
    int vic = 0;
    bool native = false;
};

/** Short audio descriptor (CTA-861, 7.5.2). */
struct ShortAudio
{
    /** Audio format code, 0..15. */
    int format = 0;
    /** 1..8 */
    int channels = 0;
    /** Bits 0..6: 32, 44.1, 48, 88.2, 96, 176.4, 192 kHz. */
    std::uint8_t rates = 0;
    /** Bits 0..2: 16, 20, 24 bit; defined for LPCM only. */
    std::uint8_t depths = 0;
};

/** The vendor block of HDMI 1.4 (8.3.2). */
struct HdmiBlock
{
    bool deepColor48 = false;
    bool deepColor36 = false;
    bool deepColor30 = false;
    bool deepColorY444 = false;
    bool video3d = false;
    /** HDMI VICs in the display's order; 1..4 are defined, others may occur. */
    std::vector<int> vics;
};

/** A YCbCr 4:2:0 video data block or capability map (CTA-861, 7.5.10 and 7.5.11). */
struct Y420Block
{
    enum class Kind { Video, CapabilityMap };

    Kind kind = Kind::Video;
    /** A capability map without a bitmap: every short video descriptor. */
    bool everyShortVideo = false;
    std::vector<ShortVideo> formats;
};

/** A CTA-861 extension block. */
struct Extension
{
    std::vector<Timing> timings;
    /** Of the first video data block. */
    std::vector<ShortVideo> shortVideo;
    /** Descriptors of the first video data block that have bit 7 set, whatever their code. */
    int nativeCount = 0;
    /** Of the first audio data block. */
    std::vector<ShortAudio> audio;
    bool basicAudio = false;
    bool ycbcr444 = false;
    bool ycbcr422 = false;
    std::optional<HdmiBlock> hdmi;
    /** In the order of the dump. */
    std::vector<Y420Block> y420;
    bool hdrStaticMetadata = false;
};

/** The header and the checksums of the two blocks. */
struct Validity
{
    bool header = false;
    bool baseSum = false;
    bool extensionSum = false;
};

/** The facts that a dump states about its display. */
struct Facts
{
    Validity valid;
    int extensionCount = 0;

    /** '@' + a five-bit code each; not checked to be letters. */
    std::array<char, 3> manufacturer{};
    int productCode = 0;
    /** Latin-1 bytes, at most 13. */
    std::optional<std::string> productName;
    bool digital = false;
    /** EDID 1.4 colour bit depth code of a digital input, 0 (undefined) to 7 (reserved). */
    int colorDepthCode = 0;
    std::optional<RangeLimits> rangeLimits;
    /** From the first descriptor, even if it is not a timing. */
    Timing preferred;
    /** The timings among the other three descriptors. */
    std::vector<Timing> detailed;

    /** Set when the dump declares an extension and its second block is a CTA-861 one. */
    std::optional<Extension> extension;
};

} // namespace edid
