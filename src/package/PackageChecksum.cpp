// SPDX-License-Identifier: Apache-2.0
#include "package/PackageChecksum.h"

#include "package/Chunks.h"
#include "package/Crc32.h"
#include "package/PackageLayout.h"

#include <limits>
#include <system_error>
#include <thread>

namespace {

QByteArray textUpToNul(const QByteArray &bytes)
{
    const int nul = bytes.indexOf('\0');
    return nul < 0 ? bytes : bytes.left(nul);
}

/** Below this, a second thread costs more than it brings. */
constexpr qint64 smallestShared = 4 * package::checksumChunk;
/** What zlib can append on a 32-bit machine. */
constexpr qint64 largestHalf = std::numeric_limits<qint32>::max();

/** The sum of a stretch of a source, as far as it could be read. */
struct Stretch
{
    Crc32 crc;
    qint64 size = 0;
};

Stretch sumUp(ByteSource &source, qint64 offset, qint64 size, qint64 chunkSize)
{
    Stretch stretch;
    PartSource part(source, offset, size);
    const auto add = [&stretch](const char *bytes, qint64 count) {
        stretch.crc.add(bytes, count);
        return true;
    };
    stretch.size = forEachChunk(part, 0, chunkSize, add);
    return stretch;
}

/** Two threads, one for each half and half a chunk: to read from the page cache takes as long as to
 *  add up, so that two processors are worth having. */
Stretch sumUpHalves(ByteSource &source, qint64 offset, qint64 size)
{
    const qint64 half = size / 2;
    const qint64 chunkSize = package::checksumChunk / 2;
    Stretch second;
    std::thread helper([&] { second = sumUp(source, offset + half, size - half, chunkSize); });
    Stretch first = sumUp(source, offset, half, chunkSize);
    helper.join();
    // A file that became shorter ends where reading ended first.
    if (first.size == half) {
        first.crc.append(second.crc, second.size);
        first.size += second.size;
    }
    return first;
}

Stretch sumUpCovered(ByteSource &source)
{
    const qint64 size = source.size() - package::checksumStart;
    if (size >= smallestShared && size / 2 < largestHalf) {
        try {
            return sumUpHalves(source, package::checksumStart, size);
        } catch (const std::system_error &) {
            // There is no second thread to be had.
        }
    }
    return sumUp(source, package::checksumStart, size, package::checksumChunk);
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

    const Stretch covered = sumUpCovered(source);
    if (covered.size > 0)
        checksum.computed = covered.crc.text();
    return checksum;
}
