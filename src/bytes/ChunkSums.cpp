// SPDX-License-Identifier: Apache-2.0
#include "bytes/ChunkSums.h"

#include <algorithm>

namespace bytes {

qint64 ChunkSums::chunkSizeFor(qint64 size)
{
    qint64 chunkSize = bytes::smallestChunk;
    while (chunkSize < bytes::largestChunk && size > chunkSize * bytes::mostChunks)
        chunkSize *= 2;
    return chunkSize;
}

void ChunkSums::add(const char *bytes, qint64 size)
{
    while (size > 0) {
        const qint64 filled = m_size % m_chunkSize;
        if (filled == 0)
            m_sums.emplace_back();
        const qint64 count = std::min(size, m_chunkSize - filled);
        m_sums.back().add(bytes, count);
        m_size += count;
        bytes += count;
        size -= count;
    }
}

void ChunkSums::append(const ChunkSums &next)
{
    Q_ASSERT(next.m_chunkSize == m_chunkSize && m_size % m_chunkSize == 0);
    m_sums.insert(m_sums.end(), next.m_sums.begin(), next.m_sums.end());
    m_size += next.m_size;
}

qint64 ChunkSums::lengthOf(size_t chunk) const
{
    return std::min(m_chunkSize, m_size - qint64(chunk) * m_chunkSize);
}

} // namespace bytes
