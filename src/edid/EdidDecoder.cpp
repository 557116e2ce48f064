// SPDX-License-Identifier: Apache-2.0
#include "edid/EdidDecoder.h"

#include "edid/CtaExtension.h"

#include <algorithm>
#include <numeric>

namespace edid {
namespace {

constexpr std::array<std::uint8_t, 8> header{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};

// Base block offsets (EDID 1.4).
constexpr std::size_t manufacturerOffset = 8;
constexpr std::size_t productCodeOffset = 10;
constexpr std::size_t videoInputOffset = 20;
constexpr std::array<std::size_t, 4> descriptorOffsets{54, 72, 90, 108};
constexpr std::size_t descriptorSize = 18;
constexpr std::size_t extensionCountOffset = 126;

constexpr std::uint8_t digitalInput = 0x80;

// Display descriptors: 00 00 00, tag, 00, thirteen bytes.
constexpr std::size_t displayTagOffset = 3;
constexpr std::size_t displayDataOffset = 5;
constexpr std::size_t nameLength = 13;
constexpr std::uint8_t productNameTag = 0xFC;
constexpr std::uint8_t rangeLimitsTag = 0xFD;

bool sumIsZero(ByteView block)
{
    return std::accumulate(block.begin(), block.end(), 0U) % 0x100 == 0;
}

ByteView descriptor(ByteView dump, std::size_t offset)
{
    return dump.mid(offset, descriptorSize);
}

std::optional<ByteView> displayDescriptor(ByteView dump, std::uint8_t tag)
{
    for (const std::size_t offset : descriptorOffsets) {
        const ByteView view = descriptor(dump, offset);
        if (view.wordAt(0) == 0 && view.at(2) == 0 && view.at(displayTagOffset) == tag)
            return view.from(displayDataOffset);
    }
    return std::nullopt;
}

std::array<char, 3> manufacturer(ByteView dump)
{
    // Three five-bit letters, the only big-endian word of the block.
    const int code = (dump.at(manufacturerOffset) << 8) | dump.at(manufacturerOffset + 1);
    const auto letter = [code](int shift) { return char(((code >> shift) & 0x1F) + '@'); };
    return {letter(10), letter(5), letter(0)};
}

std::string trimmed(const std::string &text)
{
    constexpr char blank = ' ';
    const std::size_t first = text.find_first_not_of(blank);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

/** Without the blanks at both ends with which some displays fill the descriptor. */
std::optional<std::string> productName(ByteView dump)
{
    const auto data = displayDescriptor(dump, productNameTag);
    if (!data)
        return std::nullopt;
    const ByteView text = data->mid(0, nameLength);
    const auto isEnd = [](std::uint8_t byte) { return byte == '\n' || byte == 0; };
    return trimmed({text.begin(), std::find_if(text.begin(), text.end(), isEnd)});
}

std::optional<RangeLimits> rangeLimits(ByteView dump)
{
    const auto data = displayDescriptor(dump, rangeLimitsTag);
    if (!data)
        return std::nullopt;
    return RangeLimits{data->at(0), data->at(1), data->at(2), data->at(3), data->at(4) * 10};
}

std::vector<Timing> detailedTimings(ByteView dump)
{
    std::vector<Timing> timings;
    for (const std::size_t offset :
         {descriptorOffsets[1], descriptorOffsets[2], descriptorOffsets[3]}) {
        const ByteView view = descriptor(dump, offset);
        // Both bytes: a clock that is a multiple of 2.56 MHz does not count as one here.
        if (view.at(0) != 0 && view.at(1) != 0)
            timings.push_back(decodeTiming(view));
    }
    return timings;
}

int colorDepthCode(std::uint8_t videoInput)
{
    return (videoInput & digitalInput) != 0 ? (videoInput >> 4) & 7 : 0;
}

} // namespace

Timing decodeTiming(ByteView descriptor)
{
    const auto extended = [descriptor](std::size_t low, std::uint8_t highNibble) {
        return descriptor.at(low) + highNibble * 0x100;
    };
    const std::uint8_t horizontalHigh = descriptor.at(4);
    const std::uint8_t verticalHigh = descriptor.at(7);
    const int width = extended(2, horizontalHigh >> 4);
    const int lines = extended(5, verticalHigh >> 4);
    const int totalWidth = width + extended(3, horizontalHigh & 0x0F);
    const int totalLines = lines + extended(6, verticalHigh & 0x0F);

    Timing timing;
    timing.interlaced = (descriptor.at(17) & 0x80) != 0;
    timing.width = width;
    timing.height = timing.interlaced ? 2 * lines : lines;
    if (totalWidth != 0 && totalLines != 0) {
        const float pixelClock = float(descriptor.wordAt(0)) * 10'000.0F;
        const float aboveHalf = pixelClock / float(totalWidth) / float(totalLines) + 0.5F;
        timing.refresh = int(aboveHalf);
    }
    return timing;
}

Facts decode(ByteView dump)
{
    const ByteView base = dump.mid(0, blockSize);
    const ByteView extension = dump.mid(blockSize, blockSize);
    const std::uint8_t videoInput = base.at(videoInputOffset);

    Facts facts;
    facts.valid.header =
        base.size() == blockSize && std::equal(header.begin(), header.end(), base.begin());
    facts.valid.baseSum = sumIsZero(base);
    facts.valid.extensionSum = sumIsZero(extension);
    facts.extensionCount = base.at(extensionCountOffset);
    facts.manufacturer = manufacturer(base);
    facts.productCode = base.wordAt(productCodeOffset);
    facts.productName = productName(base);
    facts.digital = (videoInput & digitalInput) != 0;
    facts.colorDepthCode = colorDepthCode(videoInput);
    facts.rangeLimits = rangeLimits(base);
    facts.preferred = decodeTiming(descriptor(base, descriptorOffsets[0]));
    facts.detailed = detailedTimings(base);
    if (facts.extensionCount != 0 && extension.at(0) == ctaTag)
        facts.extension = decodeExtension(extension);
    return facts;
}

} // namespace edid
