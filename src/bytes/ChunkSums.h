// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/Crc32.h"

#include <QtGlobal>

#include <vector>

namespace bytes {

/**
 * A chunk's size is a power of two, large enough for at most so many chunks. Above 64 GiB there are
 * more, since a chunk must fit into memory.
 */
constexpr qint64 smallestChunk = 4096;
constexpr qint64 largestChunk = 16'777'216;
constexpr qint64 mostChunks = 4096;

/**
 * The CRC-32 of each chunk of a sequence of bytes. All chunks have the same size, except that the
 * last one may be shorter.
 */
class ChunkSums
{
public:
    /** In bytes. */
    explicit ChunkSums(qint64 chunkSize = chunkSizeFor(0)) : m_chunkSize(chunkSize) {}

    /** The chunk size for so many bytes, by bytes::mostChunks. */
    static qint64 chunkSizeFor(qint64 size);

    /** Adds the bytes that follow. */
    void add(const char *bytes, qint64 size);
    /** Adds the chunks that follow; size() must be a multiple of the chunk size. */
    void append(const ChunkSums &next);

    qint64 chunkSize() const { return m_chunkSize; }
    /** Of all bytes. */
    qint64 size() const { return m_size; }
    size_t count() const { return m_sums.size(); }
    const Crc32 &at(size_t chunk) const { return m_sums[chunk]; }
    /** In bytes. */
    qint64 lengthOf(size_t chunk) const;

private:
    qint64 m_chunkSize;
    qint64 m_size = 0;
    std::vector<Crc32> m_sums;
};

} // namespace bytes
