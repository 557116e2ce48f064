// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "bytes/ChunkSums.h"

namespace package {

/** The checksum that a package carries and the one that its bytes have. */
struct PackageChecksum
{
    /** The first eight bytes up to the first NUL. */
    QByteArray stored;
    /** CRC-32 of byte 8 to the end, as Crc32::text() has it; empty for fewer than 9 bytes. */
    QByteArray computed;
    /** Of the whole package from its first byte on, as far as it could be read. */
    bytes::ChunkSums chunks;
    /** Why it could not be read to its end: a value of errno, or 0. */
    int readError = 0;

    /** Case counts: a stored text with uppercase digits never matches. */
    bool matches() const;
};

/**
 * Reads a package once, from its start to its end, in chunks. A source that ends early (a file
 * that shrinks meanwhile) is taken as it is.
 */
PackageChecksum checkPackage(bytes::ByteSource &source);

} // namespace package
