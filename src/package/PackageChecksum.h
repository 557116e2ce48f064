// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "bytes/ChunkSums.h"

namespace package {

/** The stored checksum of a package and the computed one. */
struct PackageChecksum
{
    /** The first eight bytes up to the first NUL. */
    QByteArray stored;
    /** CRC-32 of byte 8 to the end, in the form of Crc32::text(); empty for fewer than 9 bytes. */
    QByteArray computed;
    /** BLAKE2b-512 of the whole package; empty when it was not asked for. */
    QByteArray digest;
    /** The checksums of the whole package, as far as it could be read. */
    bytes::ChunkSums chunks;
    /** Why it could not be read to its end: a value of errno, or 0. */
    int readError = 0;

    /** Case-sensitive: a stored text with uppercase digits never matches. */
    bool matches() const;
};

/**
 * Reads a package once, from start to end, in chunks. A source that ends early (a file that shrinks
 * meanwhile) is accepted. With SumKind::Blake2b, digest and chunks are of the same bytes.
 */
PackageChecksum checkPackage(bytes::ByteSource &source,
                             bytes::SumKind kind = bytes::SumKind::Crc32);

} // namespace package
