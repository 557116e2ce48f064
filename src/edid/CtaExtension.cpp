// SPDX-License-Identifier: Apache-2.0
#include "edid/CtaExtension.h"

#include "edid/EdidDecoder.h"

#include <algorithm>

namespace edid {
namespace {

// Extension block offsets (CTA-861).
constexpr std::size_t timingsStartOffset = 2;
constexpr std::size_t supportOffset = 3;
constexpr std::size_t dataBlocksOffset = 4;
constexpr std::size_t checksumOffset = 127;
constexpr std::size_t timingSize = 18;

constexpr std::uint8_t basicAudioBit = 0x40;
constexpr std::uint8_t ycbcr444Bit = 0x20;
constexpr std::uint8_t ycbcr422Bit = 0x10;

enum class Tag : std::uint8_t { Audio = 1, Video = 2, Vendor = 3, Extended = 7 };

// Extended tags: the first payload byte of a Tag::Extended block.
constexpr std::uint8_t hdrStaticMetadataTag = 0x06;
constexpr std::uint8_t y420VideoTag = 0x0E;
constexpr std::uint8_t y420CapabilityMapTag = 0x0F;

constexpr std::size_t audioDescriptorSize = 3;

// HDMI 1.4 vendor block, payload offsets.
constexpr std::array<std::uint8_t, 3> hdmiIdentifier{0x03, 0x0C, 0x00};
constexpr std::size_t hdmiDeepColorOffset = 5;
constexpr std::size_t hdmiPresenceOffset = 7;
constexpr std::size_t hdmiLatencySize = 2;

struct DataBlock
{
    Tag tag;
    /** From the header. */
    std::size_t length;
    /** `length` bytes, or those before the end of the data blocks. */
    ByteView payload;
};

std::vector<DataBlock> dataBlocks(ByteView block)
{
    const std::size_t end = std::min<std::size_t>(block.at(timingsStartOffset), checksumOffset);
    const ByteView area = block.mid(0, end);
    std::vector<DataBlock> blocks;
    std::size_t offset = dataBlocksOffset;
    while (offset < area.size()) {
        const std::uint8_t head = area.at(offset);
        const std::size_t length = head & 0x1F;
        blocks.push_back({Tag(head >> 5), length, area.mid(offset + 1, length)});
        offset += length + 1;
    }
    return blocks;
}

ByteView firstPayload(const std::vector<DataBlock> &blocks, Tag tag)
{
    const auto found = std::find_if(blocks.begin(), blocks.end(),
                                    [tag](const DataBlock &block) { return block.tag == tag; });
    return found != blocks.end() ? found->payload : ByteView();
}

std::vector<Timing> extensionTimings(ByteView block)
{
    std::vector<Timing> timings;
    const std::size_t start = block.at(timingsStartOffset);
    if (start < dataBlocksOffset)
        return timings;
    for (std::size_t offset = start; offset + timingSize <= checksumOffset; offset += timingSize) {
        const ByteView descriptor = block.mid(offset, timingSize);
        if (descriptor.wordAt(0) != 0)
            timings.push_back(decodeTiming(descriptor));
    }
    return timings;
}

std::vector<ShortVideo> shortVideoList(ByteView codes)
{
    std::vector<ShortVideo> formats;
    for (const std::uint8_t code : codes) {
        if (const auto format = shortVideo(code))
            formats.push_back(*format);
    }
    return formats;
}

int nativeCount(ByteView codes)
{
    return int(std::count_if(codes.begin(), codes.end(),
                             [](std::uint8_t code) { return (code & 0x80) != 0; }));
}

std::vector<ShortAudio> audioList(ByteView payload)
{
    std::vector<ShortAudio> list;
    for (std::size_t offset = 0; offset + audioDescriptorSize <= payload.size();
         offset += audioDescriptorSize) {
        const std::uint8_t first = payload.at(offset);
        ShortAudio audio;
        audio.format = (first >> 3) & 0x0F;
        audio.channels = (first & 7) + 1;
        audio.rates = payload.at(offset + 1) & 0x7F;
        audio.depths = payload.at(offset + 2) & 0x07;
        list.push_back(audio);
    }
    return list;
}

bool isHdmi(const DataBlock &block)
{
    return block.tag == Tag::Vendor && block.payload.size() >= hdmiIdentifier.size() &&
           std::equal(hdmiIdentifier.begin(), hdmiIdentifier.end(), block.payload.begin());
}

void decodeHdmiVideo(ByteView payload, HdmiBlock &hdmi)
{
    const std::uint8_t presence = payload.at(hdmiPresenceOffset);
    const bool latency = (presence & 0x80) != 0;
    const bool interlacedLatency = (presence & 0x40) != 0;
    const bool video = (presence & 0x20) != 0;
    if (!video)
        return;
    const std::size_t skipped =
        (latency ? hdmiLatencySize : 0) + (interlacedLatency ? hdmiLatencySize : 0);
    const ByteView details = payload.from(hdmiPresenceOffset + 1 + skipped);
    hdmi.video3d = (details.at(0) & 0x80) != 0;
    const ByteView vics = details.mid(2, details.at(1) >> 5);
    hdmi.vics.assign(vics.begin(), vics.end());
}

std::optional<HdmiBlock> hdmiBlock(const std::vector<DataBlock> &blocks)
{
    const auto found = std::find_if(blocks.begin(), blocks.end(), isHdmi);
    if (found == blocks.end())
        return std::nullopt;
    const std::uint8_t deepColor = found->payload.at(hdmiDeepColorOffset);
    HdmiBlock hdmi;
    hdmi.deepColor48 = (deepColor & 0x40) != 0;
    hdmi.deepColor36 = (deepColor & 0x20) != 0;
    hdmi.deepColor30 = (deepColor & 0x10) != 0;
    hdmi.deepColorY444 = (deepColor & 0x08) != 0;
    decodeHdmiVideo(found->payload, hdmi);
    return hdmi;
}

/** The codes of every video data block, in order: what a capability map numbers. */
std::vector<std::uint8_t> allShortVideoCodes(const std::vector<DataBlock> &blocks)
{
    std::vector<std::uint8_t> codes;
    for (const DataBlock &block : blocks) {
        if (block.tag == Tag::Video)
            codes.insert(codes.end(), block.payload.begin(), block.payload.end());
    }
    return codes;
}

Y420Block capabilityMap(const DataBlock &block, const std::vector<std::uint8_t> &codes)
{
    Y420Block map;
    map.kind = Y420Block::Kind::CapabilityMap;
    map.everyShortVideo = block.length == 1;
    const ByteView bitmap = block.payload.from(1);
    for (std::size_t index = 0; index < codes.size(); ++index) {
        const bool set = ((bitmap.at(index / 8) >> (index % 8)) & 1) != 0;
        const int vic = codes[index] & 0x7F;
        if (set && vic != 0)
            map.formats.push_back({vic, false});
    }
    return map;
}

void decodeExtendedBlocks(const std::vector<DataBlock> &blocks, Extension &extension)
{
    const std::vector<std::uint8_t> codes = allShortVideoCodes(blocks);
    for (const DataBlock &block : blocks) {
        if (block.tag != Tag::Extended || block.payload.isEmpty())
            continue;
        const std::uint8_t extendedTag = block.payload.at(0);
        if (extendedTag == hdrStaticMetadataTag)
            extension.hdrStaticMetadata = true;
        else if (extendedTag == y420VideoTag)
            extension.y420.push_back(
                {Y420Block::Kind::Video, false, shortVideoList(block.payload.from(1))});
        else if (extendedTag == y420CapabilityMapTag)
            extension.y420.push_back(capabilityMap(block, codes));
    }
}

} // namespace

std::optional<ShortVideo> shortVideo(std::uint8_t code)
{
    constexpr std::uint8_t nativeBit = 0x80;
    constexpr std::uint8_t lastNative = 192;
    constexpr std::uint8_t lastDefined = 219;
    if ((code & 0x7F) == 0 || code > lastDefined)
        return std::nullopt;
    if (code > nativeBit && code <= lastNative)
        return ShortVideo{code & 0x7F, true};
    return ShortVideo{code, false};
}

Extension decodeExtension(ByteView block)
{
    const std::vector<DataBlock> blocks = dataBlocks(block);
    const ByteView video = firstPayload(blocks, Tag::Video);
    const std::uint8_t support = block.at(supportOffset);

    Extension extension;
    extension.timings = extensionTimings(block);
    extension.shortVideo = shortVideoList(video);
    extension.nativeCount = nativeCount(video);
    extension.audio = audioList(firstPayload(blocks, Tag::Audio));
    extension.basicAudio = (support & basicAudioBit) != 0;
    extension.ycbcr444 = (support & ycbcr444Bit) != 0;
    extension.ycbcr422 = (support & ycbcr422Bit) != 0;
    extension.hdmi = hdmiBlock(blocks);
    decodeExtendedBlocks(blocks, extension);
    return extension;
}

} // namespace edid
