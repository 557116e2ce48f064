// SPDX-License-Identifier: Apache-2.0
#include "package/PackageChecksum.h"

#include "package/Crc32.h"
#include "package/PackageLayout.h"

#include <algorithm>

namespace {

QByteArray textUpToNul(const QByteArray &bytes)
{
    const int nul = bytes.indexOf('\0');
    return nul < 0 ? bytes : bytes.left(nul);
}

} // namespace

bool PackageChecksum::matches() const
{
    return !computed.isEmpty() && stored == computed;
}

PackageChecksum checkPackage(ByteSource &source)
{
    PackageChecksum checksum;
    checksum.stored = textUpToNul(source.read(0, package::checksumSize));

    const qint64 size = source.size();
    if (size <= package::checksumStart)
        return checksum;

    // One buffer for the whole file, no larger than the file needs.
    QByteArray chunk(int(std::min(package::checksumChunk, size)), Qt::Uninitialized);
    Crc32 crc;
    qint64 position = package::checksumStart;
    while (position < size) {
        const qint64 wanted = std::min<qint64>(chunk.size(), size - position);
        const qint64 count = source.readInto(position, chunk.data(), wanted);
        if (count <= 0)
            break;
        crc.add(chunk.constData(), count);
        position += count;
    }
    if (position > package::checksumStart)
        checksum.computed = crc.text();
    return checksum;
}
