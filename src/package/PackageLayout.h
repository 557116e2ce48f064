// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

namespace package {

/**
 * The layout of a firmware package (FWM). Offsets and sizes are in bytes. The package version is
 * big-endian, every length is little-endian.
 *
 *   current form                        bare form
 *   0   8  checksum text                0  3  "MTU"
 *   8   3  "MTU"                        3  2  package version
 *   11  2  package version              5  4  JSON length
 *   13  2  JSON length (version 2: 4)   9     JSON
 *   15     JSON, then image records
 */

constexpr char magic[] = "MTU";
constexpr int magicSize = 3;

constexpr int checksumSize = 8;
/** The checksum covers all bytes from this offset. */
constexpr int checksumStart = 8;
/** The size of one read when a package is checked. */
constexpr qint64 checkReadSize = 1'024'000;

/** All bytes up to the package version, inclusive, in the current form. */
constexpr int headSize = 13;
constexpr int magicOffset = 8;
constexpr int versionOffset = 11;
constexpr int jsonLengthOffset = 13;
constexpr int shortJsonLengthSize = 2;
constexpr int longJsonLengthSize = 4;
/** Of a package with a 16-bit JSON length. */
constexpr int jsonOffset = 15;
/** The maximum of a 16-bit JSON length. */
constexpr int longestShortJson = 65'535;

constexpr int bareVersionOffset = 3;
constexpr int bareJsonLengthOffset = 5;
constexpr int bareHeadSize = 9;

/** The only version with a four-byte JSON length. */
constexpr int longJsonVersion = 2;
constexpr int newestVersion = 6;

/**
 * A description longer than this is not read: the two old forms can claim 4 GiB, and parsing JSON
 * needs a multiple of its size in memory.
 */
constexpr qint64 longestDescription = 1'048'576;

constexpr int recordHeaderSize = 12;
constexpr int recordKeySize = 8;

} // namespace package
