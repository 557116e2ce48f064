// SPDX-License-Identifier: Apache-2.0
#include "reference/BlockStream.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>

namespace {

constexpr uint8_t hostStart = 0x5A;
constexpr uint8_t replyStart = 0x5B;
constexpr uint8_t addressFirst = 0x5B;
constexpr uint8_t addressSecond = 0xA5;
constexpr uint16_t enterUpdateMode = 0x7900;
constexpr uint16_t writeBlock = 0x7901;
constexpr uint8_t lastFlag = 0x40;

constexpr size_t lengthOffset = 3;
constexpr size_t wordOffset = 7;
constexpr size_t payloadOffset = 9;
constexpr size_t statusOffset = 11;
/** Reserved bytes, word and checksum, which the length field counts in addition to the payload. */
constexpr size_t counted = 5;
constexpr size_t blockHead = 5;

} // namespace

BlockStream::BlockStream(uint8_t chipType, uint8_t chipIndex, int blocks)
    : m_image(size_t(blocks) * m_blockData),
      m_chipType(chipType),
      m_chipIndex(chipIndex),
      m_blocks(blocks)
{
    std::mt19937 random(1);
    std::generate(m_image.begin(), m_image.end(), [&random] { return uint8_t(random()); });
}

bool BlockStream::next()
{
    m_replyFill = 0;
    uint8_t *payload = m_frame.data() + payloadOffset;
    payload[0] = m_chipType;
    payload[1] = m_chipIndex;
    if (m_nextBlock < 0) {
        seal(2, enterUpdateMode);
    } else if (m_nextBlock < m_blocks) {
        payload[2] = uint8_t(m_nextBlock);
        payload[3] = uint8_t(m_nextBlock >> 8);
        payload[4] = m_nextBlock == m_blocks - 1 ? lastFlag : 0;
        std::memcpy(payload + blockHead, m_image.data() + size_t(m_nextBlock) * m_blockData,
                    m_blockData);
        seal(blockHead + m_blockData, writeBlock);
    } else {
        m_frameSize = 0;
        return false;
    }
    ++m_nextBlock;
    return true;
}

void BlockStream::seal(size_t payloadSize, uint16_t word)
{
    const size_t length = payloadSize + counted;
    m_frame[0] = hostStart;
    m_frame[1] = addressFirst;
    m_frame[2] = addressSecond;
    m_frame[lengthOffset] = uint8_t(length);
    m_frame[lengthOffset + 1] = uint8_t(length >> 8);
    m_frame[lengthOffset + 2] = 0;
    m_frame[lengthOffset + 3] = 0;
    m_frame[wordOffset] = uint8_t(word);
    m_frame[wordOffset + 1] = uint8_t(word >> 8);
    const auto end = m_frame.begin() + payloadOffset + payloadSize;
    *end = uint8_t(-std::accumulate(m_frame.begin(), end, 0));
    m_frameSize = payloadOffset + payloadSize + 1;
}

BlockStream::Reply BlockStream::take(const char *bytes, size_t count)
{
    const size_t fitting = std::min(count, m_reply.size() - m_replyFill);
    std::memcpy(m_reply.data() + m_replyFill, bytes, fitting);
    m_replyFill += fitting;
    if (m_replyFill < m_reply.size())
        return Reply::Incomplete;
    const bool accepted = count == fitting && m_reply[0] == replyStart &&
                          uint8_t(std::accumulate(m_reply.begin(), m_reply.end(), 0)) == 0 &&
                          m_reply[statusOffset] == 0;
    return accepted ? Reply::Accepted : Reply::Refused;
}
