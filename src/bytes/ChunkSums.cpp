// SPDX-License-Identifier: Apache-2.0
#include "bytes/ChunkSums.h"

#include <algorithm>

namespace bytes {

static_assert(sizeof(Blake2b) * mostDigestedChunks <= qint64{256} * 1024);

ChunkCheck::ChunkCheck(const Crc32 &wanted, const std::optional<Blake2b> &digest,
                       const std::optional<Blake2b> &wantedDigest)
    : m_wanted(wanted), m_digest(digest), m_wantedDigest(wantedDigest)
{
}

void ChunkCheck::add(const char *bytes, qint64 size)
{
    m_sum.add(bytes, size);
    if (m_digest)
        m_digest->add(bytes, size);
}

bool ChunkCheck::matches() const
{
    return m_sum.value() == m_wanted.value() &&
           (!m_digest || m_digest->digest() == m_wantedDigest->digest());
}

ChunkSums::ChunkSums(qint64 chunkSize, SumKind kind) : m_chunkSize(chunkSize)
{
    if (kind != SumKind::Blake2b)
        return;
    m_digest.emplace();
    // A vector that grows would hold its states twice meanwhile.
    m_starts.reserve(bytes::mostDigestedChunks);
}

qint64 ChunkSums::chunkSizeFor(qint64 size, SumKind kind)
{
    const bool hasDigests = kind == SumKind::Blake2b;
    const qint64 most = hasDigests ? bytes::mostDigestedChunks : bytes::mostChunks;
    qint64 chunkSize = bytes::smallestChunk;
    while ((hasDigests || chunkSize < bytes::largestChunk) && (size - 1) / most >= chunkSize)
        chunkSize *= 2;
    return chunkSize;
}

void ChunkSums::add(const char *bytes, qint64 size)
{
    while (size > 0) {
        const qint64 filled = m_size % m_chunkSize;
        if (filled == 0) {
            m_sums.emplace_back();
            if (m_digest)
                m_starts.push_back(*m_digest);
        }
        const qint64 count = std::min(size, m_chunkSize - filled);
        m_sums.back().add(bytes, count);
        if (m_digest)
            m_digest->add(bytes, count);
        m_size += count;
        bytes += count;
        size -= count;
    }
}

void ChunkSums::append(const ChunkSums &next)
{
    Q_ASSERT(next.m_chunkSize == m_chunkSize && m_size % m_chunkSize == 0);
    Q_ASSERT(!m_digest && !next.m_digest);
    m_sums.insert(m_sums.end(), next.m_sums.begin(), next.m_sums.end());
    m_size += next.m_size;
}

qint64 ChunkSums::lengthOf(size_t chunk) const
{
    return std::min(m_chunkSize, m_size - qint64(chunk) * m_chunkSize);
}

QByteArray ChunkSums::digest() const
{
    return m_digest ? m_digest->digest() : QByteArray();
}

ChunkCheck ChunkSums::check(size_t chunk) const
{
    if (!m_digest)
        return {m_sums[chunk], {}, {}};
    return {m_sums[chunk], m_starts[chunk], chunk + 1 < count() ? m_starts[chunk + 1] : *m_digest};
}

} // namespace bytes
