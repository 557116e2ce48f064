// SPDX-License-Identifier: Apache-2.0
#include "upload/BlockPacker.h"

#include "protocol/BlockPayload.h"
#include "protocol/Progress.h"

#include <algorithm>

namespace block = protocol::block;
using protocol::wholeProgress;

namespace upload {

bool BlockPacker::start(quint8 mcuType, quint8 mcuIndex, const QByteArray &image, qint64 length)
{
    m_image = image;
    m_total = std::max<qint64>(length, 0);
    m_payload = QByteArray(block::payloadSize, '\0');
    m_payload[block::typeOffset] = char(mcuType);
    m_payload[block::indexOffset] = char(mcuIndex);
    m_moreToSend = true;
    m_blockNumber = 0;
    m_cursor = 0;
    if (m_total == 0)
        return false;

    fill(0, block::dataSize);
    if (m_total == block::dataSize) {
        m_payload[block::flagsOffset] = char(block::lastFlag);
        m_moreToSend = false;
    }
    return true;
}

void BlockPacker::firstBlockSent()
{
    m_lastBlockSent = false;
    m_blockNumber = 1;
    m_cursor = block::dataSize;
}

bool BlockPacker::packNext()
{
    if (m_cursor >= m_total)
        return false;

    const int count = int(std::min<qint64>(block::dataSize, m_total - m_cursor));
    m_payload[block::flagsOffset] = 0;
    m_payload[block::numberOffset] = char(m_blockNumber & 0xFF);
    m_payload[block::numberOffset + 1] = char((m_blockNumber >> 8) & 0xFF);
    fill(m_cursor, count);
    std::fill(m_payload.begin() + block::dataOffset + count, m_payload.end(),
              char(block::lastPadding));
    m_cursor += count;
    m_blockIsFull = count == block::dataSize;
    if (m_cursor == m_total)
        markLast();
    if (m_blockIsFull)
        ++m_blockNumber;
    return true;
}

double BlockPacker::firstPercent() const
{
    return double(block::dataSize - 1) / double(m_total) * wholeProgress;
}

double BlockPacker::percent() const
{
    return double(float(m_cursor) / float(m_total) * float(wholeProgress));
}

void BlockPacker::fill(qint64 from, int count)
{
    const qint64 available = std::clamp<qint64>(m_image.size() - from, 0, count);
    auto data = m_payload.begin() + block::dataOffset;
    std::copy_n(m_image.cbegin() + from, available, data);
    std::fill(data + available, data + count, '\0');
}

void BlockPacker::markLast()
{
    m_payload[block::flagsOffset] = char(block::lastFlag);
    m_moreToSend = false;
    m_lastBlockSent = true;
}

} // namespace upload
