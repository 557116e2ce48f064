// SPDX-License-Identifier: Apache-2.0
#include "package/PackageChecksum.h"

#include "package/Chunks.h"
#include "package/Crc32.h"
#include "package/PackageLayout.h"

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

    Crc32 crc;
    const auto add = [&crc](const char *bytes, qint64 count) {
        crc.add(bytes, count);
        return true;
    };
    const qint64 end = forEachChunk(source, package::checksumStart, package::checksumChunk, add);
    if (end > package::checksumStart)
        checksum.computed = crc.text();
    return checksum;
}
