// SPDX-License-Identifier: Apache-2.0
#include "package/NetImage.h"

#include <algorithm>

using bytes::ByteSource;

namespace package {

namespace {

NetImage fromHead(QByteArray head, qint64 size)
{
    const int have = head.size();
    head.resize(net::archiveOffset);
    if (have < net::archiveOffset)
        std::fill(head.begin() + have, head.end(), '\0');
    NetImage image;
    image.version = head.mid(net::versionOffset, net::versionSize);
    image.md5Text = head.mid(net::md5Offset, net::md5Size);
    image.archiveLength = std::max<qint64>(size - net::archiveOffset, 0);
    return image;
}

} // namespace

NetImage readNetImage(ByteSource &image)
{
    return fromHead(image.read(0, net::archiveOffset), image.size());
}

NetImage parseNetImage(const QByteArray &image)
{
    return fromHead(image.left(net::archiveOffset), image.size());
}

QByteArray netArchive(const QByteArray &image)
{
    const int length = std::max(int(image.size()) - net::archiveOffset, 0);
    return length > 0 ? QByteArray::fromRawData(image.constData() + net::archiveOffset, length)
                      : QByteArray();
}

} // namespace package
