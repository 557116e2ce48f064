// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/Blake2b.h"
#include "bytes/Crc32.h"

#include <QtGlobal>

#include <optional>
#include <vector>

namespace bytes {

/**
 * A chunk's size is a power of two, large enough for at most so many chunks. Above 64 GiB there are
 * more.
 */
constexpr qint64 smallestChunk = 4096;
constexpr qint64 largestChunk = 16'777'216;
constexpr qint64 mostChunks = 4096;
/** With digests there are never more, so that these take at most 256 KiB. */
constexpr qint64 mostDigestedChunks = 512;

/** What the sums of chunks detect. */
enum class SumKind {
    /** Damage. */
    Crc32,
    /** Damage, and changes that keep the CRC-32. */
    Blake2b,
};

/** The sum of a chunk whose bytes are read once more. */
class ChunkCheck
{
public:
    /** Without a digest, `digest` and `wantedDigest` are empty. */
    ChunkCheck(const Crc32 &wanted, const std::optional<Blake2b> &digest,
               const std::optional<Blake2b> &wantedDigest);

    void add(const char *bytes, qint64 size);
    /** After all bytes of the chunk. */
    bool matches() const;

private:
    Crc32 m_sum;
    const Crc32 m_wanted;
    std::optional<Blake2b> m_digest;
    const std::optional<Blake2b> m_wantedDigest;
};

/**
 * The CRC-32 of each chunk of a sequence of bytes and, with SumKind::Blake2b, the digest of all
 * bytes. All chunks have the same size, except that the last one may be shorter.
 *
 * Of the digest, its state at the start of each chunk is kept. A chunk that is read once more
 * continues from there, and must result in the state at its end.
 */
class ChunkSums
{
public:
    /** In bytes. */
    explicit ChunkSums(qint64 chunkSize = bytes::smallestChunk, SumKind kind = SumKind::Crc32);

    /** The chunk size for so many bytes. */
    static qint64 chunkSizeFor(qint64 size, SumKind kind = SumKind::Crc32);

    /** Adds the bytes that follow. */
    void add(const char *bytes, qint64 size);
    /** Adds the chunks that follow; size() must be a multiple of the chunk size. Only without
     *  digests. */
    void append(const ChunkSums &next);

    qint64 chunkSize() const { return m_chunkSize; }
    /** Of all bytes. */
    qint64 size() const { return m_size; }
    size_t count() const { return m_sums.size(); }
    const Crc32 &at(size_t chunk) const { return m_sums[chunk]; }
    /** In bytes. */
    qint64 lengthOf(size_t chunk) const;
    /** The BLAKE2b-512 digest of all bytes; empty without digests. */
    QByteArray digest() const;

    ChunkCheck check(size_t chunk) const;

private:
    qint64 m_chunkSize;
    qint64 m_size = 0;
    std::vector<Crc32> m_sums;
    /** Of all bytes so far. */
    std::optional<Blake2b> m_digest;
    /** The value of m_digest at the start of each chunk. */
    std::vector<Blake2b> m_starts;
};

} // namespace bytes
