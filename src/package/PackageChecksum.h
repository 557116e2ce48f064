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
    /** The checksums of the whole package, as far as it could be read. */
    bytes::ChunkSums chunks;
    /** Why it could not be read to its end: a value of errno, or 0. */
    int readError = 0;

    /** Case-sensitive: a stored text with uppercase digits never matches. */
    bool matches() const;
};

/**
 * Reads a package once, from start to end, in chunks. A source that ends early (a file that shrinks
 * meanwhile) is accepted.
 */
PackageChecksum checkPackage(bytes::ByteSource &source);

} // namespace package
