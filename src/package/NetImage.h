// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"

namespace package {

/**
 * The image for the network module itself: a head of 62 bytes and a bzip2-compressed tar archive.
 *
 *   0  4   version text ("1.23")     37  25  nothing
 *   4  1   nothing                   62      the archive
 *   5  32  MD5 of the archive, hexadecimal
 */
namespace net {

constexpr int versionOffset = 0;
constexpr int versionSize = 4;
constexpr int md5Offset = 5;
constexpr int md5Size = 32;
constexpr int archiveOffset = 62;

} // namespace net

/** The head of a network module image and the place of its archive. */
struct NetImage
{
    /** Always 4 bytes; zeros where the image is shorter. */
    QByteArray version;
    /** Always 32 bytes; zeros where the image is shorter. */
    QByteArray md5Text;
    /** 0 for an image without an archive; the archive begins at net::archiveOffset. */
    qint64 archiveLength = 0;
};

NetImage readNetImage(bytes::ByteSource &image);

/** The same from an image in memory. */
NetImage parseNetImage(const QByteArray &image);

/** A view of the archive inside `image`, not a copy: valid only as long as `image` itself is. */
QByteArray netArchive(const QByteArray &image);

} // namespace package
