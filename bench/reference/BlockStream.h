// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * What the reference senders have in common, so that only their input and output differ: the frames
 * of one image, built in place, and the check of each acknowledgement. Plain C++, with only what
 * stop-and-wait needs.
 */
class BlockStream
{
public:
    enum class Reply { Incomplete, Accepted, Refused };

    BlockStream(uint8_t chipType, uint8_t chipIndex, int blocks);

    /** The next frame: first "enter update mode", then every block. Empty when all are sent. */
    bool next();
    const char *frame() const { return reinterpret_cast<const char *>(m_frame.data()); }
    size_t frameSize() const { return m_frameSize; }

    /** Takes bytes of the device; after Accepted the next frame may be sent. */
    Reply take(const char *bytes, size_t count);

private:
    void seal(size_t payloadSize, uint16_t word);

    static constexpr size_t m_blockData = 256;
    static constexpr size_t m_longestFrame = 271;
    static constexpr size_t m_replySize = 13;

    std::vector<uint8_t> m_image;
    std::array<uint8_t, m_longestFrame> m_frame{};
    size_t m_frameSize = 0;
    std::array<uint8_t, m_replySize> m_reply{};
    size_t m_replyFill = 0;
    uint8_t m_chipType;
    uint8_t m_chipIndex;
    int m_blocks;
    int m_nextBlock = -1;
};
